#pragma once

#include "bindings/guestDataTypes.h"
#include "framework/core/nativeToValueAdapter.h"

namespace Mirel::Data {

template <>
struct AdaptMethod<Com::Tessaly::Norn::Hesper::ApplicationPublishResult> {
  static AdaptFunction<Com::Tessaly::Norn::Hesper::ApplicationPublishResult> Get();
};

// The rule of the union: exactly the identifier that vmIdType names is present.
template <>
struct ValidateMethod<Com::Tessaly::Norn::Hesper::ApplicationPublishResult> {
  static bool IsValid(const Com::Tessaly::Norn::Hesper::ApplicationPublishResult& result,
                      ValidationPolicy policy, MessageList& messages);
};

}  // namespace Mirel::Data
