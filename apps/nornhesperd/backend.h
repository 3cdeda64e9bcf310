#pragma once

#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <memory>
#include <string_view>

#include "apps/nornhesperd/vsock.h"
#include "platform/corvane/object.h"
#include "platform/corvane/thread.h"

namespace NornHesper {

// The daemon's ear towards the VMs: one vsock datagram socket, and one thread that receives publications,
// has them judged and acknowledges them, one at a time and for ever. The kernel keeps each VM to its rate and
// unprivileged senders away; a daemon for which it doesn't does not run.
class Backend final : public Corvane::ObjectImpl {
 public:
  explicit Backend(unsigned port) : port_(port) {}

  // Ends the process when the socket can't be had as wanted; throws when its receive buffer can't be sized.
  // The thread keeps a reference to this object, which therefore has to be held by a Ref.
  void Start();

 private:
  using Socket = vsock::packet_proto::socket;

  void CreateSocket();
  void SizeReceiveBuffer();
  void LimitPeerRate();
  void RequirePrivilegedPeers();
  void ThreadFunc();
  bool KeepsFailing(ssize_t received);
  void Serve(std::string_view text, const vsock::endpoint& sender);

  const unsigned port_;
  // Nobody runs it. On the daemon's own context each datagram would also wake the thread that runs that one.
  boost::asio::io_context idleContext_;
  std::unique_ptr<Socket> socket_;
  Corvane::Ref<Corvane::System::Thread> thread_;
  std::uint64_t failuresInARow_ = 0;  // of receiving
};

}  // namespace NornHesper
