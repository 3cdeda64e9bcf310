#include "platform/corvane/panic.h"

#include <cstdio>
#include <cstdlib>

namespace Corvane::Detail {

void Panic(const char* kind, const char* file, int line) noexcept {
  std::fprintf(stderr, "%s %s:%d\n", kind, file, line);
  std::abort();
}

}  // namespace Corvane::Detail
