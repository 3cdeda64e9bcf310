#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/corvane/mutex.h"

namespace Krell {

// The faults that a test asks of the kernel, from the file "faults" of the host directory; README.md has
// its lines. An unreadable line is reported on standard error and left out. May be used by any thread.
class Faults {
 public:
  enum class Family { Standard, Device, None };

  // directory is the descriptor of the host directory; without the file there are no faults.
  explicit Faults(int directory);

  Family FamilyMode() const { return family_; }
  // The errno with which this call has to fail, or 0. The option (or ioctl request) is 0 for calls that
  // have none.
  int Next(const char* call, unsigned long option = 0);
  // The value that the option keeps, whatever is set.
  std::optional<std::int32_t> StuckValue(unsigned long option) const;
  // The size that getsockopt gives for the option.
  std::optional<unsigned> ReportedSize(unsigned long option) const;

 private:
  struct CallFault {
    std::string call;
    unsigned long option;
    int error;
    // Negative: without end.
    long remaining;
  };
  struct OptionFault {
    unsigned long option;
    std::optional<std::int32_t> value;
    std::optional<unsigned> size;
  };

  bool ParseLine(const std::string& line) CORVANE_REQUIRES(mutex_);

  bool applies_ = true;
  Family family_ = Family::Standard;
  std::vector<OptionFault> options_;
  Corvane::Mutex mutex_;
  std::vector<CallFault> calls_ CORVANE_GUARDED_BY(mutex_);
};

// How "SO_RCVBUF" is distinguished from the options of the vsock level.
inline constexpr unsigned long kReceiveBufferOption = 0x10000;

}  // namespace Krell
