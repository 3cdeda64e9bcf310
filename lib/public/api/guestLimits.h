#pragma once

#include <cstddef>

// What the two ends of the guest data's road agree on: the daemon, and whoever publishes.
namespace NornHesper {

// The largest datagram that is taken whole from a guest. No acknowledgement is longer either.
inline constexpr std::size_t kLargestDatagram = 69608;
// The rest of an acknowledgement fits in the difference.
inline constexpr std::size_t kLargestDiagnosis = kLargestDatagram - 128;
// Packets a second that a guest may send.
inline constexpr int kPeerRateLimit = 2;

}  // namespace NornHesper
