#pragma once

#include <map>
#include <string>

#include "platform/corvane/wipedString.h"

namespace Mirel::Core {

// One entry of a security context, such as "schemeId" or "userName", which may be a password or a token.
using SecurityContextWrappedEntry = Corvane::WipedString;

using SecurityContext = std::map<std::string, SecurityContextWrappedEntry>;

// An entry's text; empty when there is no such entry.
inline std::string ReadEntry(const SecurityContext& entries, const char* key) {
  const auto entry = entries.find(key);
  return entry == entries.end() ? std::string() : entry->second.text();
}

// The same of an entry that nobody may see.
inline Corvane::WipedString ReadSecretEntry(const SecurityContext& entries, const char* key) {
  const auto entry = entries.find(key);
  return entry == entries.end() ? Corvane::WipedString() : entry->second;
}

// What a caller sends beside the arguments: who it is, and in which language and under which operation id it
// wants to be served. The application context holds "opId", "acceptLanguage", "formatLocale" and "timezone".
struct ExecutionContext {
  std::map<std::string, std::string> applicationContext;
  SecurityContext securityContext;
};

}  // namespace Mirel::Core
