#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "lib/token/keyFile.h"

namespace NornToken {

// Seconds since the epoch, as in the dates of a token.
using Clock = std::function<std::int64_t()>;
std::int64_t SecondsNow();

// Who a token speaks of, and what it grants.
struct TokenIdentity {
  std::string subject;
  std::vector<std::string> entitlements;
};

// Why a token was refused: a fixed text with no part of the token, for the log alone.
struct Refusal {
  const char* reason;
};

using Verdict = std::variant<TokenIdentity, Refusal>;

// Checks signed JWTs (RFC 7519) in the compact form (RFC 7515, 7.1), with the advice of RFC 8725. Used by
// any thread.
class TokenVerifier {
 public:
  explicit TokenVerifier(std::unique_ptr<KeyFile> keys, Clock clock = SecondsNow);

  Verdict Verify(std::string_view token) const;

 private:
  std::unique_ptr<KeyFile> keys_;
  Clock clock_;
};

// The same with keys and time at hand.
Verdict VerifyToken(std::string_view token, const KeySet& keys, std::int64_t now);

}  // namespace NornToken
