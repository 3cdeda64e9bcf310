#include "apps/hesper-bridge/transport.h"

#include "apps/hesper-bridge/guest.h"
#include "apps/hesper-bridge/hybridTransport.h"
#include "apps/hesper-bridge/serialTransport.h"
#include "apps/hesper-bridge/vsockTransport.h"

namespace Bridge {

std::unique_ptr<Transport> MakeTransport(Context& context, Guest& guest) {
  switch (guest.Vm().identity.transport.kind) {
    case Krell::VmTransport::Kind::Hybrid:
      return std::make_unique<HybridTransport>(context, guest);
    case Krell::VmTransport::Kind::Serial:
      return std::make_unique<SerialTransport>(context, guest);
    case Krell::VmTransport::Kind::Vsock:
      break;
  }
  return std::make_unique<VsockTransport>(context, guest);
}

}  // namespace Bridge
