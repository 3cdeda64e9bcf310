#include "platform/audit/audit.h"

#include <array>
#include <boost/locale/utf.hpp>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include "platform/audit/auditFile.h"
#include "platform/corvane/paths.h"
#include "platform/corvane/textEscape.h"

namespace {

constexpr std::size_t kMaxTextBytes = 256;
constexpr std::size_t kLongestCharacter = 4;
constexpr std::string_view kCut = "...";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// In UTF-16, as JSON's escapes are (RFC 8259, 7).
std::string Escape(std::uint32_t character) {
  std::array<char, 13> text{};
  if (character < 0x10000) {
    std::snprintf(text.data(), text.size(), "\\u%04x", character);
  } else {
    const auto offset = character - 0x10000;
    std::snprintf(text.data(), text.size(), "\\u%04x\\u%04x", 0xd800 + (offset >> 10),
                  0xdc00 + (offset & 0x3ff));
  }
  return text.data();
}

// Takes the next character, and gives what stands for it in a JSON string that can be shown on a terminal.
std::string Take(const char*& at, const char* end) {
  namespace Utf = boost::locale::utf;
  const char* const start = at;
  const auto character = Utf::utf_traits<char>::decode(at, end);
  if (!Utf::is_valid_codepoint(character)) {
    // One byte at a time, so that a good character right behind a bad byte is not lost.
    at = start + 1;
    return std::string(kReplacement);
  }
  const std::string_view text(start, static_cast<std::size_t>(at - start));
  if (text == "\"" || text == "\\") return std::string("\\").append(text);
  return Corvane::Detail::IsPlainLine(text) ? std::string(text) : Escape(character);
}

void PutText(std::string& line, const char* text) {
  line += '"';
  const char* at = text == nullptr ? "" : text;
  const char* const end = at + strnlen(at, kMaxTextBytes + kLongestCharacter);
  for (const auto start = line.size(); at != end;) {
    const auto character = Take(at, end);
    if (line.size() - start + character.size() > kMaxTextBytes) {
      line += kCut;
      break;
    }
    line += character;
  }
  line += '"';
}

// Microseconds, in UTC (RFC 3339).
std::string TimeNow() {
  using std::chrono::microseconds;
  const auto now =
      std::chrono::duration_cast<microseconds>(std::chrono::system_clock::now().time_since_epoch());
  const std::time_t seconds = now.count() / 1'000'000;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> whole{};
  std::array<char, 16> fraction{};
  const auto length = std::strftime(whole.data(), whole.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(fraction.data(), fraction.size(), ".%06dZ", static_cast<int>(now.count() % 1'000'000));
  return std::string(whole.data(), length).append(fraction.data());
}

void PutItems(std::string& line, const TessalyAuditItem* item) {
  line += ",\"items\":{";
  for (const char* separator = ""; item->key != nullptr; ++item, separator = ",") {
    line += separator;
    PutText(line, item->key);
    line += ':';
    PutText(line, item->value);
  }
  line += '}';
}

Tessaly::Audit::AuditFile& File() {
  static Tessaly::Audit::AuditFile file(Corvane::Paths::kAuditFile);
  return file;
}

}  // namespace

void TessalyAudit_Open() {
  File().Open();
}

void TessalyAudit_LogList(const char* eventId, const char* subject, const char* object, bool result,
                          const TessalyAuditItem* items) {
  std::string line = "{\"time\":\"" + TimeNow() + "\",\"event\":";
  PutText(line, eventId);
  line += ",\"subject\":";
  PutText(line, subject);
  line += ",\"object\":";
  PutText(line, object);
  line += result ? ",\"result\":true" : ",\"result\":false";
  if (items != nullptr && items->key != nullptr) PutItems(line, items);
  line += "}\n";
  File().Append(line);
}
