#include "guest/lib/wait.h"

#include <poll.h>

#include <cerrno>

namespace HesperGuest {

int Await(int descriptor, short events, const Deadline& deadline) {
  for (;;) {
    pollfd entry{descriptor, events, 0};
    const int ready = poll(&entry, 1, deadline.Left());
    if (ready > 0) return 0;
    if (ready == 0) return -ETIMEDOUT;
    if (errno != EINTR) return -errno;
  }
}

}  // namespace HesperGuest
