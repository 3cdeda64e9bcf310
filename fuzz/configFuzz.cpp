// Configuration files: whatever a file holds, reading it ends with a tree or with one exception.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "platform/corvane/config.h"
#include "platform/corvane/exception.h"
#include "platform/corvane/log.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Corvane::Service::Logger::sDefaultLogger->SetLevel(0);
  const int file = memfd_create("config", MFD_CLOEXEC);
  if (write(file, data, size) != static_cast<ssize_t>(size)) __builtin_trap();
  try {
    const auto config = Corvane::Service::Config::Load("/proc/self/fd/" + std::to_string(file));
    std::int32_t number = 0;
    bool flag = false;
    config->ReadInteger("mirelPort", &number);
    config->ReadInteger("log/level", &number, 0, 7);
    config->ReadBoolean("requestHistoryAll", &flag);
    config->WarnAboutUnknownKeys({});
  } catch (const Corvane::Exception&) {
  }
  close(file);
  return 0;
}
