#pragma once

#include <sys/socket.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/corvane/mutex.h"
#include "platform/krell/standin/endpointQueue.h"
#include "platform/krell/standin/vsockKernel.h"
#include "platform/krell/vsockAddress.h"

namespace Krell {

// A vsock datagram socket: the state behind a descriptor, which is that of an AF_UNIX socket. The calls
// give 0 or a length, or a negative errno. May be used by any thread.
class VsockSocket {
 public:
  VsockSocket(std::shared_ptr<VsockKernel> kernel, int fd);

  int Bind(const sockaddr* address, socklen_t length);
  int Connect(const sockaddr* address, socklen_t length);
  int GetName(sockaddr* address, socklen_t* length);
  int GetPeer(sockaddr* address, socklen_t* length);
  int GetOption(int level, int option, void* value, socklen_t* length);
  int SetOption(int level, int option, const void* value, socklen_t length);
  ssize_t Receive(msghdr& message, int flags);
  ssize_t Send(const msghdr& message);
  // Gives up the address; the descriptor is the caller's to close.
  void Close();

 private:
  struct Options {
    std::int32_t receiveBuffer = EndpointQueue::kDefaultReceiveBuffer;
    std::int32_t rateLimit = 0;
    std::int32_t privilegeMode = 0;
  };

  int CopyIn(const sockaddr* address, socklen_t length, VsockAddress& out) const;
  int BindLocked(VsockAddress address) CORVANE_REQUIRES(mutex_);
  int TakeName(const std::string& name, std::uint32_t cartelId) CORVANE_REQUIRES(mutex_);
  void ApplyOptions() CORVANE_REQUIRES(mutex_);
  int CartelIdOfPeer(std::uint32_t& cartelId) CORVANE_REQUIRES(mutex_);
  std::shared_ptr<EndpointQueue> Queue();
  // Faults are the host's: a guest's kernel is another one.
  int Fault(const char* call, unsigned long option = 0);

  const std::shared_ptr<VsockKernel> kernel_;
  const int fd_;
  const int creator_;
  std::atomic<bool> guest_{false};
  Corvane::Mutex mutex_;
  bool bound_ CORVANE_GUARDED_BY(mutex_) = false;
  bool connected_ CORVANE_GUARDED_BY(mutex_) = false;
  VsockAddress name_ CORVANE_GUARDED_BY(mutex_);
  VsockAddress peer_ CORVANE_GUARDED_BY(mutex_);
  std::uint32_t cartelId_ CORVANE_GUARDED_BY(mutex_) = 0;
  Options options_ CORVANE_GUARDED_BY(mutex_);
  std::shared_ptr<EndpointQueue> queue_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Krell
