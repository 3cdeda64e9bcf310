#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/krell/standin/host.h"

namespace Tools {

// The names of a VM's two virtio-serial ports.
inline constexpr const char kPublishPort[] = "com.tessaly.norn.hesper.publish";
inline constexpr const char kHistoryPort[] = "com.tessaly.norn.hesper.history";

// The element in a domain's metadata that gives the management server's id of the VM:
//   <vm xmlns="http://tessaly.com/norn/hesper" mgrVmId="..." />
inline constexpr const char kMetadataNamespace[] = "http://tessaly.com/norn/hesper";

// The VM that libvirt's description of a domain (https://libvirt.org/formatdomain.html) tells of: uuids and
// name, the cid of its vsock, or else its serial ports. Nothing if it has neither. Throws Corvane::Exception
// for what is no such description.
std::optional<Krell::VmIdentity> ReadDomain(std::string_view xml);
// The uuid of any domain, which stays while its devices come and go. Throws as well.
std::string ReadDomainUuid(std::string_view xml);

}  // namespace Tools
