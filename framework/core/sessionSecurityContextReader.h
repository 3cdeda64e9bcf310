#pragma once

#include <string>

#include "framework/core/executionContext.h"
#include "framework/core/securitySchemes.h"

namespace Mirel::Core {

// Reads a session's identifier out of a security context, which must outlive it. A missing entry reads as
// empty, which no session has: whoever names the scheme is not served as anonymous for a slip.
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
