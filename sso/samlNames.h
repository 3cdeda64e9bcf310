#pragma once

// Names of SAML 2.0 assertions: those of the standards, and those of the vendor's token service.
namespace SsoClient {

inline constexpr char kAssertionNamespace[] = "urn:oasis:names:tc:SAML:2.0:assertion";
inline constexpr char kDelegationNamespace[] = "urn:oasis:names:tc:SAML:2.0:conditions:delegation";
inline constexpr char kSchemaInstanceNamespace[] = "http://www.w3.org/2001/XMLSchema-instance";
inline constexpr char kAdviceNamespace[] = "http://www.tessaly.com/names/2009/12/std-ext/SAML2.0";

inline constexpr char kBearerMethod[] = "urn:oasis:names:tc:SAML:2.0:cm:bearer";
inline constexpr char kHolderOfKeyMethod[] = "urn:oasis:names:tc:SAML:2.0:cm:holder-of-key";
inline constexpr char kUpnClaim[] = "http://schemas.xmlsoap.org/claims/UPN";

inline constexpr char kGroupAttribute[] = "http://www.tessaly.com/schemas/attr-names/2009/01/GroupIdentity";
inline constexpr char kSolutionAttribute[] = "http://www.tessaly.com/schemas/attr-names/2011/07/isSolution";
inline constexpr char kFirstNameAttribute[] =
    "http://schemas.xmlsoap.org/ws/2005/05/identity/claims/givenname";
inline constexpr char kLastNameAttribute[] = "http://schemas.xmlsoap.org/ws/2005/05/identity/claims/surname";

}  // namespace SsoClient
