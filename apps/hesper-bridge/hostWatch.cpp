#include "apps/hesper-bridge/hostWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/corvane/fileDescriptor.h"
#include "platform/krell/standin/host.h"

namespace Bridge {
namespace {

constexpr std::size_t kBufferSize = 16384;

int OpenWatch(const Krell::Host& host) {
  Corvane::FileDescriptor events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  // By the descriptor: the directory that the host has, whatever its path leads to by now.
  const std::string folder = "/proc/self/fd/" + std::to_string(host.DirectoryDescriptor()) + "/vms";
  if (!events.IsOpen() ||
      inotify_add_watch(events.Get(), folder.c_str(), IN_MOVED_TO | IN_DELETE | IN_ONLYDIR) < 0) {
    throw std::system_error(errno, std::generic_category(), "watch of the host's VMs");
  }
  return events.Release();
}

}  // namespace

HostWatch::HostWatch(boost::asio::io_context& io, const Krell::Host& host, Change change, Overflow overflow)
    : events_(io, OpenWatch(host)),
      change_(std::move(change)),
      overflow_(std::move(overflow)),
      buffer_(kBufferSize) {}

void HostWatch::Await() {
  events_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                     [this](const boost::system::error_code& error) {
                       if (error) return;
                       while (ReadEvents()) {
                       }
                       Await();
                     });
}

bool HostWatch::ReadEvents() {
  const ssize_t size = read(events_.native_handle(), buffer_.data(), buffer_.size());
  if (size <= 0) return false;
  std::string_view bytes(buffer_.data(), static_cast<std::size_t>(size));
  while (bytes.size() >= sizeof(inotify_event)) {
    inotify_event event;
    std::memcpy(&event, bytes.data(), sizeof event);
    const std::string name(bytes.data() + sizeof event, strnlen(bytes.data() + sizeof event, event.len));
    bytes.remove_prefix(sizeof event + event.len);
    std::uint32_t cid = 0;
    const auto [end, failure] = std::from_chars(name.data(), name.data() + name.size(), cid);
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
      overflow_();
    } else if (failure == std::errc() && end == name.data() + name.size()) {
      change_(cid);
    }
  }
  return true;
}

}  // namespace Bridge
