#pragma once

#include <memory>
#include <vector>

#include "framework/core/asyncApiProvider.h"
#include "framework/transport/request/headerRange.h"

namespace Mirel::Provider::JsonRpc1_1 {

// Copies what a request's headers say into its execution context. What the envelope has said already stays:
// locale, time zone and operation id one by one, the security context as a whole.
//
// "Authorization" fills the security context: "Basic" (RFC 7617) as user name and password, "Bearer" (RFC
// 6750) as a token. One that can't be read, or that is there twice, becomes a bearer token without text,
// which the token's handler refuses: who tries to log in is never served as an anonymous caller.
struct UpdateExecutionCtxHelper {
  // Gives false when the header "mirel-operation" ("service.operation") names another operation than the
  // method. Requires: the range is at its start, and its names are in lower case.
  static bool Update(const Transport::Http::HeaderRangePtr& headers, const Core::MethodIdentifier& method,
                     const std::shared_ptr<Core::ExecutionContext>& context,
                     const std::vector<Transport::Http::HeaderExtractor>& extractors);
};

}  // namespace Mirel::Provider::JsonRpc1_1
