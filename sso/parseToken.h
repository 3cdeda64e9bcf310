#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "platform/corvane/object.h"
#include "sso/samlToken.h"

namespace SsoClient {

// Gives the key that a token's signature has to be made with. Requires: it chooses among keys that are
// trusted already; what the token says about its key may only help to choose.
using KeyResolver = std::function<Corvane::Ref<Corvane::Xml::Security::Key>(const SamlToken&)>;

// How far the clocks of issuer and host may differ.
inline constexpr std::int64_t kClockToleranceSeconds = 600;

// How large the text of a token may be, in bytes, unless the caller takes larger ones. Up to 256 KiB, no
// token takes more than 10 ms.
inline constexpr std::size_t kLargestToken = 64 << 10;

// Parses and validates the text of a SAML 2.0 assertion, then checks its signature with the resolver's key.
// Throws ParseException, InvalidSignatureException, and std::bad_function_call for an empty resolver;
// whatever the resolver throws passes.
std::shared_ptr<const SamlToken> ParseToken(std::string_view text, const KeyResolver& keyResolver,
                                            std::size_t largest = kLargestToken);

// The steps of ParseToken. A token is to be believed only after all of them.
std::shared_ptr<const SamlToken> ParseAssertion(std::string_view text, std::size_t largest = kLargestToken);
void ValidateToken(const SamlToken& token, const Corvane::System::DateTime& now,
                   std::int64_t toleranceSeconds = kClockToleranceSeconds);
void VerifySignature(const SamlToken& token, const Corvane::Xml::Security::Key& key);

}  // namespace SsoClient
