#include "platform/krell/standin/traffic.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <sstream>

#include "platform/krell/standin/descriptor.h"
#include "platform/krell/standin/endpointAddress.h"
#include "platform/krell/standin/host.h"

namespace Krell {
namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;

// Of thousands of VMs; what is longer isn't an answer.
constexpr std::size_t kLongestAnswer = 4 << 20;

std::string ReadAll(const Host& host) {
  const Descriptor peer(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const EndpointAddress address(host.DirectoryDescriptor(), kTrafficSocket);
  const timeval patience{2, 0};
  setsockopt(peer.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  setsockopt(peer.Get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  if (connect(peer.Get(), reinterpret_cast<const sockaddr*>(address.bytes), address.length) != 0) return {};
  std::string text;
  char part[16384];
  ssize_t size = 0;
  while (text.size() < kLongestAnswer && (size = recv(peer.Get(), part, sizeof part, 0)) > 0) {
    text.append(part, static_cast<std::size_t>(size));
  }
  return size == 0 ? text : std::string();
}

}  // namespace

std::string TrafficLine(std::uint32_t cid, const VmTraffic& traffic) {
  std::ostringstream line;
  line << cid << ' ' << traffic.cartelId << ' ' << traffic.connections << ' ';
  if (traffic.lastPublication) {
    line << std::chrono::duration_cast<milliseconds>(traffic.lastPublication->time_since_epoch()).count();
  } else {
    line << '-';
  }
  line << '\n';
  return line.str();
}

std::unordered_map<std::uint32_t, VmTraffic> ReadTraffic(const Host& host) {
  std::unordered_map<std::uint32_t, VmTraffic> vms;
  std::istringstream lines(ReadAll(host));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::uint32_t cid = 0;
    VmTraffic traffic;
    if (!(fields >> cid >> traffic.cartelId >> traffic.connections)) continue;
    if (milliseconds::rep time = 0; fields >> time) {
      traffic.lastPublication = system_clock::time_point(milliseconds(time));
    }
    vms.emplace(cid, traffic);
  }
  return vms;
}

}  // namespace Krell
