#pragma once

#include <string>
#include <string_view>

#include "guest/lib/wait.h"
#include "platform/corvane/fileDescriptor.h"

namespace HesperGuest {

// A datagram socket that is connected to the agent's: the kernel then lets nobody else answer, and wakes
// whoever waits for the agent to take more. Functions give 0 or a negative errno.
class AgentSocket {
 public:
  explicit AgentSocket(std::string path) : path_(std::move(path)) {}

  // A new socket, at an address that no other one has had.
  int Open();
  bool IsOpen() const { return descriptor_.IsOpen(); }
  void Close() { descriptor_ = {}; }

  int Send(std::string_view text, const Deadline& deadline) const;
  // -EMSGSIZE: it is longer than the room.
  int Receive(std::string& room, std::string_view& text, const Deadline& deadline) const;

 private:
  const std::string path_;
  Corvane::FileDescriptor descriptor_;
};

}  // namespace HesperGuest
