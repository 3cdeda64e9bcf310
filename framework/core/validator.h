#pragma once

#include <cstdint>

#include "framework/core/message.h"

namespace Mirel::Data {

// How strictly a structure is checked. Policy 0 checks it as its own version of the metadata describes it.
using ValidationPolicy = std::uint32_t;

// The rules of a native structure, as `static bool IsValid(const T&, ValidationPolicy, MessageList&)`.
// Bindings specialise it for each of their structures that has rules.
template <typename T>
struct ValidateMethod;

struct Validator {
  // Gives false, with one message a fault, when the structure breaks a rule.
  template <typename T>
  static bool isValid(const T& native, ValidationPolicy policy, MessageList& messages) {
    return ValidateMethod<T>::IsValid(native, policy, messages);
  }
};

}  // namespace Mirel::Data
