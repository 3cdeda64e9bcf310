#include "guest/link/simulatedWay.h"

#include <cerrno>
#include <string>
#include <system_error>

#include "platform/krell/standin/guestSocket.h"
#include "platform/krell/standin/host.h"

namespace GuestLink {
namespace {

class Socket final : public Channel {
 public:
  Socket(std::uint32_t cid, std::uint32_t port, std::uint32_t hostPort)
      : socket_(cid, port), hostPort_(hostPort) {}

  bool Send(std::string_view text) override try {
    socket_.Send(hostPort_, text);
    return true;
  } catch (const std::system_error& error) {
    if (error.code().value() != ECONNRESET) throw;
    return false;
  }

  std::optional<std::string> Receive(std::chrono::milliseconds timeout) override {
    auto datagram = socket_.Receive(timeout);
    if (!datagram || datagram->cid != Krell::kHostCid) return std::nullopt;
    return std::move(datagram->text);
  }

  int Descriptor() const override { return socket_.Descriptor(); }

 private:
  Krell::GuestSocket socket_;
  const std::uint32_t hostPort_;
};

class SimulatedWay final : public Way {
 public:
  explicit SimulatedWay(std::uint32_t cid) : cid_(cid) {}

  std::unique_ptr<Channel> OpenPublications(const LinkOptions& options) override {
    return std::make_unique<Socket>(cid_, options.own == 0 ? Krell::kAnyPort : options.own, options.host);
  }
  std::unique_ptr<Channel> OpenRequests(const LinkOptions& options) override {
    return std::make_unique<Socket>(cid_, options.history, options.host);
  }

 private:
  const std::uint32_t cid_;
};

}  // namespace

std::unique_ptr<Way> MakeSimulatedWay(std::uint32_t cid) {
  const Krell::Host host = Krell::Host::FromEnvironment();
  if (!host.FindByCid(cid)) {
    throw Krell::HostError("no VM with cid " + std::to_string(cid) + " runs on " + host.Directory());
  }
  return std::make_unique<SimulatedWay>(cid);
}

}  // namespace GuestLink
