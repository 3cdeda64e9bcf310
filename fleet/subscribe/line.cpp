#include "fleet/subscribe/line.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <boost/locale/utf.hpp>
#include <string_view>

#include "platform/corvane/crypto.h"
#include "platform/corvane/jsonEscape.h"
#include "platform/corvane/textEscape.h"

namespace Fleet {
namespace {

// What was stored for the fleet may have such a member from whoever could write there.
std::string WithHost(const std::string& json, const std::string& host) {
  rapidjson::Document element;
  element.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
  while (element.EraseMember("host")) {
  }
  rapidjson::Value name(host.data(), static_cast<rapidjson::SizeType>(host.size()), element.GetAllocator());
  element.AddMember("host", name, element.GetAllocator());
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  element.Accept(writer);
  return {text.GetString(), text.GetSize()};
}

std::string Word(std::string_view text) {
  const auto line = Corvane::Detail::EscapeLine(text);
  std::string word;
  for (const char c : line) c == ' ' ? word.append("\\x20") : word.append(1, c);
  return word;
}

bool IsText(std::string_view bytes) {
  namespace Utf = boost::locale::utf;
  const char* at = bytes.data();
  const char* const end = at + bytes.size();
  while (at != end) {
    const auto character = Utf::utf_traits<char>::decode(at, end);
    if (!Utf::is_valid_codepoint(character) || character == 0) return false;
  }
  return true;
}

std::string Shown(std::string_view payload) {
  constexpr std::size_t kFirstBytes = 48;
  if (IsText(payload)) {
    // Most programs that publish a line publish its end as well.
    if (payload.ends_with('\n')) payload.remove_suffix(1);
    return Corvane::Detail::EscapeLine(payload);
  }
  std::string base64;
  Base64_Encode(payload.data(), std::min(payload.size(), kFirstBytes), base64);
  const char* const rest = payload.size() > kFirstBytes ? "..." : "";
  return "(" + std::to_string(payload.size()) + " bytes) " + base64 + rest;
}

}  // namespace

std::string JsonLine(const Element& element, const std::optional<std::string>& host) {
  return Corvane::Detail::EscapeJson(host ? WithHost(element.json, *host) : element.json);
}

std::string TextLine(const Element& element, const std::optional<std::string>& host) {
  std::string line = Word(element.createTime) + ' ';
  if (host) line += Word(*host) + '/';
  line += Word(element.vm) + (element.history ? " (history) " : " ") + Word(element.topic);
  return line + ": " + Shown(element.payload);
}

}  // namespace Fleet
