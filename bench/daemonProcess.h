#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/corvane/fileDescriptor.h"
#include "testing/childProcess.h"
#include "testing/subscriber.h"

namespace Bench {

// A given build of the daemon on the test host, until the object ends.
class DaemonProcess {
 public:
  explicit DaemonProcess(const std::string& program);

  pid_t pid() const { return process_.pid(); }
  std::uint32_t vmPort() const { return vmPort_; }
  // Twice the connections that it allows itself: as many as it could still allow itself.
  void AllowMoreConnections() const;
  // The connection of a new stream. What is wanted is the JSON of the operation's argument.
  Corvane::FileDescriptor Subscribe(std::string_view wanted = Testing::kEverything) const;

 private:
  const std::uint16_t port_;
  const std::uint32_t vmPort_;
  Testing::ChildProcess process_;
};

}  // namespace Bench
