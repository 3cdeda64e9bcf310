#include "platform/audit/audit.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include "platform/audit/auditFile.h"
#include "platform/corvane/jsonEscape.h"
#include "platform/corvane/paths.h"

namespace {

constexpr std::size_t kMaxTextBytes = 256;
constexpr std::size_t kLongestCharacter = 4;
constexpr std::string_view kCut = "...";

void PutText(std::string& line, const char* text) {
  line += '"';
  const char* at = text == nullptr ? "" : text;
  const char* const end = at + strnlen(at, kMaxTextBytes + kLongestCharacter);
  for (const auto start = line.size(); at != end;) {
    auto character = Corvane::Detail::TakeForJson(at, end);
    if (character == "\"" || character == "\\") character.insert(0, 1, '\\');
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

std::uint64_t TessalyAudit_RecordsLost() {
  return File().Lost();
}
