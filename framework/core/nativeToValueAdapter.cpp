#include "framework/core/nativeToValueAdapter.h"

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
