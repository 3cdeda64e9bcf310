#pragma once

namespace GuestLink {

// SIGTERM and SIGINT as something to wait for, so that a program ends in order. They are blocked before
// anything waits, so that one that comes at once isn't lost.
void BlockStopSignals();
// A descriptor of the caller's, readable once one of them has come (signalfd(2)). Throws std::system_error.
int OpenStopSignals();

}  // namespace GuestLink
