#pragma once

#include <memory>

#include "framework/transport/connection/ioStream.h"

namespace Mirel::Asio {

// Closes the connection as soon as the kernel knows that its peer has gone (a reset, or probes without an
// answer), so that a response on which nothing moves gives its descriptor back. A later write finds it
// closed. A peer that has only finished sending is still there, and closes nothing. Does nothing for a
// connection that is watched already.
void CloseWhenPeerHasGone(const std::shared_ptr<IoStream>& stream);

}  // namespace Mirel::Asio
