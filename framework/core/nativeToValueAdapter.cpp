#include "framework/core/nativeToValueAdapter.h"

#include <array>
#include <string_view>

namespace Com::Tessaly::Mirel::Std::Errors {
namespace {

struct ErrorTypeName {
  std::uint32_t value;
  std::string_view name;
};

constexpr std::array kErrorTypeNames = {
    ErrorTypeName{ErrorType::kError, "ERROR"},
    ErrorTypeName{ErrorType::kInternalServerError, "INTERNAL_SERVER_ERROR"},
    ErrorTypeName{ErrorType::kInvalidArgument, "INVALID_ARGUMENT"},
    ErrorTypeName{ErrorType::kNotFound, "NOT_FOUND"},
    ErrorTypeName{ErrorType::kOperationNotFound, "OPERATION_NOT_FOUND"},
    ErrorTypeName{ErrorType::kUnauthenticated, "UNAUTHENTICATED"},
    ErrorTypeName{ErrorType::kUnauthorized, "UNAUTHORIZED"},
    ErrorTypeName{ErrorType::kUnexpectedInput, "UNEXPECTED_INPUT"},
    ErrorTypeName{ErrorType::kUnsupported, "UNSUPPORTED"},
};

}  // namespace

std::string ErrorType::ToString() const {
  if (!raw.empty()) return raw;
  for (const auto& entry : kErrorTypeNames) {
    if (entry.value == value) return std::string(entry.name);
  }
  return std::to_string(value);
}

}  // namespace Com::Tessaly::Mirel::Std::Errors

namespace Mirel::Data::Detail {

std::shared_ptr<ErrorValue> AdaptError(const NativeError& native) {
  auto messages = ListValue::GetInstance();
  for (const auto& message : native.messages) messages->Add(message);
  auto error = std::make_shared<ErrorValue>(native.name);
  error->AppendField("messages", std::move(messages));
  error->AppendField("data", std::make_shared<OptionalValue>(native.data));
  error->AppendField("error_type",
                     std::make_shared<OptionalValue>(DataValue::Create(native.errorType.ToString())));
  return error;
}

DataValuePtr AdaptUnauthenticated(const Com::Tessaly::Mirel::Std::Errors::Unauthenticated& native,
                                  const L10n::RequestLocalizer& /*localizer*/, MessageList& /*messages*/) {
  auto error = AdaptError(native);
  error->AppendField("challenge", std::make_shared<OptionalValue>(
                                      native.challenge ? DataValue::Create(*native.challenge) : nullptr));
  return error;
}

DataValuePtr AdaptMessages(const MessageList& native, const L10n::RequestLocalizer& /*localizer*/,
                           MessageList& /*messages*/) {
  auto list = ListValue::GetInstance();
  for (const auto& message : native) list->Add(MessageToValue(message));
  return list;
}

}  // namespace Mirel::Data::Detail
