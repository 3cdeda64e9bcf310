#include "tests/forward/fleetHost.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "fleet/nats/fleetReader.h"
#include "testing/eventually.h"
#include "testing/subscriber.h"

namespace Testing {
namespace {

// Slow programs lose some of the history too, and ask again after half a minute, and then after a whole one.
constexpr std::chrono::seconds kFilled{SANITIZED ? 200 : 60};

}  // namespace

ReturningDaemon::ReturningDaemon(std::uint32_t vmPort) : port_(FreePort()), vmPort_(vmPort) {
  SharedHost();
  Start();
}

void ReturningDaemon::Start() {
  const auto file =
      folder_.Write("config", "<config><mirelPort>" + std::to_string(port_) + "</mirelPort><vmListenPort>" +
                                  std::to_string(vmPort_) + "</vmListenPort></config>");
  process_.emplace(std::vector<std::string>{NORNHESPERD_PROGRAM, file});
  if (!process_->WaitForLog("Running IO service...")) throw std::runtime_error(process_->Log());
}

std::string ForwarderProcess::TokenFile(const TemporaryFolder& folder, const std::string& entitlement) {
  const auto header = TokenFor("forward", entitlement);
  auto token = header.substr(header.rfind(' ') + 1);
  token.erase(token.find_last_not_of("\r\n") + 1);
  return folder.Write("token." + entitlement, token + "\n");
}

ForwarderProcess::ForwarderProcess(std::uint16_t daemonPort, std::vector<std::string> options)
    : command_{HESPER_FORWARD_PROGRAM,
               "--port",
               std::to_string(daemonPort),
               "--token-file",
               TokenFile(folder_, "GUEST_DATA_ACCESS"),
               "--state",
               StateFile(),
               "--host",
               "host-a"} {
  command_.insert(command_.end(), std::make_move_iterator(options.begin()),
                  std::make_move_iterator(options.end()));
}

void ForwarderProcess::Start() {
  process_.emplace(command_);
}

bool ForwarderProcess::StartAndWait() {
  Start();
  return process_->WaitForLog("Subscribed");
}

FleetCollector::FleetCollector(const Fleet::NatsOptions& options)
    : thread_([this, options](const std::stop_token& stop) {
        Fleet::FleetWanted wanted;
        wanted.since = std::chrono::hours(1);
        Fleet::ReadFleet(options, "hesper", "HESPER", wanted, stop,
                         [this](const std::string&, const Fleet::Element& element) {
                           const std::lock_guard lock(mutex_);
                           ++counts_[element.topic];
                           return true;
                         });
      }) {}

std::map<std::string, int> FleetCollector::Counts() const {
  const std::lock_guard lock(mutex_);
  return counts_;
}

bool FleetCollector::WaitFor(const std::set<std::string>& topics) const {
  return Eventually(
      [&] {
        const auto counts = Counts();
        return std::ranges::all_of(topics, [&](const auto& topic) { return counts.contains(topic); });
      },
      kFilled);
}

}  // namespace Testing
