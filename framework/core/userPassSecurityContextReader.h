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
  explicit operator bool() const { return Read(Security::kSchemeIdKey) == Security::kUserPassScheme; }
  std::string userName() const { return Read(Security::kUserNameKey); }
  std::string password() const { return Read(Security::kPasswordKey); }

 private:
  std::string Read(const char* key) const {
    const auto entry = entries_.find(key);
    return entry == entries_.end() ? std::string() : entry->second.text();
  }

  const SecurityContext& entries_;
};

}  // namespace Mirel::Core
