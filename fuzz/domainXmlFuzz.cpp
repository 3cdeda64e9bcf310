// Descriptions of domains, with names and metadata of whoever may define one. What is read is one VM that can
// be reached, and the same one if it is read again.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/corvane/exception.h"
#include "tools/host/domainXml.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  try {
    const auto vm = Tools::ReadDomain(text);
    if (vm != Tools::ReadDomain(text)) std::abort();
    if (!vm) return 0;
    const bool isSerial = vm->transport.kind == Krell::VmTransport::Kind::Serial;
    if ((vm->cid != 0) == isSerial || isSerial == vm->transport.path.empty()) std::abort();
    if (vm->biosUuid != vm->vmUuid || !vm->privileged) std::abort();
    const auto found = vm->biosUuid + vm->mgrVmId + vm->transport.path + vm->transport.historyPath;
    if (found.size() > 2 * text.size()) std::abort();
  } catch (const Corvane::Exception&) {
  }
  return 0;
}
