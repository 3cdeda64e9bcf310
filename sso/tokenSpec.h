#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sso/attribute.h"

namespace SsoClient {

class SamlToken;

// What the token shall be bound to.
enum Confirmation : int {
  CONFIRMATION_DEFAULT = 0,  // to the client's key if it has one
  CONFIRMATION_BEARER = 1,   // to nothing, as with any other value
};

// What a caller asks a token service for.
struct TokenSpec {
  std::int64_t tokenLifetimeSec = 0;
  std::set<std::string> audienceRestriction;
  std::vector<Advice> advice;
  bool delegable = false;
  std::optional<std::string> delegateTo;   // a user, name@domain
  std::shared_ptr<const SamlToken> actAs;  // null for none
  bool renewable = false;
  Confirmation confirmationType = CONFIRMATION_DEFAULT;

  // For log lines, on one line whatever the fields hold.
  std::string ToText() const;
};

}  // namespace SsoClient
