#include "tools/host/vmTable.h"

#include <cstdio>
#include <ctime>
#include <string>

#include "platform/krell/standin/host.h"
#include "platform/krell/standin/traffic.h"

namespace Tools {
namespace {

constexpr const char* kFormat = "%-10s %-10s %-10s %-10s %-11s %-20s %-36s %-36s %-24s %s\n";

std::string Describe(const Krell::VmTransport& transport) {
  switch (transport.kind) {
    case Krell::VmTransport::Kind::Hybrid:
      return "hybrid:" + transport.path;
    case Krell::VmTransport::Kind::Serial:
      return "serial:" + transport.path + "," + transport.historyPath;
    case Krell::VmTransport::Kind::Vsock:
      break;
  }
  return "vsock";
}

std::string Describe(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

}  // namespace

void PrintVms(const Krell::Host& host) {
  const auto traffic = Krell::ReadTraffic(host);
  std::printf(kFormat, "CID", "CARTEL", "VMM", "PRIVILEGED", "CONNECTIONS", "LAST-PUBLICATION", "BIOS-UUID",
              "VM-UUID", "MGR-VM-ID", "TRANSPORT");
  for (const auto& vm : host.List()) {
    std::string connections = "-";
    std::string last = "-";
    const auto known = traffic.find(vm.identity.cid);
    if (known != traffic.end() && known->second.cartelId == vm.cartelId) {
      connections = std::to_string(known->second.connections);
      if (known->second.lastPublication) last = Describe(*known->second.lastPublication);
    }
    std::printf(kFormat, std::to_string(vm.identity.cid).c_str(), std::to_string(vm.cartelId).c_str(),
                std::to_string(vm.leaderId).c_str(), vm.identity.privileged ? "yes" : "no",
                connections.c_str(), last.c_str(), vm.identity.biosUuid.c_str(), vm.identity.vmUuid.c_str(),
                vm.identity.mgrVmId.c_str(), Describe(vm.identity.transport).c_str());
  }
}

}  // namespace Tools
