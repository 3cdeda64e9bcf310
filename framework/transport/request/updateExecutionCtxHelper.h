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
// 6750) as a token. One that cannot be read, or that is there twice, becomes a bearer token without
// text: whoever tries to log in is refused by the token's handler, and never served as a nameless caller.
struct UpdateExecutionCtxHelper {
  // False when the header "mirel-operation" ("service.operation") names another operation than the method.
  static bool Update(const Transport::Http::HeaderRangePtr& headers, const Core::MethodIdentifier& method,
                     const std::shared_ptr<Core::ExecutionContext>& context,
                     const std::vector<Transport::Http::HeaderExtractor>& extractors);
};

}  // namespace Mirel::Provider::JsonRpc1_1
