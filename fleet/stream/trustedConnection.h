#pragma once

#include <chrono>
#include <stop_token>

#include "platform/corvane/fileDescriptor.h"

namespace Fleet {

// A TCP connection to that port of 127.0.0.1 that root or this process's own user has accepted: anybody may
// listen there while the daemon is down, and would be sent the caller's secret. Throws CallFault, also
// when a stop was asked for.
Corvane::FileDescriptor ConnectTrusted(unsigned port, const std::stop_token& stop,
                                       std::chrono::steady_clock::time_point deadline);

}  // namespace Fleet
