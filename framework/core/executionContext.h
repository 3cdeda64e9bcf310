#pragma once

#include <map>
#include <string>
#include <utility>

namespace Mirel::Core {

// One entry of a security context, such as "schemeId" or "userName". Wiped when destroyed, as it may hold a
// password or a token.
class SecurityContextWrappedEntry {
 public:
  explicit SecurityContextWrappedEntry(std::string text) : text_(std::move(text)) {}
  SecurityContextWrappedEntry(const SecurityContextWrappedEntry&) = default;
  SecurityContextWrappedEntry& operator=(const SecurityContextWrappedEntry&) = default;
  ~SecurityContextWrappedEntry();

  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

using SecurityContext = std::map<std::string, SecurityContextWrappedEntry>;

// An entry's text; empty when there is no such entry.
inline std::string ReadEntry(const SecurityContext& entries, const char* key) {
  const auto entry = entries.find(key);
  return entry == entries.end() ? std::string() : entry->second.text();
}

// What a caller sends beside the arguments: who it is, and in which language and under which operation id it
// wants to be served. The application context holds "opId", "acceptLanguage", "formatLocale" and "timezone".
struct ExecutionContext {
  std::map<std::string, std::string> applicationContext;
  SecurityContext securityContext;
};

}  // namespace Mirel::Core
