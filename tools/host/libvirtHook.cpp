#include "tools/host/libvirtHook.h"

#include <unistd.h>

#include <cerrno>
#include <exception>
#include <system_error>

#include "platform/corvane/log.h"
#include "platform/corvane/xml/parser.h"
#include "tools/host/domainXml.h"
#include "tools/host/registration.h"

namespace Tools {
namespace {

using Corvane::Service::Logger;
using Corvane::Service::LogInternal;

// One byte more than is parsed, so that a longer text is refused and not cut.
std::string ReadInput() {
  std::string text;
  char part[16384];
  while (text.size() <= Corvane::Xml::kLargestText) {
    const ssize_t size = read(STDIN_FILENO, part, sizeof part);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) throw std::system_error(errno, std::generic_category(), "standard input");
    if (size == 0) break;
    text.append(part, static_cast<std::size_t>(size));
  }
  return text;
}

}  // namespace

void LibvirtHook::Apply() const {
  const bool isStart = operation == "start" || operation == "reconnect";
  const bool isEnd = operation == "stopped" || operation == "release";
  // At its other operations libvirt waits for what a hook writes, and not for what it does.
  const std::string xml = ReadInput();
  if (!isStart && !isEnd) return;
  if (isEnd) {
    // Its way to us can have been taken from it in the meantime.
    const auto uuid = ReadDomainUuid(xml);
    Krell::Host host = Krell::Host::OfThisMachine();
    return Unregister(host, uuid);
  }
  const auto vm = ReadDomain(xml);
  if (!vm) return;
  Krell::Host host = Krell::Host::OfThisMachine();
  // The start itself comes in two halves, of which the first one is early enough.
  const auto cid = Register(host, *vm);
  LogInternal(Logger::sDefaultLogger.get(), 6, "VM %1 runs with cid %2", vm->mgrVmId, cid);
}

void LibvirtHook::Run() const noexcept {
  try {
    Apply();
  } catch (const std::exception& error) {
    LogInternal(Logger::sDefaultLogger.get(), 3, "VM %1 is left out at its %2: %3", domain, operation,
                error.what());
  }
}

}  // namespace Tools
