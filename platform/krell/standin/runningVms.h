#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/corvane/mutex.h"

namespace Krell {

class Host;

// What of a VM has to be known for each packet.
struct RunningVm {
  std::uint32_t cid = 0;
  std::uint32_t cartelId = 0;
  bool privileged = false;
};

// The VMs of a host as they were read, for as long as none has started or stopped since. A steady state reads
// no file and allocates nothing. May be used by any thread.
class RunningVms {
 public:
  // Requires: the host outlives it.
  explicit RunningVms(const Host& host) : host_(host) {}

  // Nothing if no such VM runs; std::system_error if that can't be found out.
  std::optional<RunningVm> FindByCid(std::uint32_t cid);
  std::optional<RunningVm> FindByBiosUuid(std::string_view uuid);

 private:
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };

  void ForgetWhatHasChanged() CORVANE_REQUIRES(mutex_);

  const Host& host_;
  Corvane::Mutex mutex_;
  std::uint64_t generation_ CORVANE_GUARDED_BY(mutex_) = 0;
  std::unordered_map<std::uint32_t, std::optional<RunningVm>> byCid_ CORVANE_GUARDED_BY(mutex_);
  std::unordered_map<std::string, std::optional<RunningVm>, TextHash, std::equal_to<>> byBiosUuid_
      CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Krell
