#include "bindings/sessionService.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "bindings/sessionAdapter.h"
#include "framework/core/asyncActivation.h"
#include "framework/core/asyncApiProvider.h"
#include "framework/provider/asyncApiInterface.h"
#include "framework/provider/localization.h"
#include "framework/provider/simpleInterface.h"

namespace Com::Tessaly::Ombra::SessionSvc {
namespace {

using ::Mirel::Core::AsyncApiResultCb;
using ::Mirel::Core::MethodResult;
using ::Mirel::Data::DataValuePtr;
using ::Mirel::Provider::AsyncApiOperation;
using LocalizerPtr = std::shared_ptr<const ::Mirel::L10n::Localizer>;

DataValuePtr ToValue(const ::Mirel::SecretString& secret) {
  return std::make_shared<const ::Mirel::Data::SecretValue>(secret);
}

DataValuePtr ToValue(const ::Mirel::Void& /*nothing*/) {
  return ::Mirel::Data::VoidValue::GetInstance();
}

DataValuePtr ToValue(const std::shared_ptr<const Info>& info) {
  DataValuePtr value;
  ::Mirel::MessageList notes;
  ::Mirel::Data::NativeToValueAdapter::Adapt(value, ::Mirel::Data::AdaptMethod<Info>::Get(), *info,
                                             ::Mirel::L10n::MakeDefaultRequestLocalizer(), notes);
  return value;
}

// Makes the answer object that the service fires of the transport's callback; results become values here.
template <typename Value>
::Mirel::AsyncResult<Value, ::Mirel::AsyncResultTerminateCbPolicy> MakeResult(
    const AsyncApiResultCb& untyped) {
  using Result = ::Mirel::AsyncResult<Value, ::Mirel::AsyncResultTerminateCbPolicy>;
  typename Result::ResultCb callbacks;
  callbacks.first = [untyped](const boost::optional<Value>& value, const typename Result::ErrorPtr& error,
                              const ::Mirel::Progress& progress) {
    untyped(error ? MethodResult::GetErrorInstance(error) : MethodResult::GetInstance(ToValue(*value)),
            progress, nullptr);
  };
  return Result(std::move(callbacks));
}

// No operation takes arguments. One that is misspelt or misplaced is refused, and not ignored.
bool IsEmpty(const DataValuePtr& input) {
  const auto* arguments = dynamic_cast<const ::Mirel::Data::StructValue*>(input.get());
  return arguments && arguments->fields().empty();
}

template <typename Value>
class Operation final : public AsyncApiOperation {
 public:
  using Method = void (AsyncServiceInterface::*)(
      const AsyncActivationPtr&, const ::Mirel::AsyncResult<Value, ::Mirel::AsyncResultTerminateCbPolicy>&);

  Operation(std::shared_ptr<AsyncServiceInterface> implementation, Method method, LocalizerPtr localizer)
      : implementation_(std::move(implementation)), method_(method), localizer_(std::move(localizer)) {}

  void Call(const DataValuePtr& input, const AsyncActivationPtr& activation,
            const AsyncApiResultCb& result) const override {
    activation->localizer(localizer_);
    const auto answer = MakeResult<Value>(result);
    if (!IsEmpty(input)) {
      answer.error(::Mirel::Provider::MakeUnexpectedInputError("input: expected a structure without fields"));
      return;
    }
    (implementation_.get()->*method_)(activation, answer);
  }

 private:
  std::shared_ptr<AsyncServiceInterface> implementation_;
  Method method_;
  LocalizerPtr localizer_;
};

class ServiceInterface final : public ::Mirel::Provider::AsyncApiInterface {
 public:
  ServiceInterface(const std::shared_ptr<AsyncServiceInterface>& implementation,
                   const LocalizerPtr& localizer)
      : operations_{
            {"create", std::make_shared<const Operation<::Mirel::SecretString>>(
                           implementation, &AsyncServiceInterface::Create, localizer)},
            {"delete", std::make_shared<const Operation<::Mirel::Void>>(
                           implementation, &AsyncServiceInterface::Delete, localizer)},
            {"get", std::make_shared<const Operation<std::shared_ptr<const Info>>>(
                        implementation, &AsyncServiceInterface::Get, localizer)},
        } {}

  const std::string& ServiceName() const override { return service_; }

  std::vector<::Mirel::Provider::OperationInfo> Operations() const override {
    std::vector<::Mirel::Provider::OperationInfo> infos;
    for (const auto& [name, operation] : operations_) infos.push_back({name, false});
    return infos;
  }

  bool LookupOperation(const std::string& name, std::shared_ptr<const AsyncApiOperation>& operation,
                       ::Mirel::MessageList& messages) const override {
    const auto found = operations_.find(name);
    if (found == operations_.end()) {
      messages.push_back(::Mirel::Provider::OperationNotFoundMessage(service_, name));
      return false;
    }
    operation = found->second;
    return true;
  }

 private:
  const std::string service_ = "com.tessaly.ombra.session";
  const std::map<std::string, std::shared_ptr<const AsyncApiOperation>> operations_;
};

}  // namespace

std::shared_ptr<const ::Mirel::Provider::AsyncApiInterface> AsyncServiceBinder::BindImplementation(
    const std::shared_ptr<AsyncServiceInterface>& implementation, const LocalizerPtr& localizer) {
  return std::make_shared<const ServiceInterface>(implementation, localizer);
}

}  // namespace Com::Tessaly::Ombra::SessionSvc
