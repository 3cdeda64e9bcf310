#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "apps/hesper-bridge/context.h"
#include "apps/hesper-bridge/guest.h"
#include "apps/hesper-bridge/hostWatch.h"
#include "apps/hesper-bridge/listener.h"
#include "apps/hesper-bridge/trafficServer.h"
#include "platform/krell/standin/gateway.h"
#include "platform/krell/standin/host.h"

namespace Bridge {

struct Settings {
  // The daemon's port, on the host's side and for guests.
  std::uint32_t port = 7777;
  // Whether to listen on the kernel's vsock, if it has one.
  bool vsock = true;
};

// Carries the packets between the host's real VMs and its endpoints. It follows the host's list of VMs.
class HostBridge {
 public:
  // Throws Krell::HostError if the host has a bridge, std::system_error if it can't be made. Requires: the
  // others outlive it.
  HostBridge(boost::asio::io_context& io, const Krell::Host& host, Corvane::Service::Logger& log,
             const Settings& settings);
  HostBridge(const HostBridge&) = delete;
  HostBridge& operator=(const HostBridge&) = delete;
  ~HostBridge();

  void Start();

 private:
  void ListenToVsock();
  std::string TellTraffic() const;
  void AwaitPackets();
  void CarryPackets();
  void Refresh(std::uint32_t cid);
  void RefreshAll();
  void RefreshLater();
  void AwaitSweep();
  void AdmitFromVsock(StreamSocket socket, std::uint32_t cid, std::uint32_t port);

  const Krell::Host& host_;
  Context context_;
  const Settings settings_;
  Krell::Gateway gateway_;
  boost::asio::posix::stream_descriptor gatewayEvents_;
  HostWatch watch_;
  TrafficServer traffic_;
  std::unordered_map<std::uint32_t, std::shared_ptr<Guest>> guests_;
  std::shared_ptr<Listener> vsock_;
  // It has been said that there is none; it is tried again.
  bool isVsockMissed_ = false;
  boost::asio::steady_timer sweep_;
  boost::asio::steady_timer retry_;
  Clock::time_point nextStrangerLine_;
};

}  // namespace Bridge
