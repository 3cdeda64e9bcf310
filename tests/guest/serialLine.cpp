#include "tests/guest/serialLine.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <stdexcept>

namespace {

constexpr unsigned kTerminals = 136;

std::atomic<bool> isAbsent{false};
std::atomic<int> looks{0};

bool IsWithoutHost(int descriptor) {
  struct stat status {};
  return isAbsent && fstat(descriptor, &status) == 0 && S_ISCHR(status.st_mode) &&
         major(status.st_rdev) == kTerminals;
}

}  // namespace

// What the linker puts in front of the C library's functions, and those.
extern "C" {
ssize_t __real_read(int descriptor, void* bytes, std::size_t size);
ssize_t __real_write(int descriptor, const void* bytes, std::size_t size);
int __real_poll(pollfd* entries, nfds_t count, int timeout);

ssize_t __wrap_read(int descriptor, void* bytes, std::size_t size) {
  const ssize_t result = __real_read(descriptor, bytes, size);
  return result < 0 && errno == EAGAIN && IsWithoutHost(descriptor) ? 0 : result;
}

ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t size) {
  if (!IsWithoutHost(descriptor)) return __real_write(descriptor, bytes, size);
  errno = EAGAIN;
  return -1;
}

int __wrap_poll(pollfd* entries, nfds_t count, int timeout) {
  if (count != 1 || !IsWithoutHost(entries->fd)) return __real_poll(entries, count, timeout);
  entries->revents = static_cast<short>(entries->events | POLLHUP);
  ++looks;
  return 1;
}
}

namespace Testing {

SerialLine::SerialLine() : host_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  char name[64];
  if (grantpt(host_.Get()) != 0 || unlockpt(host_.Get()) != 0 ||
      ptsname_r(host_.Get(), name, sizeof name) != 0) {
    throw std::runtime_error("there are no terminals");
  }
  device_ = name;
  guest_ = Corvane::FileDescriptor(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  tcgetattr(guest_.Get(), &settings);
  cfmakeraw(&settings);
  if (tcsetattr(guest_.Get(), TCSANOW, &settings) != 0) throw std::runtime_error("tcsetattr");
}

void SerialLine::Write(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t size = write(host_.Get(), bytes.data(), bytes.size());
    if (size < 0) throw std::runtime_error("the line takes nothing");
    bytes.remove_prefix(static_cast<std::size_t>(size));
  }
}

void SerialLine::Send(std::initializer_list<std::string_view> texts) const {
  std::string frames(framing_.Prologue());
  for (const auto text : texts) framing_.Append(frames, text);
  Write(frames);
}

std::optional<std::string> SerialLine::Receive() {
  char part[4096];
  for (;;) {
    std::string_view bytes(unread_);
    const auto text = framing_.Next(bytes);
    std::optional<std::string> result;
    if (text) result = std::string(*text);
    unread_.erase(0, unread_.size() - bytes.size());
    if (result) return result;
    if (!IsReadable(host_.Get())) return std::nullopt;
    unread_.append(part,
                   static_cast<std::size_t>(std::max<ssize_t>(read(host_.Get(), part, sizeof part), 0)));
  }
}

HostAbsence::HostAbsence() {
  looks = 0;
  isAbsent = true;
}

HostAbsence::~HostAbsence() {
  isAbsent = false;
}

void HostAbsence::AwaitLooks(int count) {
  while (looks < count) poll(nullptr, 0, 1);
}

bool IsReadable(int descriptor, int timeout) {
  pollfd entry{descriptor, POLLIN, 0};
  return poll(&entry, 1, timeout) == 1;
}

}  // namespace Testing
