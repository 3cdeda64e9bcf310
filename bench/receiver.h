#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/corvane/fileDescriptor.h"

namespace Bench {

// Reads streams of stamped publications and whatever answers their senders get, all in one thread, and notes
// what came when. It costs little beside what is measured: after a stamp, the bytes that can't hold the next
// one are passed over.
class Receiver {
 public:
  // Each stream's elements are made of publications of textSize bytes. Descriptors of answers stay the
  // caller's.
  Receiver(std::vector<Corvane::FileDescriptor> streams, const std::vector<int>& answers,
           std::size_t textSize);
  ~Receiver();
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  // Forgets what has come until now. Requires: all is quiet.
  void Restart();

  std::size_t Streams() const { return streams_.size(); }
  std::uint64_t Answers() const { return answers_; }
  std::uint64_t Deliveries() const { return deliveries_; }
  // What every stream has received.
  std::uint64_t Complete() const { return complete_; }
  // False when some stream doesn't have that many after half a second.
  bool AwaitComplete(std::uint64_t complete);
  // NowNs() when something came for the last time.
  std::uint64_t LastArrival() const { return lastArrival_; }
  // From sending to reading, in nanoseconds, ascending. Requires: all is quiet.
  std::vector<std::uint64_t> Latencies();
  // Those that the other end has closed.
  unsigned EndedStreams() const { return ended_; }
  // The reading thread's own.
  double CpuSeconds();

 private:
  struct Stream {
    Corvane::FileDescriptor socket;
    std::uint64_t elements = 0;
    std::size_t skip = 0;   // bytes that can't hold a mark
    std::string tail = {};  // the begin of what may become a stamp
  };

  void Watch(int descriptor, std::uint64_t id);
  void Run();
  void ReadAnswers(int descriptor);
  void ReadStream(Stream& stream);
  void Scan(Stream& stream, std::string_view bytes);
  void Count(Stream& stream, std::string_view stamp);
  void NoteComplete();

  const std::size_t skip_;
  Corvane::FileDescriptor epoll_;
  std::vector<Stream> streams_;
  std::vector<int> answerers_;
  std::vector<char> buffer_;
  std::size_t slowest_ = 0;  // streams that have received no more than complete_
  std::atomic<bool> stop_{false};
  std::atomic<std::uint64_t> answers_{0};
  std::atomic<std::uint64_t> deliveries_{0};
  std::atomic<std::uint64_t> complete_{0};
  std::atomic<std::uint64_t> lastArrival_{0};
  std::atomic<unsigned> ended_{0};
  std::mutex mutex_;
  std::condition_variable completed_;
  std::vector<std::uint64_t> latencies_;
  std::thread thread_;
};

}  // namespace Bench
