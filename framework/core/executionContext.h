#pragma once

#include <map>
#include <string>

#include "platform/corvane/wipedString.h"

namespace Mirel::Core {

// Keys and scheme names of a call's security context, as the transport writes them and the authentication
// handlers read them.
namespace Security {

inline constexpr const char* kSchemeIdKey = "schemeId";

// User name and password, in the entries "userName" and "password".
inline constexpr const char* kUserPassScheme = "com.tessaly.mirel.std.security.user_pass";
inline constexpr const char* kUserNameKey = "userName";
inline constexpr const char* kPasswordKey = "password";

// A bearer token (RFC 6750), in the entry "token". An empty token names nobody and is refused.
inline constexpr const char* kBearerTokenScheme = "com.tessaly.mirel.std.security.bearer_token";
inline constexpr const char* kTokenKey = "token";

// A session that the session service has created, in the entry "sessionId".
inline constexpr const char* kSessionScheme = "com.tessaly.mirel.std.security.session_id";
inline constexpr const char* kSessionIdKey = "sessionId";

// A SAML token whose holder has the key that it names: its XML text, and the algorithm of the request's own
// signature.
inline constexpr const char* kSamlHokScheme = "com.tessaly.mirel.std.security.saml_hok_token";
inline constexpr const char* kSamlHokTokenKey = "samlHokToken";
inline constexpr const char* kSamlHokTokenAlgorithmKey = "samlHokTokenAlgorithm";

// A ticket by which a session of the host is cloned.
inline constexpr const char* kSessionTicketScheme = "sarn.corvane.sessionTicket";
inline constexpr const char* kSessionTicketKey = "sessionTicket";

}  // namespace Security

// One entry of a security context, such as "schemeId" or "userName", which may be a password or a token.
using SecurityContextWrappedEntry = Corvane::WipedString;

using SecurityContext = std::map<std::string, SecurityContextWrappedEntry>;

// What a caller sends beside the arguments: who it is, and in which language and under which operation id it
// wants to be served. The application context holds "opId", "acceptLanguage", "formatLocale" and "timezone".
struct ExecutionContext {
  std::map<std::string, std::string> applicationContext;
  SecurityContext securityContext;
};

// An entry's text; empty when there is no such entry.
inline std::string ReadEntry(const SecurityContext& entries, const char* key) {
  const auto entry = entries.find(key);
  return entry == entries.end() ? std::string() : entry->second.text();
}

// The same of a secret entry.
inline Corvane::WipedString ReadSecretEntry(const SecurityContext& entries, const char* key) {
  const auto entry = entries.find(key);
  return entry == entries.end() ? Corvane::WipedString() : entry->second;
}

// Reads user name and password out of a security context. Requires: the context outlives it. An entry that is
// missing reads as empty: who names the scheme wants to log in, and is not served as anonymous for a slip.
class UserPassSecurityContextReader {
 public:
  explicit UserPassSecurityContextReader(const SecurityContext& entries) : entries_(entries) {}

  // Whether the context carries this scheme; the other two are for a context that does.
  explicit operator bool() const {
    return ReadEntry(entries_, Security::kSchemeIdKey) == Security::kUserPassScheme;
  }
  std::string userName() const { return ReadEntry(entries_, Security::kUserNameKey); }
  Corvane::WipedString password() const { return ReadSecretEntry(entries_, Security::kPasswordKey); }

 private:
  const SecurityContext& entries_;
};

// Reads a session's identifier out of a security context. Requires: the context outlives it. A missing entry
// reads as empty, which no session has: who names the scheme is not served as anonymous for a slip.
class SessionSecurityContextReader {
 public:
  explicit SessionSecurityContextReader(const SecurityContext& entries) : entries_(entries) {}

  // Whether the context carries this scheme; the other one is for a context that does.
  explicit operator bool() const {
    return ReadEntry(entries_, Security::kSchemeIdKey) == Security::kSessionScheme;
  }
  std::string sessionId() const { return ReadEntry(entries_, Security::kSessionIdKey); }

 private:
  const SecurityContext& entries_;
};

}  // namespace Mirel::Core
