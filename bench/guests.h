#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string_view>
#include <vector>

#include "testing/daemon.h"

namespace Bench {

// As many VMs as a host is made for, and what each of them may send.
inline constexpr std::uint32_t kFullHost = 3000;
inline constexpr double kAllowedPerSecond = 2;

// The VMs of the test host, and a guest in each, which send in turn.
class Guests {
 public:
  explicit Guests(std::uint32_t count = kFullHost);

  void Send(std::uint32_t hostPort, std::string_view text);
  std::size_t Count() const { return sockets_.size(); }
  // Readable when an acknowledgement waits.
  std::vector<int> Descriptors() const;

 private:
  std::deque<Testing::Vm> vms_;
  std::vector<Krell::GuestSocket> sockets_;
  std::size_t turn_ = 0;
};

}  // namespace Bench
