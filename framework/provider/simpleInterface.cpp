#include "framework/provider/simpleInterface.h"

#include <utility>

#include "framework/core/l10n.h"
#include "framework/core/stdErrors.h"
#include "framework/provider/errorFactory.h"
#include "framework/provider/messageFormat.h"

namespace Mirel::Provider {
namespace {

namespace Errors = Com::Tessaly::Mirel::Std::Errors;

BaseMessage CoreMessage(const std::string& id, const std::string& argument) {
  return MakeMessage(id, Message<CoreTag>::DefaultMessageForId(id), argument);
}

template <typename Error>
Data::ErrorValuePtr ErrorWith(const BaseMessage& message) {
  auto messages = Data::ListValue::GetInstance();
  messages->Add(Data::MessageToValue(message));
  return Data::ErrorFactory::GetError(Error(), messages);
}

class SimpleOperation final : public AsyncApiOperation {
 public:
  explicit SimpleOperation(SimpleInterface::Function function) : function_(std::move(function)) {}

  void Call(const Data::DataValuePtr& input, const std::shared_ptr<Core::AsyncActivation>& /*activation*/,
            const Core::AsyncApiResultCb& result) const override {
    result(Answer(input), Progress{}, nullptr);
  }

 private:
  std::shared_ptr<const Core::MethodResult> Answer(const Data::DataValuePtr& input) const {
    try {
      return function_(input);
    } catch (const ArgumentError& error) {
      return Core::MethodResult::GetErrorInstance(MakeUnexpectedInputError(error.what()));
    }
  }

  SimpleInterface::Function function_;
};

}  // namespace

std::string StringArgument(const Data::DataValuePtr& input, std::string_view name) {
  const auto* arguments = dynamic_cast<const Data::StructValue*>(input.get());
  const auto field = arguments ? arguments->GetField(name) : nullptr;
  if (!field) throw ArgumentError(std::string(name) + " is missing");
  const auto* text = dynamic_cast<const Data::StringValue*>(field.get());
  if (!text) throw ArgumentError(std::string(name) + " is not a string");
  return text->value();
}

Data::ErrorValuePtr MakeUnexpectedInputError(const std::string& reason) {
  return ErrorWith<Errors::UnexpectedInput>(CoreMessage("mirel.input.unexpected", reason));
}

Data::ErrorValuePtr MakeNotFoundError(const std::string& identifier) {
  return ErrorWith<Errors::NotFound>(CoreMessage("mirel.not.found", identifier));
}

BaseMessage OperationNotFoundMessage(const std::string& service, const std::string& operation) {
  return CoreMessage("mirel.operation.not.found", service + "." + operation);
}

SimpleInterface::SimpleInterface(std::string service, const std::map<std::string, Function>& operations)
    : service_(std::move(service)) {
  for (const auto& [name, function] : operations) {
    operations_.emplace(name, std::make_shared<const SimpleOperation>(function));
  }
}

std::vector<OperationInfo> SimpleInterface::Operations() const {
  std::vector<OperationInfo> infos;
  infos.reserve(operations_.size());
  for (const auto& [name, operation] : operations_) infos.push_back({name, false});
  return infos;
}

bool SimpleInterface::LookupOperation(const std::string& name,
                                      std::shared_ptr<const AsyncApiOperation>& operation,
                                      MessageList& messages) const {
  const auto found = operations_.find(name);
  if (found == operations_.end()) {
    messages.push_back(OperationNotFoundMessage(service_, name));
    return false;
  }
  operation = found->second;
  return true;
}

}  // namespace Mirel::Provider
