#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/corvane/fileDescriptor.h"

namespace GuestAgent {

// Asks systemd, over the system bus (D-Bus), how many of its units have failed. The answer is taken for
// hostile, and waited for 100 ms at most; after a fault the next questions are left out, more of them after
// each further fault, up to twenty. The connection stays open: the bus has to do much for a new one.
class FailedUnits final {
 public:
  static constexpr std::chrono::milliseconds kPatience{100};

  // The path of the bus's socket, which needn't be there.
  explicit FailedUnits(std::string bus, std::chrono::milliseconds patience = kPatience);

  std::optional<std::uint32_t> Count();

 private:
  using Deadline = std::chrono::steady_clock::time_point;

  std::optional<std::uint32_t> Ask();
  bool Connect(Deadline deadline);
  bool Send(std::string_view bytes) const;
  bool ReceiveMore(Deadline deadline);
  bool ReceiveLine(std::string_view start, Deadline deadline);
  std::optional<std::string> ReceiveMessage(Deadline deadline);
  std::optional<std::uint32_t> ReceiveCount(Deadline deadline);

  std::string bus_;
  std::chrono::milliseconds patience_;
  Corvane::FileDescriptor connection_;
  std::string received_;
  std::uint32_t serial_ = 0;
  unsigned faults_ = 0;
  unsigned pause_ = 0;
};

}  // namespace GuestAgent
