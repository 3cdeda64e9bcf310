#pragma once

#include <memory>
#include <ostream>

#include "framework/core/log.h"

namespace Mirel::Transport {

// A request's identifier in log lines: the address of its transaction, in square brackets.
struct RequestId {
  const void* transaction;
};

inline std::ostream& operator<<(std::ostream& out, RequestId id) {
  return out << '[' << id.transaction << ']';
}

// The severities of the transport's lines.
// The normal course of a request.
inline constexpr auto kNormal = Log::SeverityLevel::Trace;
// A request that fails.
inline constexpr auto kFailure = Log::SeverityLevel::Debug;
// The server's start, and refused heads.
inline constexpr auto kServer = Log::SeverityLevel::Info;
// Connections that give way to others.
inline constexpr auto kAdmission = Log::SeverityLevel::Warning;
// Faults of accepting.
inline constexpr auto kAcceptError = Log::SeverityLevel::Error;

}  // namespace Mirel::Transport
