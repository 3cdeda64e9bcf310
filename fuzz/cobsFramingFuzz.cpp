// Bytes of a VM that are to be COBS. Whatever they are, the text behind the next zero byte is read.

#include <cstdint>

#include "fuzz/framingChecks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::string stream(data + 1, data + size);
  Fuzzing::CheckFraming<Wire::CobsFraming>(stream, 1 + data[0] % 16);
  const Wire::CobsFraming framing;
  stream += framing.Prologue();
  framing.Append(stream, "{}");
  const auto read = Fuzzing::Unframe<Wire::CobsFraming>(stream, stream.size());
  Fuzzing::Require(!read.inFrame && !read.texts.empty() && read.texts.back() == "{}");
  return 0;
}
