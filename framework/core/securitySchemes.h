#pragma once

// Keys and scheme names of a call's security context, as the transport writes them and the authentication
// handlers read them.
namespace Mirel::Core::Security {

inline constexpr const char* kSchemeIdKey = "schemeId";

// User name and password, in the entries "userName" and "password".
inline constexpr const char* kUserPassScheme = "com.tessaly.mirel.std.security.user_pass";
inline constexpr const char* kUserNameKey = "userName";
inline constexpr const char* kPasswordKey = "password";

// A bearer token (RFC 6750), in the entry "token". An empty token names nobody and must be refused.
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

}  // namespace Mirel::Core::Security
