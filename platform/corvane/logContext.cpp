#include "platform/corvane/logContext.h"

#include <algorithm>
#include <vector>

namespace Corvane::Service {
namespace {

struct Entry {
  std::string key;
  std::string value;
};

thread_local std::vector<Entry> tEntries;

bool IsPlain(std::string_view value) {
  return !value.empty() && std::all_of(value.begin(), value.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
           c == '_' || c == '.' || c == ':';
  });
}

// In quotation marks if it could be taken for more than one value.
std::string Quote(const std::string& value) {
  if (IsPlain(value)) return value;
  std::string quoted = "\"";
  for (const char c : value) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

}  // namespace

LogContext SetLogContext(std::string_view key, std::optional<std::string> value) {
  LogContext replaced{std::string(key), std::nullopt};
  const auto entry =
      std::find_if(tEntries.begin(), tEntries.end(), [&](const Entry& each) { return each.key == key; });
  if (entry == tEntries.end()) {
    if (value) tEntries.push_back({replaced.key, *std::move(value)});
    return replaced;
  }
  replaced.value = std::move(entry->value);
  if (value) {
    entry->value = *std::move(value);
  } else {
    tEntries.erase(entry);
  }
  return replaced;
}

std::string GetLogContextText() {
  std::string text;
  for (const Entry& entry : tEntries) {
    text.append(" ").append(entry.key).append("=").append(Quote(entry.value));
  }
  return text;
}

}  // namespace Corvane::Service
