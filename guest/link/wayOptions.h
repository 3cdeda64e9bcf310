#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "guest/link/channel.h"
#include "tools/arguments.h"

namespace GuestLink {

// The options by which a guest's program is told its way to the host. There are two definitions: the program
// for guests knows only the VM that it runs in, the one for hosts can stand for a simulated VM too.
class WayOptions {
 public:
  // Requires: this object lives as long as the command line, which keeps pointers to it.
  explicit WayOptions(Tools::Command& command);
  WayOptions(const WayOptions&) = delete;
  WayOptions& operator=(const WayOptions&) = delete;

  // The transport stands for one that isn't given: "vsock", "serial", or either with an empty word.
  std::unique_ptr<Way> Choose(const std::string& transport = "") const;

 private:
  std::uint32_t cid_ = 0;
  std::string transport_;
};

}  // namespace GuestLink
