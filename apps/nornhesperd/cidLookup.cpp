#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>

#include "apps/nornhesperd/cidCache.h"
#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"
#include "apps/nornhesperd/vsock.h"
#include "platform/corvane/fileDescriptor.h"
#include "platform/krell/sysinfo.h"
#include "platform/krell/vsockAddress.h"

namespace NornHesper {
namespace {

using Corvane::FileDescriptor;
using Corvane::IsShortage;
using KrellCtl::Lib::SysinfoException;
using KrellCtl::Util::Sysinfo;

using KrellCtl::Util::VmmInfoRecord;

std::string ToString(const VmmInfoRecord::Text& text) {
  return {text.data(), strnlen(text.data(), text.size())};
}

CidInfoPtr MakeCidInfo(std::uint32_t cid, const VmmInfoRecord& record) {
  return std::make_shared<CidInfo>(
      CidInfo{cid, ToString(record.biosUuid), ToString(record.vmUuid), ToString(record.mgrVmId)});
}

template <typename Record>
void ReadNode(unsigned int node, unsigned long instance, Record& record) {
  Sysinfo sysinfo(node);
  sysinfo.SetInstance(instance);
  sysinfo.Get(&record, sizeof(record));
}

Result ReadVmmInfo(VmmInfoRecord& record, unsigned long leaderId) {
  Result result;
  try {
    ReadNode(KrellCtl::Util::kNodeVmmInfo, leaderId, record);
  } catch (const SysinfoException& exception) {
    HESPER_FAIL(result, kErrorKernelInformation, "failed to get uuids from vmm leader id %1, %2", leaderId,
                exception.GetText());
  }
  return result;
}

// The process at the other end of a socket that is connected to the cid. No packet is sent for that.
Result ReadCartelId(std::uint32_t& cartelId, unsigned int cid) {
  Result result;
  const int family = GetVsockAddressFamily();
  const FileDescriptor probe(socket(family, SOCK_DGRAM, 0));
  if (!probe.IsOpen()) {
    HESPER_FAIL(result, kErrorProbeSocket, "failed to create datagram vsocket, %1", std::strerror(errno));
    return result;
  }
  const vsock::endpoint peer(cid, 0);
  if (connect(probe.Get(), peer.data(), peer.size()) != 0) {
    HESPER_FAIL(result, kErrorProbeConnect, "failed to connect datagram vsocket to cid %1, %2", cid,
                std::strerror(errno));
    return result;
  }
  socklen_t size = sizeof(cartelId);
  if (getsockopt(probe.Get(), family, Krell::kOptionCartelId, &cartelId, &size) != 0) {
    HESPER_FAIL(result, kErrorCartelId, "failed to get cartel id from cid %1, %2", cid, std::strerror(errno));
  }
  return result;
}

Result ReadLeaderId(std::uint32_t& leaderId, std::uint32_t cartelId) {
  Result result;
  try {
    ReadNode(KrellCtl::Util::kNodeCartelLeader, cartelId, leaderId);
  } catch (const SysinfoException& exception) {
    HESPER_FAIL(result, kErrorKernelInformation, "failed to get vmm leader id from cartel id %1, %2",
                cartelId, exception.GetText());
  }
  return result;
}

}  // namespace

std::optional<std::uint32_t> CidCache::MapBiosUuidToCid(const std::string& biosUuid) {
  const FileDescriptor device(OpenVsockDevice());
  Krell::UuidToCidRequest request;
  biosUuid.copy(request.uuid.data(), request.uuid.size() - 1);
  if (device.IsOpen() && ioctl(device.Get(), Krell::kIoctlUuidToCid, &request) >= 0) return request.cid;
  return IsShortage(errno) ? std::nullopt : std::optional(kNoCid);
}

Result CidCache::RetrieveCidInfo(CidInfoPtr& info, unsigned int cid) {
  std::uint32_t cartelId = 0;
  Result result = ReadCartelId(cartelId, cid);
  if (result.HasErrors()) return result;
  std::uint32_t leaderId = 0;
  result = ReadLeaderId(leaderId, cartelId);
  if (result.HasErrors()) return result;
  HESPER_LOG(6, "Cid %1 => vmm leader Id %2", cid, leaderId);
  VmmInfoRecord record;
  result = ReadVmmInfo(record, leaderId);
  if (!result.HasErrors()) info = MakeCidInfo(cid, record);
  return result;
}

Result CidCache::RetrieveCidInfoByVmmId(CidInfoPtr& info, std::uint64_t vmmId) {
  VmmInfoRecord record;
  Result result = ReadVmmInfo(record, vmmId);
  if (result.HasErrors()) return result;
  const std::string biosUuid = ToString(record.biosUuid);
  const std::uint32_t cid = MapBiosUuidToCid(biosUuid).value_or(kNoCid);
  if (cid == kNoCid) {
    HESPER_FAIL(result, kErrorUuidMapping, "failed to map uuid %1 to cid", biosUuid);
  } else {
    info = MakeCidInfo(cid, record);
  }
  return result;
}

Result CidCache::ListVmmIds(std::vector<unsigned long>& ids) {
  Result result;
  try {
    Sysinfo(KrellCtl::Util::kNodeVmmList).List(ids);
  } catch (const SysinfoException& exception) {
    HESPER_FAIL(result, kErrorKernelInformation, "failed to get vmm id list, %1", exception.GetText());
  }
  return result;
}

}  // namespace NornHesper
