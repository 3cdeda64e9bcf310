#include "framework/provider/introspection.h"

#include <algorithm>
#include <utility>

#include "framework/provider/simpleInterface.h"

namespace Mirel::Provider::Introspection {
namespace {

using Data::DataValue;
using Data::ListValue;
using Data::StructValue;

ResultPtr Value(Data::DataValuePtr value) {
  return Core::MethodResult::GetInstance(std::move(value));
}

ResultPtr NotFound(const std::string& identifier) {
  return Core::MethodResult::GetErrorInstance(MakeNotFoundError(identifier));
}

std::shared_ptr<const AsyncApiInterface> FindService(const std::weak_ptr<const Container>& interfaces,
                                                     const std::string& service) {
  std::shared_ptr<const AsyncApiInterface> interface;
  MessageList ignored;
  if (const auto container = interfaces.lock()) container->Lookup({service, {}}, interface, ignored);
  return interface;
}

std::vector<std::shared_ptr<const AsyncApiInterface>> AllServices(
    const std::weak_ptr<const Container>& interfaces) {
  const auto container = interfaces.lock();
  return container ? container->Interfaces() : std::vector<std::shared_ptr<const AsyncApiInterface>>();
}

Data::DataValuePtr OperationNames(const AsyncApiInterface& service) {
  auto names = ListValue::GetInstance();
  for (const auto& operation : service.Operations()) names->Add(DataValue::Create(operation.name));
  return names;
}

}  // namespace

namespace Impl::OperationSvc {

AsyncServiceImpl::AsyncServiceImpl(std::weak_ptr<const Container> interfaces)
    : interfaces_(std::move(interfaces)) {}

ResultPtr AsyncServiceImpl::List(const Data::DataValuePtr& input) const {
  const auto serviceId = StringArgument(input, "service_id");
  const auto service = FindService(interfaces_, serviceId);
  return service ? Value(OperationNames(*service)) : NotFound(serviceId);
}

ResultPtr AsyncServiceImpl::Get(const Data::DataValuePtr& input) const {
  const auto serviceId = StringArgument(input, "service_id");
  const auto operationId = StringArgument(input, "operation_id");
  const auto service = FindService(interfaces_, serviceId);
  if (!service) return NotFound(serviceId);
  const auto operations = service->Operations();
  const auto found = std::find_if(operations.begin(), operations.end(),
                                  [&](const auto& operation) { return operation.name == operationId; });
  if (found == operations.end()) return NotFound(serviceId + "." + operationId);
  auto info = StructValue::GetInstance("com.tessaly.mirel.std.introspection.operation.info");
  info->AppendField("service_id", DataValue::Create(serviceId));
  info->AppendField("name", DataValue::Create(found->name));
  info->AppendField("stream", DataValue::Create(found->stream));
  return Value(std::move(info));
}

}  // namespace Impl::OperationSvc

namespace Impl::ProviderSvc {

AsyncServiceImpl::AsyncServiceImpl(std::string providerId, std::weak_ptr<const Container> interfaces)
    : providerId_(std::move(providerId)), interfaces_(std::move(interfaces)) {}

ResultPtr AsyncServiceImpl::Get() const {
  auto info = StructValue::GetInstance("com.tessaly.mirel.std.introspection.provider.info");
  info->AppendField("id", DataValue::Create(providerId_));
  info->AppendField("service_count",
                    DataValue::Create(static_cast<std::int64_t>(AllServices(interfaces_).size())));
  return Value(std::move(info));
}

}  // namespace Impl::ProviderSvc

namespace Impl::ServiceSvc {

AsyncServiceImpl::AsyncServiceImpl(std::weak_ptr<const Container> interfaces)
    : interfaces_(std::move(interfaces)) {}

ResultPtr AsyncServiceImpl::List() const {
  auto names = ListValue::GetInstance();
  for (const auto& service : AllServices(interfaces_)) names->Add(DataValue::Create(service->ServiceName()));
  return Value(std::move(names));
}

ResultPtr AsyncServiceImpl::Get(const Data::DataValuePtr& input) const {
  const auto id = StringArgument(input, "id");
  const auto service = FindService(interfaces_, id);
  if (!service) return NotFound(id);
  auto info = StructValue::GetInstance("com.tessaly.mirel.std.introspection.service.info");
  info->AppendField("id", DataValue::Create(id));
  info->AppendField("operations", OperationNames(*service));
  return Value(std::move(info));
}

}  // namespace Impl::ServiceSvc

namespace Bindings::OperationSvc {

std::shared_ptr<const AsyncApiInterface> AsyncServiceBinder::BindImplementation(
    const std::shared_ptr<const Impl::OperationSvc::AsyncServiceImpl>& implementation) {
  return std::make_shared<const SimpleInterface>(
      "com.tessaly.mirel.std.introspection.operation",
      std::map<std::string, SimpleInterface::Function>{
          {"list", [implementation](const auto& input) { return implementation->List(input); }},
          {"get", [implementation](const auto& input) { return implementation->Get(input); }}});
}

}  // namespace Bindings::OperationSvc

namespace Bindings::ProviderSvc {

std::shared_ptr<const AsyncApiInterface> AsyncServiceBinder::BindImplementation(
    const std::shared_ptr<const Impl::ProviderSvc::AsyncServiceImpl>& implementation) {
  return std::make_shared<const SimpleInterface>(
      "com.tessaly.mirel.std.introspection.provider",
      std::map<std::string, SimpleInterface::Function>{
          {"get", [implementation](const auto&) { return implementation->Get(); }}});
}

}  // namespace Bindings::ProviderSvc

namespace Bindings::ServiceSvc {

std::shared_ptr<const AsyncApiInterface> AsyncServiceBinder::BindImplementation(
    const std::shared_ptr<const Impl::ServiceSvc::AsyncServiceImpl>& implementation) {
  return std::make_shared<const SimpleInterface>(
      "com.tessaly.mirel.std.introspection.service",
      std::map<std::string, SimpleInterface::Function>{
          {"list", [implementation](const auto&) { return implementation->List(); }},
          {"get", [implementation](const auto& input) { return implementation->Get(input); }}});
}

}  // namespace Bindings::ServiceSvc

}  // namespace Mirel::Provider::Introspection
