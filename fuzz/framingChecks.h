#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "guest/wire/framing.h"

namespace Fuzzing {

inline void Require(bool condition) {
  if (!condition) std::abort();
}

// What a framing makes of a stream.
struct Unframed {
  std::vector<std::string> texts;
  bool failed = false;
  bool inFrame = false;
  std::size_t kept = 0;
  bool operator==(const Unframed&) const = default;
};

template <typename Framing>
Unframed Unframe(std::string_view stream, std::size_t step) {
  Framing framing;
  Unframed all;
  while (!stream.empty() && !framing.HasFailed()) {
    auto bytes = stream.substr(0, step);
    stream.remove_prefix(bytes.size());
    while (const auto text = framing.Next(bytes)) {
      Require(text->size() <= Wire::kMostKept && !framing.IsInFrame());
      all.texts.emplace_back(*text);
    }
    Require(bytes.empty() || framing.HasFailed());
    Require(framing.Kept() <= Wire::kMostKept && framing.Wanted() > 0);
  }
  all.failed = framing.HasFailed();
  all.inFrame = framing.IsInFrame();
  all.kept = framing.Kept();
  return all;
}

// Whatever the bytes are, they mean the same wherever they are split; and as a text they come through.
template <typename Framing>
void CheckFraming(std::string_view bytes, std::size_t step) {
  const auto whole = Unframe<Framing>(bytes, std::max<std::size_t>(bytes.size(), 1));
  Require(whole == Unframe<Framing>(bytes, step));
  const Framing framing;
  std::string stream(framing.Prologue());
  for (const auto text : {bytes, std::string_view(), bytes}) framing.Append(stream, text);
  Unframed expected;
  for (const auto text : {bytes, std::string_view(), bytes}) {
    expected.texts.emplace_back(text.substr(0, Wire::kMostKept));
  }
  Require(Unframe<Framing>(stream, step) == expected);
}

}  // namespace Fuzzing
