#include "bench/guests.h"

namespace Bench {
namespace {

constexpr std::uint32_t kFirstCid = 1000;

}  // namespace

Guests::Guests(std::uint32_t count) {
  for (auto cid = kFirstCid; cid < kFirstCid + count; ++cid) {
    vms_.emplace_back(cid);
    sockets_.emplace_back(cid);
  }
}

void Guests::Send(std::uint32_t hostPort, std::string_view text) {
  sockets_[turn_].Send(hostPort, text);
  turn_ = (turn_ + 1) % sockets_.size();
}

std::vector<int> Guests::Descriptors() const {
  std::vector<int> descriptors;
  for (const auto& socket : sockets_) descriptors.push_back(socket.Descriptor());
  return descriptors;
}

}  // namespace Bench
