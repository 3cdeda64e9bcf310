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

}  // namespace

LogContext SetLogContext(std::string_view key, std::optional<std::string> value) {
  LogContext replaced{std::string(key), std::nullopt};
  const auto entry =
      std::find_if(tEntries.begin(), tEntries.end(), [&](const Entry& each) { return each.key == key; });
  if (entry == tEntries.end()) {
    if (value) {
      tEntries.push_back({replaced.key, *std::move(value)});
    }
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
    text.append(" ").append(entry.key).append("=").append(entry.value);
  }
  return text;
}

}  // namespace Corvane::Service
