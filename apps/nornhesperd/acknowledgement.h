#pragma once

#include <cstddef>
#include <string>

#include "apps/nornhesperd/registry.h"

namespace NornHesper {

// The largest datagram taken in from a guest. No acknowledgement is longer either.
inline constexpr size_t kLargestDatagram = 69608;
// The rest of an acknowledgement fits in the difference.
inline constexpr size_t kLargestDiagnosis = kLargestDatagram - 128;
// Packets a second that a guest may send.
inline constexpr int kPeerRateLimit = 2;

// The answer to a guest. It is a JSON text only if the diagnosis is free of quotation marks and line feeds:
// guests know the diagnosis as unescaped text between two fixed lines.
std::string MakeAcknowledgement(const PublishOutcome& outcome);

}  // namespace NornHesper
