#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <utility>

#include "framework/core/dataValue.h"
#include "framework/core/l10n.h"
#include "framework/core/stdErrors.h"

namespace Mirel::Data {

// Makes a value of a native structure. It runs once per delivered element: no more is allocated than the
// value itself needs. Null, with a message, when the structure has no value form.
template <typename T>
using AdaptFunction = DataValuePtr (*)(const T& native, const L10n::RequestLocalizer& localizer,
                                       MessageList& messages);

// Gives the function for T as `static AdaptFunction<T> Get()`. Bindings specialise it for each of their
// structures.
template <typename T>
struct AdaptMethod;

namespace Detail {

std::shared_ptr<ErrorValue> AdaptError(const NativeError& native);
DataValuePtr AdaptUnauthenticated(const Com::Tessaly::Mirel::Std::Errors::Unauthenticated& native,
                                  const L10n::RequestLocalizer& localizer, MessageList& messages);
DataValuePtr AdaptMessages(const MessageList& native, const L10n::RequestLocalizer& localizer,
                           MessageList& messages);

}  // namespace Detail

template <std::derived_from<NativeError> T>
struct AdaptMethod<T> {
  static AdaptFunction<T> Get() {
    return [](const T& native, const L10n::RequestLocalizer&, MessageList&) -> DataValuePtr {
      return Detail::AdaptError(native);
    };
  }
};

template <>
struct AdaptMethod<Com::Tessaly::Mirel::Std::Errors::Unauthenticated> {
  static AdaptFunction<Com::Tessaly::Mirel::Std::Errors::Unauthenticated> Get() {
    return &Detail::AdaptUnauthenticated;
  }
};

// Messages become the list that is an error's field "messages".
template <>
struct AdaptMethod<MessageList> {
  static AdaptFunction<MessageList> Get() { return &Detail::AdaptMessages; }
};

struct NativeToValueAdapter {
  // Gives false, and leaves the destination alone, when there is no value.
  template <typename T>
  static bool Adapt(DataValuePtr& destination, AdaptFunction<T> method, const T& native,
                    const L10n::RequestLocalizer& localizer, MessageList& messages) {
    DataValuePtr value = method(native, localizer, messages);
    if (!value) return false;
    destination = std::move(value);
    return true;
  }

  // Also gives false when the value is no structure.
  template <typename T>
  static bool Adapt(DynamicStructure& destination, AdaptFunction<T> method, const T& native,
                    const L10n::RequestLocalizer& localizer, MessageList& messages) {
    DataValuePtr value = method(native, localizer, messages);
    if (!value || value->type() != DataType::Structure) return false;
    destination.value = std::static_pointer_cast<const StructValue>(std::move(value));
    return true;
  }
};

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
