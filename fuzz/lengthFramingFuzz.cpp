// Bytes of a VM that are to be lengths and texts.

#include <cstdint>

#include "fuzz/framingChecks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  Fuzzing::CheckFraming<Wire::LengthFraming>(std::string(data + 1, data + size), 1 + data[0] % 16);
  return 0;
}
