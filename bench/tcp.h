#pragma once

#include <cstdint>
#include <string_view>

#include "platform/corvane/fileDescriptor.h"

namespace Bench {

// This process, and those that it starts, may have as many descriptors as the machine allows.
void RaiseDescriptorLimit();
// A connection to a port of 127.0.0.1; not open where nobody listens.
Corvane::FileDescriptor TryConnect(std::uint16_t port);
// Throws where nobody listens.
Corvane::FileDescriptor Connect(std::uint16_t port);
// All of it, however long the other end takes. Throws at the connection's end.
void SendAll(int socket, std::string_view bytes);

}  // namespace Bench
