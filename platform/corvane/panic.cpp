#include "platform/corvane/panic.h"

#include <cstdlib>

#include "platform/corvane/format.h"
#include "platform/corvane/standardError.h"

namespace Corvane::Detail {

void Panic(const char* kind, const char* file, int line) noexcept {
  Service::StandardError::Get().Write(ASPrintInternal("%1 %2:%3\n", kind, file, line));
  std::abort();
}

}  // namespace Corvane::Detail
