#pragma once

#include <memory>
#include <string>

#include "framework/core/asyncActivation.h"

namespace Mirel::Core {

struct ActivationHelpers {
  // The operation id that the client sent with the call, just as it came; empty when it sent none.
  static std::string GetActivationOpId(const std::shared_ptr<AsyncActivation>& activation) {
    const auto& context = activation->executionContext();
    if (!context) return {};
    const auto found = context->applicationContext.find("opId");
    return found == context->applicationContext.end() ? std::string() : found->second;
  }
};

}  // namespace Mirel::Core
