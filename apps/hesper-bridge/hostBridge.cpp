#include "apps/hesper-bridge/hostBridge.h"

#include <malloc.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "apps/hesper-bridge/vsockTransport.h"
#include "platform/krell/standin/traffic.h"

namespace Bridge {
namespace {

using boost::system::error_code;
using Corvane::Service::LogInternal;

// A frame of the largest text at once.
constexpr std::size_t kScratchSize = 81920;
// Of all guests together, under way at a time. A guest without any may always begin one.
constexpr std::size_t kMostFrames = 512;
// Of packets that are carried in one turn.
constexpr int kMostPackets = 64;
constexpr std::uint32_t kFirstUnprivilegedPort = 1024;
constexpr std::chrono::seconds kBetweenSweeps{5};
constexpr std::chrono::seconds kRetryDelay{1};
constexpr std::chrono::minutes kBetweenStrangerLines{1};
// What thousands of guests have had for their texts at one time, the allocator would keep for ever.
constexpr std::size_t kMostFreeMemory = 16 << 20;

}  // namespace

HostBridge::HostBridge(boost::asio::io_context& io, const Krell::Host& host, Corvane::Service::Logger& log,
                       const Settings& settings)
    : host_(host),
      context_{.io = io,
               .log = log,
               .daemon = DaemonEndpoint(io, host, settings.port),
               .frames = std::make_shared<FrameBudget>(io, kMostFrames),
               .scratch = std::vector<char>(kScratchSize)},
      settings_(settings),
      gateway_(host),
      gatewayEvents_(io, gateway_.Descriptor()),
      watch_(
          io, host, [this](std::uint32_t cid) { Refresh(cid); }, [this] { RefreshAll(); }),
      traffic_(io, host, [this] { return TellTraffic(); }),
      sweep_(io),
      retry_(io) {}

HostBridge::~HostBridge() {
  // It belongs to the gateway.
  gatewayEvents_.release();
  if (vsock_) vsock_->Close();
  for (const auto& [cid, guest] : guests_) guest->Close();
}

void HostBridge::Start() {
  if (settings_.vsock) ListenToVsock();
  watch_.Start();
  RefreshAll();
  traffic_.Start();
  AwaitPackets();
  AwaitSweep();
  LogInternal(&context_.log, 6, "Carries packets between %1 VMs and host %2", guests_.size(),
              host_.Directory());
}

void HostBridge::ListenToVsock() try {
  vsock_ = ListenOnVsock(context_.io, settings_.port,
                         [this](StreamSocket socket, std::uint32_t cid, std::uint32_t port) {
                           AdmitFromVsock(std::move(socket), cid, port);
                         });
  vsock_->Start();
  context_.hasVsock = true;
  LogInternal(&context_.log, 6, "Listens on vsock port %1", settings_.port);
} catch (const std::system_error& error) {
  if (std::exchange(isVsockMissed_, true)) return;
  LogInternal(&context_.log, 4, "No guests on vsock: %1", error.what());
}

void HostBridge::AdmitFromVsock(StreamSocket socket, std::uint32_t cid, std::uint32_t port) {
  // The list is read here too: a change that is not told yet counts already.
  Refresh(cid);
  const auto guest = guests_.find(cid);
  if (guest == guests_.end() ||
      guest->second->Vm().identity.transport.kind != Krell::VmTransport::Kind::Vsock) {
    const auto now = Clock::now();
    if (now < nextStrangerLine_) return;
    nextStrangerLine_ = now + kBetweenStrangerLines;
    LogInternal(&context_.log, 4, "Refused cid %1, which no VM has on vsock", cid);
    return;
  }
  guest->second->Admit(std::move(socket), port,
                       port < kFirstUnprivilegedPort && guest->second->Vm().identity.privileged);
}

// Makes the guest with this cid what the host's list says now.
void HostBridge::Refresh(std::uint32_t cid) try {
  auto vm = host_.FindByCid(cid);
  const auto known = guests_.find(cid);
  if (known != guests_.end()) {
    if (vm && vm->cartelId == known->second->Vm().cartelId) return;
    const auto old = known->second;
    guests_.erase(known);
    old->Close();
  }
  if (!vm) return;
  const auto guest = std::make_shared<Guest>(context_, std::move(*vm));
  guests_.emplace(cid, guest);
  guest->Start();
} catch (const std::system_error& error) {
  LogInternal(&context_.log, 3, "Cannot read VM %1: %2", cid, error.what());
  RefreshLater();
}

void HostBridge::RefreshAll() try {
  std::vector<std::uint32_t> cids;
  for (const auto& [cid, guest] : guests_) cids.push_back(cid);
  for (const auto& vm : host_.List()) cids.push_back(vm.identity.cid);
  for (const auto cid : cids) Refresh(cid);
} catch (const std::exception& error) {
  LogInternal(&context_.log, 3, "Cannot read the host's VMs: %1", error.what());
  RefreshLater();
}

void HostBridge::RefreshLater() {
  retry_.expires_after(kRetryDelay);
  retry_.async_wait([this](const error_code& error) {
    if (!error) RefreshAll();
  });
}

void HostBridge::AwaitPackets() {
  gatewayEvents_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                            [this](const error_code& error) {
                              if (error) return;
                              CarryPackets();
                              AwaitPackets();
                            });
}

// What the daemon sends to guests: from its own port acknowledgements, from any other one requests for
// history.
void HostBridge::CarryPackets() {
  for (int packets = 0; packets < kMostPackets; ++packets) {
    const auto packet = gateway_.Take();
    if (!packet) return;
    const auto guest = guests_.find(packet->cid);
    if (guest == guests_.end() || guest->second->Vm().cartelId != packet->cartelId) continue;
    if (packet->sourcePort == settings_.port) {
      guest->second->Acknowledge(packet->port, packet->text);
    } else {
      guest->second->Ask(packet->port, packet->text);
    }
  }
}

void HostBridge::AwaitSweep() {
  sweep_.expires_after(kBetweenSweeps);
  sweep_.async_wait([this](const error_code& error) {
    if (error) return;
    const auto now = Clock::now();
    for (const auto& [cid, guest] : guests_) guest->CheckProgress(now);
    if (settings_.vsock && !vsock_) ListenToVsock();
    if (mallinfo2().fordblks > kMostFreeMemory) malloc_trim(0);
    AwaitSweep();
  });
}

std::string HostBridge::TellTraffic() const {
  std::string text;
  for (const auto& [cid, guest] : guests_) {
    text += Krell::TrafficLine(cid, {guest->Vm().cartelId, guest->Connections(), guest->LastPublication()});
  }
  return text;
}

}  // namespace Bridge
