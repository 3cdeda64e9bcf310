#pragma once

namespace Mirel::Transport {

// Segments with data that the kernel has received on a TCP socket.
unsigned DataSegmentsReceived(int socket);

}  // namespace Mirel::Transport
