#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace NornHesper {

// By what names a VM is known. Never changed once made, so that it is shared without a lock; it stays valid
// after the VM has gone.
struct CidInfo {
  std::uint32_t cid = 0;  // vsock context id; the kernel may give it to another VM later
  std::string biosUuid;
  std::string vmUuid;
  std::string mgrVmId;
};

using CidInfoPtr = std::shared_ptr<CidInfo>;

}  // namespace NornHesper
