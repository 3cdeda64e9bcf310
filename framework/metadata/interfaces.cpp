#include <span>

#include "framework/metadata/providerHelper.h"
#include "framework/provider/simpleInterface.h"

namespace Mirel::Provider::Metadata {
namespace {

using ContainerPtr = std::shared_ptr<const SectionContainer>;
using Functions = std::map<std::string, SimpleInterface::Function>;
using ResultPtr = std::shared_ptr<const Core::MethodResult>;

enum Operations : unsigned { kList = 1, kGet = 2, kFingerprint = 4 };

// One read-only service: the kind of thing that it describes, which is also its name.
struct ServiceSpec {
  const char* kind;
  unsigned operations;
  // The arguments: the owner's identifier, where the things belong to something, and their own.
  const char* ownerArgument = nullptr;
  const char* idArgument = "id";
};

constexpr ServiceSpec kCliServices[] = {
    {"com.tessaly.mirel.metadata.cli.command", kList | kGet | kFingerprint},
    {"com.tessaly.mirel.metadata.cli.namespace", kList | kGet | kFingerprint},
};

constexpr ServiceSpec kMetamodelServices[] = {
    {"com.tessaly.mirel.metadata.metamodel.component", kList | kGet | kFingerprint},
    {"com.tessaly.mirel.metadata.metamodel.package", kList | kGet},
    {"com.tessaly.mirel.metadata.metamodel.service", kList | kGet},
    {"com.tessaly.mirel.metadata.metamodel.service.hidden", kList},
    {"com.tessaly.mirel.metadata.metamodel.service.operation", kList | kGet, "service_id", "operation_id"},
    {"com.tessaly.mirel.metadata.metamodel.structure", kList | kGet},
    {"com.tessaly.mirel.metadata.metamodel.enumeration", kList | kGet},
    {"com.tessaly.mirel.metadata.metamodel.resource", kList},
    {"com.tessaly.mirel.metadata.metamodel.resource.model", kList, "resource_id"},
};

constexpr ServiceSpec kAuthenticationServices[] = {
    {"com.tessaly.mirel.metadata.authentication.component", kList | kGet | kFingerprint},
    {"com.tessaly.mirel.metadata.authentication.package", kList | kGet},
    {"com.tessaly.mirel.metadata.authentication.service", kList | kGet},
    {"com.tessaly.mirel.metadata.authentication.service.operation", kList | kGet, "service_id",
     "operation_id"},
};

ResultPtr Value(Data::DataValuePtr value) {
  return Core::MethodResult::GetInstance(std::move(value));
}

ResultPtr NotFound(const std::string& identifier) {
  return Core::MethodResult::GetErrorInstance(MakeNotFoundError(identifier));
}

std::string Owner(const ServiceSpec& spec, const Data::DataValuePtr& input) {
  return spec.ownerArgument ? StringArgument(input, spec.ownerArgument) : std::string();
}

ResultPtr List(const SectionContainer& container, const ServiceSpec& spec, const Data::DataValuePtr& input) {
  const auto owner = Owner(spec, input);
  const auto* entries = container.Find(spec.kind, owner);
  if (!entries && spec.ownerArgument) return NotFound(owner);
  auto identifiers = Data::ListValue::GetInstance();
  if (entries) {
    for (const auto& [id, description] : *entries) identifiers->Add(Data::DataValue::Create(id));
  }
  return Value(std::move(identifiers));
}

ResultPtr Get(const SectionContainer& container, const ServiceSpec& spec, const Data::DataValuePtr& input) {
  const auto owner = Owner(spec, input);
  const auto id = StringArgument(input, spec.idArgument);
  if (const auto* entries = container.Find(spec.kind, owner)) {
    if (const auto entry = entries->find(id); entry != entries->end()) return Value(entry->second);
  }
  return NotFound(spec.ownerArgument ? owner + '.' + id : id);
}

ResultPtr Fingerprint(const SectionContainer& container, const ServiceSpec& spec) {
  const auto& fingerprint = container.content().fingerprint;
  return fingerprint.empty() ? NotFound(spec.kind) : Value(Data::DataValue::Create(fingerprint));
}

std::shared_ptr<const AsyncApiInterface> MakeInterface(const ContainerPtr& container,
                                                       const ServiceSpec& spec) {
  Functions functions;
  if (spec.operations & kList) {
    functions["list"] = [container, spec](const auto& input) { return List(*container, spec, input); };
  }
  if (spec.operations & kGet) {
    functions["get"] = [container, spec](const auto& input) { return Get(*container, spec, input); };
  }
  if (spec.operations & kFingerprint) {
    functions["fingerprint"] = [container, spec](const auto&) { return Fingerprint(*container, spec); };
  }
  return std::make_shared<const SimpleInterface>(spec.kind, functions);
}

ProviderHelper::InterfaceList MakeInterfaces(const ContainerPtr& container,
                                             std::span<const ServiceSpec> specs) {
  ProviderHelper::InterfaceList interfaces;
  for (const auto& spec : specs) interfaces.push_back(MakeInterface(container, spec));
  return interfaces;
}

}  // namespace

ProviderHelper::InterfaceList ProviderHelper::CliInterfaces(
    const std::shared_ptr<const Cli::MetadataContainer>& container) {
  return MakeInterfaces(container, kCliServices);
}

ProviderHelper::InterfaceList ProviderHelper::MetamodelInterfaces(
    const std::shared_ptr<const Metamodel::MetadataContainer>& container) {
  return MakeInterfaces(container, kMetamodelServices);
}

ProviderHelper::InterfaceList ProviderHelper::AuthnInterfaces(
    const std::shared_ptr<const Authentication::MetadataContainer>& container) {
  return MakeInterfaces(container, kAuthenticationServices);
}

}  // namespace Mirel::Provider::Metadata
