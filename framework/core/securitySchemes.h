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

}  // namespace Mirel::Core::Security
