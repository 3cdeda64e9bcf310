#include "platform/audit/audit.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <boost/locale/utf.hpp>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include "platform/audit/auditFile.h"
#include "platform/corvane/paths.h"

namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

constexpr std::size_t kMaxTextBytes = 8192;
constexpr std::string_view kCut = "...";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::string ValidText(const char* text) {
  namespace Utf = boost::locale::utf;
  if (text == nullptr) return {};
  const std::size_t length = strnlen(text, kMaxTextBytes + 1);
  const char* at = text;
  const char* const end = text + std::min(length, kMaxTextBytes);
  std::string valid;
  valid.reserve(static_cast<std::size_t>(end - at) + kCut.size());
  while (at != end) {
    const char* next = at;
    if (Utf::is_valid_codepoint(Utf::utf_traits<char>::decode(next, end))) {
      valid.append(at, next);
      at = next;
    } else {
      // One byte at a time, so that a good character right behind a bad byte is not lost.
      valid.append(kReplacement);
      ++at;
    }
  }
  if (length > kMaxTextBytes) valid.append(kCut);
  return valid;
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

void Put(Writer& writer, std::string_view key, std::string_view text) {
  writer.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void PutItems(Writer& writer, const TessalyAuditItem* item) {
  if (item == nullptr || item->key == nullptr) return;
  writer.Key("items");
  writer.StartObject();
  for (; item->key != nullptr; ++item) Put(writer, ValidText(item->key), ValidText(item->value));
  writer.EndObject();
}

}  // namespace

void TessalyAudit_LogList(const char* eventId, const char* subject, const char* object, bool result,
                          const TessalyAuditItem* items) {
  static Tessaly::Audit::AuditFile file(Corvane::Paths::kAuditFile);
  rapidjson::StringBuffer line;
  Writer writer(line);
  writer.StartObject();
  Put(writer, "time", TimeNow());
  Put(writer, "event", ValidText(eventId));
  Put(writer, "subject", ValidText(subject));
  Put(writer, "object", ValidText(object));
  writer.Key("result");
  writer.Bool(result);
  PutItems(writer, items);
  writer.EndObject();
  line.Put('\n');
  file.Append({line.GetString(), line.GetSize()});
}
