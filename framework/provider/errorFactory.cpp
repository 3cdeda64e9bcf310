#include "framework/provider/errorFactory.h"

#include <utility>

#include "framework/core/l10n.h"
#include "framework/core/text.h"
#include "framework/provider/messageFormat.h"

namespace Mirel {
namespace {

template <typename ErrorCode>
Data::ErrorValuePtr SystemError(const ErrorCode& error, const std::string& id) {
  if (error.value() == 0) return nullptr;
  const auto text = Message<CoreTag>::DefaultMessageForId(id);
  return ErrorValue::Create("system_error", {MakeMessage(id, text, StringOfError(error))});
}

}  // namespace

Data::ErrorValuePtr MakeSystemErrorValue(const std::error_code& error, const std::string& id) {
  return SystemError(error, id);
}

Data::ErrorValuePtr MakeSystemErrorValue(const boost::system::error_code& error, const std::string& id) {
  return SystemError(error, id);
}

}  // namespace Mirel

namespace Mirel::Data {

std::shared_ptr<ErrorValue> ErrorFactory::WithMessages(const DataValuePtr& value, DataValuePtr messages) {
  if (!value || value->type() != DataType::Error) return nullptr;
  // Values are shared as const, so that the messages go into a copy.
  auto error = std::make_shared<ErrorValue>(static_cast<const ErrorValue&>(*value));
  error->SetField("messages", std::move(messages));
  return error;
}

}  // namespace Mirel::Data
