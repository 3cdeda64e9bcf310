#pragma once

// The namespaces and values of requests to a token service and of its answers.
namespace SsoClient::Names {

// SOAP 1.1.
inline constexpr char kSoap[] = "http://schemas.xmlsoap.org/soap/envelope/";

// WS-Trust 1.3: its namespace is the beginning of all of its values.
#define WS_TRUST "http://docs.oasis-open.org/ws-sx/ws-trust/200512"
inline constexpr char kTrust[] = WS_TRUST;
inline constexpr char kIssueAction[] = WS_TRUST "/RST/Issue";
inline constexpr char kContinueAction[] = WS_TRUST "/RSTR/Issue";
inline constexpr char kValidateAction[] = WS_TRUST "/RST/Validate";
inline constexpr char kRenewAction[] = WS_TRUST "/RST/Renew";
inline constexpr char kIssue[] = WS_TRUST "/Issue";
inline constexpr char kValidate[] = WS_TRUST "/Validate";
inline constexpr char kRenew[] = WS_TRUST "/Renew";
inline constexpr char kPublicKey[] = WS_TRUST "/PublicKey";
inline constexpr char kBearer[] = WS_TRUST "/Bearer";
inline constexpr char kStatusType[] = WS_TRUST "/RSTR/Status";
inline constexpr char kStatusValid[] = WS_TRUST "/status/valid";
inline constexpr char kStatusInvalid[] = WS_TRUST "/status/invalid";
#undef WS_TRUST
inline constexpr char kTrust14[] = "http://docs.oasis-open.org/ws-sx/ws-trust/200802";
inline constexpr char kSpnego[] = "http://schemas.xmlsoap.org/ws/2005/02/trust/spnego";

// WS-Security 1.0, and its profiles.
#define WS_SECURITY "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-"
inline constexpr char kSecurity[] = WS_SECURITY "wssecurity-secext-1.0.xsd";
inline constexpr char kUtility[] = WS_SECURITY "wssecurity-utility-1.0.xsd";
inline constexpr char kBase64Binary[] = WS_SECURITY "soap-message-security-1.0#Base64Binary";
inline constexpr char kPasswordText[] = WS_SECURITY "username-token-profile-1.0#PasswordText";
inline constexpr char kX509v3[] = WS_SECURITY "x509-token-profile-1.0#X509v3";
#undef WS_SECURITY
// WS-Security 1.1.
inline constexpr char kSecurity11[] = "http://docs.oasis-open.org/wss/oasis-wss-wssecurity-secext-1.1.xsd";
inline constexpr char kSamlV2[] = "http://docs.oasis-open.org/wss/oasis-wss-saml-token-profile-1.1#SAMLV2.0";
inline constexpr char kSamlId[] = "http://docs.oasis-open.org/wss/oasis-wss-saml-token-profile-1.1#SAMLID";

// WS-Addressing 1.0 and XML Schema.
inline constexpr char kAddressing[] = "http://www.w3.org/2005/08/addressing";
inline constexpr char kSchema[] = "http://www.w3.org/2001/XMLSchema";

// The vendor's.
inline constexpr char kRequestAdvice[] = "http://www.tessaly.com/names/2009/12/std-ext/WS-Trust1.4/advice";

}  // namespace SsoClient::Names
