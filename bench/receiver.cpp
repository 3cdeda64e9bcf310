#include "bench/receiver.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <utility>

#include "bench/stampedText.h"

namespace Bench {
namespace {

constexpr std::size_t kBufferSize = 1 << 20;
// In front of what is read, for what was left over.
constexpr std::size_t kTailRoom = kStampMark.size() + kStampSize;
// More than what an element may lack of its publication's bytes.
constexpr std::size_t kLeastOverhead = 1024;
constexpr std::uint64_t kFirstAnswerer = std::uint64_t{1} << 32;
constexpr int kStopLookMs = 20;
constexpr std::chrono::milliseconds kPatience{500};

}  // namespace

Receiver::Receiver(std::vector<Corvane::FileDescriptor> streams, const std::vector<int>& answers,
                   std::size_t textSize)
    : skip_(textSize > kLeastOverhead ? textSize - kLeastOverhead : 0),
      epoll_(epoll_create1(EPOLL_CLOEXEC)),
      answerers_(answers),
      buffer_(kTailRoom + kBufferSize),
      slowest_(streams.size()) {
  latencies_.reserve(1 << 20);
  for (auto& socket : streams) streams_.push_back({std::move(socket)});
  for (std::size_t i = 0; i < streams_.size(); ++i) Watch(streams_[i].socket.Get(), i);
  for (std::size_t i = 0; i < answerers_.size(); ++i) Watch(answerers_[i], kFirstAnswerer + i);
  thread_ = std::thread([this] { Run(); });
}

Receiver::~Receiver() {
  stop_ = true;
  thread_.join();
}

void Receiver::Restart() {
  const std::lock_guard lock(mutex_);
  for (auto& stream : streams_) stream.elements = 0;
  slowest_ = streams_.size();
  answers_ = deliveries_ = complete_ = 0;
  latencies_.clear();
}

bool Receiver::AwaitComplete(std::uint64_t complete) {
  std::unique_lock lock(mutex_);
  return completed_.wait_for(lock, kPatience, [&] { return complete_ >= complete; });
}

std::vector<std::uint64_t> Receiver::Latencies() {
  std::unique_lock lock(mutex_);
  auto latencies = latencies_;
  lock.unlock();
  std::sort(latencies.begin(), latencies.end());
  return latencies;
}

double Receiver::CpuSeconds() {
  clockid_t clock{};
  timespec time{};
  if (pthread_getcpuclockid(thread_.native_handle(), &clock) != 0) return 0;
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void Receiver::Watch(int descriptor, std::uint64_t id) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = id;
  epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, descriptor, &event);
}

void Receiver::Run() {
  std::vector<epoll_event> events(256);
  while (!stop_) {
    const int count = epoll_wait(epoll_.Get(), events.data(), static_cast<int>(events.size()), kStopLookMs);
    for (int i = 0; i < count; ++i) {
      const auto id = events[static_cast<std::size_t>(i)].data.u64;
      if (id >= kFirstAnswerer) {
        ReadAnswers(answerers_[id - kFirstAnswerer]);
      } else {
        ReadStream(streams_[id]);
      }
    }
  }
}

void Receiver::ReadAnswers(int descriptor) {
  if (recv(descriptor, buffer_.data(), kBufferSize, MSG_DONTWAIT) <= 0) return;
  lastArrival_ = NowNs();
  ++answers_;
}

void Receiver::ReadStream(Stream& stream) {
  auto* const fresh = buffer_.data() + kTailRoom;
  const auto size = recv(stream.socket.Get(), fresh, kBufferSize, MSG_DONTWAIT);
  if (size < 0 && errno == EAGAIN) return;
  if (size <= 0) {
    epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, stream.socket.Get(), nullptr);
    ++ended_;
    return;
  }
  lastArrival_ = NowNs();
  auto* const begin = fresh - stream.tail.size();
  std::memcpy(begin, stream.tail.data(), stream.tail.size());
  Scan(stream, {begin, static_cast<std::size_t>(size) + stream.tail.size()});
}

void Receiver::Scan(Stream& stream, std::string_view bytes) {
  const std::lock_guard lock(mutex_);
  stream.tail.clear();
  while (true) {
    const auto passed = std::min(stream.skip, bytes.size());
    bytes.remove_prefix(passed);
    stream.skip -= passed;
    const auto found = bytes.find(kStampMark);
    if (found == std::string_view::npos || bytes.size() - found < kTailRoom) break;
    Count(stream, bytes.substr(found + kStampMark.size(), kStampSize));
    bytes.remove_prefix(found + kTailRoom);
    stream.skip = skip_;
  }
  stream.tail = bytes.substr(bytes.size() - std::min(bytes.size(), kTailRoom - 1));
}

void Receiver::Count(Stream& stream, std::string_view stamp) {
  std::uint64_t sentAt = 0;
  std::from_chars(stamp.data(), stamp.data() + stamp.size(), sentAt);
  latencies_.push_back(lastArrival_ - sentAt);
  ++stream.elements;
  ++deliveries_;
  if (stream.elements == complete_ + 1 && --slowest_ == 0) NoteComplete();
}

void Receiver::NoteComplete() {
  const auto complete = ++complete_;
  slowest_ = static_cast<std::size_t>(std::count_if(
      streams_.begin(), streams_.end(), [&](const Stream& stream) { return stream.elements == complete; }));
  completed_.notify_all();
}

}  // namespace Bench
