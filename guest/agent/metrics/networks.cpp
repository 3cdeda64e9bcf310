#include <unistd.h>

#include <algorithm>
#include <array>

#include "guest/agent/metrics/kernelText.h"
#include "guest/agent/metrics/subjects.h"

namespace GuestAgent {
namespace {

struct NetworkColumn {
  MetricFamily family;
  std::size_t column;  // behind the name in /proc/net/dev
};

constexpr std::array<NetworkColumn, 8> kNetworkColumns{{
    {{"node_network_receive_bytes", MetricKind::Counter}, 0},
    {{"node_network_receive_packets", MetricKind::Counter}, 1},
    {{"node_network_receive_errs", MetricKind::Counter}, 2},
    {{"node_network_receive_drop", MetricKind::Counter}, 3},
    {{"node_network_transmit_bytes", MetricKind::Counter}, 8},
    {{"node_network_transmit_packets", MetricKind::Counter}, 9},
    {{"node_network_transmit_errs", MetricKind::Counter}, 10},
    {{"node_network_transmit_drop", MetricKind::Counter}, 11},
}};

struct Network {
  std::string_view name;
  std::string_view counts;
};

std::vector<Network> ReadNetworks(std::string_view file) {
  std::vector<Network> networks;
  while (!file.empty()) {
    const auto line = TakeLine(file);
    // The two lines of the head have none; a name can't have one.
    const std::size_t colon = line.find(':');
    const auto name = line.substr(std::min(line.find_first_not_of(' '), line.size()));
    if (colon == std::string_view::npos) continue;
    networks.push_back({name.substr(0, name.find(':')), line.substr(colon + 1)});
  }
  std::erase_if(networks, [](const Network& network) { return network.name == "lo"; });
  return networks;
}

// Containers can bring any number of networks with them; the VM's own ones are those with a device.
void PutOwnFirst(const std::string& sys, std::vector<Network>& networks) {
  if (networks.size() <= MetricText::kMaxRows) return;
  std::stable_partition(networks.begin(), networks.end(), [&](const Network& network) {
    const std::string folder = sys + "/class/net/" + std::string(network.name);
    return access((folder + "/device").c_str(), F_OK) == 0;
  });
}

}  // namespace

void AddNetworks(const std::string& proc, const std::string& sys, MetricText& text) {
  const std::string file = ReadKernelFile(proc + "/net/dev");
  auto networks = ReadNetworks(file);
  PutOwnFirst(sys, networks);
  std::vector<MetricRow> rows;
  for (const auto& network : networks) {
    const auto words = Words(network.counts);
    if (words.size() < 12) continue;
    MetricRow row{MetricLabel("device", network.name), {}};
    for (const auto& [family, column] : kNetworkColumns) {
      const auto count = ToNumber(words[column]);
      row.numbers.push_back(count ? WholeNumber(*count) : "");
    }
    rows.push_back(std::move(row));
  }
  std::array<MetricFamily, kNetworkColumns.size()> families{};
  std::transform(kNetworkColumns.begin(), kNetworkColumns.end(), families.begin(),
                 [](const NetworkColumn& column) { return column.family; });
  text.Add(families, rows);
}

}  // namespace GuestAgent
