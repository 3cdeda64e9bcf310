#include "fleet/exporter/utf8.h"

#include <rapidjson/encodings.h>
#include <rapidjson/memorystream.h>

#include <algorithm>

namespace Fleet {
namespace {

constexpr std::string_view kEllipsis = "\xe2\x80\xa6";
constexpr std::string_view kReplacement = "\xef\xbf\xbd";

struct NoOutput {
  void Put(char /*byte*/) {}
};

// How many bytes the first character has; 0 if it is none.
std::size_t CharacterLength(std::string_view text) {
  rapidjson::MemoryStream in(text.data(), text.size());
  NoOutput out;
  if (!rapidjson::UTF8<>::Validate(in, out)) return 0;
  return in.Tell();
}

bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const auto length = CharacterLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string_view CutUtf8(std::string_view text, std::size_t most) {
  if (text.size() <= most) return text;
  while (most > 0 && IsContinuation(text[most])) --most;
  return text.substr(0, most);
}

std::string ShortText(std::string_view text, std::size_t most) {
  const bool isCut = text.size() > most;
  std::string shown;
  // A character that the cut would split is left out as a whole.
  for (auto rest = text.substr(0, std::min(text.size(), most + 3)); !rest.empty();) {
    const auto length = CharacterLength(rest);
    const auto shownLength = length == 0 ? kReplacement.size() : length;
    if (isCut && shown.size() + shownLength > most) break;
    shown.append(length == 0 ? kReplacement : rest.substr(0, length));
    rest.remove_prefix(std::max<std::size_t>(length, 1));
  }
  if (isCut) shown.append(kEllipsis);
  return shown;
}

}  // namespace Fleet
