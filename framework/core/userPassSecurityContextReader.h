#pragma once

#include <string>

#include "framework/core/executionContext.h"
#include "framework/core/securitySchemes.h"

namespace Mirel::Core {

// Reads user name and password out of a security context, which must outlive it. An entry that is missing
// reads as empty: whoever names the scheme wants to log in, and is not served as anonymous for a slip.
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

}  // namespace Mirel::Core
