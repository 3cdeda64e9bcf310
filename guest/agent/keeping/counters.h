#pragma once

#include <array>
#include <cstdint>

namespace GuestAgent {

// What the agent has done since its start; it publishes them itself.
struct Counters {
  std::uint64_t kept = 0;
  std::array<std::uint64_t, 6> refused{};  // by fault, as they were handed over
  std::uint64_t sent = 0;                  // accepted by the host
  std::uint64_t late = 0;                  // of those, later than ten seconds after they were kept
  std::uint64_t replaced = 0;              // by a newer one of their topic, before they were sent
  std::uint64_t refusedByHost = 0;
  std::uint64_t repeats = 0;  // sent again, as nobody had answered
  std::uint64_t historyRequests = 0;
  std::uint64_t historyRefused = 0;  // requests of which there were too many, or that were none
  std::uint64_t historySent = 0;
  std::uint64_t historySkipped = 0;  // too long with the subscribers in them, or refused
};

}  // namespace GuestAgent
