#include "guest/link/vmWay.h"
#include "guest/link/wayOptions.h"

namespace GuestLink {

WayOptions::WayOptions(Tools::Command& command) {
  command.Value("--transport", transport_, "how to reach the host (default: vsock, or else serial)")
      .OneOf({"vsock", "serial"});
}

std::unique_ptr<Way> WayOptions::Choose(const std::string& transport) const {
  return MakeVmWay(transport_.empty() ? transport : transport_);
}

}  // namespace GuestLink
