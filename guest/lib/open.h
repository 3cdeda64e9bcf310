#pragma once

#include <memory>

#include "guest/lib/hesperguest.h"
#include "guest/lib/stream.h"

namespace HesperGuest {

// The ways to the host, in the order in which they are tried. They give 0, or a negative errno.

// Connects to the host's port.
int OpenPublications(const hesper_options& options, std::unique_ptr<Stream>& stream);

// Where requests for history come: a listening socket, or the line itself.
struct RequestSource {
  Corvane::FileDescriptor listener;
  std::unique_ptr<Stream> line;
};
int OpenRequests(const hesper_options& options, RequestSource& source);

}  // namespace HesperGuest
