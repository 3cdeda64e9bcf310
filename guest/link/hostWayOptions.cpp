#include "guest/link/simulatedWay.h"
#include "guest/link/vmWay.h"
#include "guest/link/wayOptions.h"

namespace GuestLink {

WayOptions::WayOptions(Tools::Command& command) {
  auto transport =
      command.Value("--transport", transport_, "how to reach the host (default: vsock, or else serial)");
  transport.OneOf({"vsock", "serial"});
  command
      .Value("--cid", cid_,
             "the VM to stand for, on the host that KRELL_HOST_DIR names (default: the real VM "
             "that this runs in)")
      .Within(1U, 0xFFFFFFFEU)
      .Excludes(transport);
}

std::unique_ptr<Way> WayOptions::Choose(const std::string& transport) const {
  if (cid_ != 0) return MakeSimulatedWay(cid_);
  return MakeVmWay(transport_.empty() ? transport : transport_);
}

}  // namespace GuestLink
