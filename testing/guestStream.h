#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "guest/wire/framing.h"
#include "platform/corvane/fileDescriptor.h"
#include "testing/eventually.h"

namespace Testing {

// A guest's end of a byte stream to the bridge.
class GuestStream {
 public:
  // Takes a connected socket.
  GuestStream(Corvane::FileDescriptor socket, std::unique_ptr<Wire::Framing> framing)
      : socket_(std::move(socket)), framing_(std::move(framing)) {}

  std::string Frame(std::string_view text) const;
  // Another program of the guest has the stream now, and knows nothing of what came before.
  void PassOn(std::unique_ptr<Wire::Framing> framing) { framing_ = std::move(framing); }

  // What was not taken in the time, or not at all, because the other end has closed, is lost.
  void SendBytes(std::string_view bytes);
  void Send(std::string_view text) { SendBytes(Frame(text)); }
  // Sends as far as the other end takes it at once; gives how many bytes that were.
  std::size_t SendSome(std::string_view bytes);
  // The next text, or nothing when none comes in the time or the other end has closed.
  std::optional<std::string> Receive(std::chrono::milliseconds time = kEventually);
  // Sends and receives.
  std::string Publish(std::string_view text);
  // Whether the other end closes; nothing is read for it.
  bool Closes(std::chrono::milliseconds time = kEventually) const;
  // Whether the other end reads all that was sent.
  bool IsTaken(std::chrono::milliseconds time = kEventually) const;

  int Descriptor() const { return socket_.Get(); }

 private:
  bool Read(std::chrono::steady_clock::time_point deadline);

  Corvane::FileDescriptor socket_;
  std::unique_ptr<Wire::Framing> framing_;
  std::string input_;
};

}  // namespace Testing
