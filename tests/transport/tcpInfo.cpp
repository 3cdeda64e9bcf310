// The kernel's own header has more in this structure than the C library's, and the two don't go together.

#include "tests/transport/tcpInfo.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace Mirel::Transport {

unsigned DataSegmentsReceived(int socket) {
  tcp_info info{};
  socklen_t size = sizeof info;
  if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return 0;
  return info.tcpi_data_segs_in;
}

}  // namespace Mirel::Transport
