#include "tests/forward/natsServer.h"

#include <signal.h>
#include <unistd.h>

#include <stdexcept>

#include "fleet/forward/makeStream.h"
#include "fleet/nats/natsLink.h"
#include "testing/daemon.h"

namespace Testing {

bool HasNatsServer() {
  return access(kNatsServer, X_OK) == 0;
}

NatsServer::NatsServer(const std::string& configuration) : port_(FreePort()) {
  WriteConfiguration(configuration);
  Start();
}

void NatsServer::WriteConfiguration(const std::string& configuration) const {
  const bool whole = configuration.find("store_dir") != std::string::npos;
  folder_.Write(
      "conf", configuration + (whole ? "" : "\njetstream { store_dir: \"" + (folder_ / "store") + "\" }\n"));
}

void NatsServer::Start() {
  process_.emplace(std::vector<std::string>{kNatsServer, "-c", folder_ / "conf", "-a", "127.0.0.1", "-p",
                                            std::to_string(port_)});
  if (!process_->WaitForLog("Server is ready")) throw std::runtime_error(process_->Log());
}

void NatsServer::Kill() {
  process_.reset();
}

void NatsServer::Reload(const std::string& configuration) {
  WriteConfiguration(configuration);
  const auto before = process_->Logged("Reloaded server configuration");
  process_->Signal(SIGHUP);
  if (!process_->WaitForLog("Reloaded server configuration", before + 1)) {
    throw std::runtime_error(process_->Log());
  }
}

std::string NatsServer::Url(const std::string& scheme) const {
  return scheme + "://127.0.0.1:" + std::to_string(port_);
}

void NatsServer::MakeStream() const {
  Fleet::StreamShape shape;
  shape.replicas = 1;
  Fleet::MakeStream(Options(), "hesper", shape);
}

std::uint64_t NatsServer::Messages() const {
  const Fleet::NatsLink link(Options(), "test", "_INBOX", {});
  const auto jetStream = link.JetStream(nullptr);
  jsStreamInfo* info = nullptr;
  Fleet::CheckNats(js_GetStreamInfo(&info, jetStream.get(), "HESPER", nullptr, nullptr), "stream");
  return Fleet::StreamInfoHandle(info)->State.Msgs;
}

}  // namespace Testing
