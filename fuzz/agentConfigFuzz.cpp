// Texts that are to be the agent's configuration.

#include <cstdint>
#include <cstdlib>

#include "guest/agent/configuration.h"
#include "platform/corvane/textEscape.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const auto configuration =
        GuestAgent::ReadConfiguration({reinterpret_cast<const char*>(data), size}, "guestd.toml");
    if (configuration.bounds.bytes == 0 || configuration.waitingItems < 16) std::abort();
  } catch (const GuestAgent::ConfigurationFault& fault) {
    // It goes to a terminal or a log.
    if (!Corvane::Detail::IsPlainLine(fault.what())) std::abort();
  }
  return 0;
}
