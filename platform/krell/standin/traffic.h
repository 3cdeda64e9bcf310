#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

namespace Krell {

class Host;

// What whoever carries the packets of real VMs knows of one of them.
struct VmTraffic {
  std::uint32_t cartelId = 0;
  std::size_t connections = 0;
  std::optional<std::chrono::system_clock::time_point> lastPublication;
};

// AF_UNIX socket in the host's directory: whoever connects gets a line for each VM, and the end of the
// stream.
inline constexpr const char* kTrafficSocket = "traffic";

// "CID CARTEL CONNECTIONS MILLISECONDS", the last one since 1970 or "-".
std::string TrafficLine(std::uint32_t cid, const VmTraffic& traffic);

// By cid; nothing if nobody carries packets there, or has no answer within two seconds.
std::unordered_map<std::uint32_t, VmTraffic> ReadTraffic(const Host& host);

}  // namespace Krell
