#pragma once

#include <sys/epoll.h>

#include <cerrno>

#include "platform/corvane/fileDescriptor.h"

namespace HesperGuest {

// One descriptor that stands for several: it is readable when something has happened to one of them since the
// last Clear. So a line whose host is gone does not wake its program for ever.
class Readiness {
 public:
  Readiness() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {}

  // 0 or a negative errno. A descriptor that is closed is not watched any more.
  int Add(int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN | EPOLLET;
    return epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, descriptor, &event) == 0 ? 0 : -errno;
  }

  // Before the descriptors are looked at, so that what happens from then on counts.
  void Clear() {
    epoll_event events[16];
    while (epoll_wait(epoll_.Get(), events, 16, 0) == 16) {
    }
  }

  int Descriptor() const { return epoll_.Get(); }

 private:
  Corvane::FileDescriptor epoll_;
};

}  // namespace HesperGuest
