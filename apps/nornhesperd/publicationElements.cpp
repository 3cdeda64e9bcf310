#include "apps/nornhesperd/publicationElements.h"

#include "apps/nornhesperd/publication.h"
#include "bindings/guestDataAdapter.h"
#include "framework/core/nativeToValueAdapter.h"
#include "framework/provider/localization.h"
#include "platform/corvane/panic.h"

namespace NornHesper {
namespace {

using Com::Tessaly::Norn::Hesper::ApplicationPublishResult;
using Com::Tessaly::Norn::Hesper::VmIdentifierType;
using Mirel::Data::StructValue;

ApplicationPublishResult MakeResult(const Publication& publication, const VmIdentifierType& vmIdType) {
  ApplicationPublishResult result;
  // Whoever has the element has the publication, which has these bytes.
  result.payload = std::make_shared<const Mirel::Data::BlobValue>(nullptr, publication.payload,
                                                                  publication.PayloadBase64());
  result.topic = publication.Topic();
  result.vmIdType = vmIdType;
  const auto& vm = *publication.cidInfo;
  switch (vmIdType.value) {
    case VmIdentifierType::kMgrVmId:
      result.mgrVmId = vm.mgrVmId;
      break;
    case VmIdentifierType::kBiosUuid:
      result.biosUuid = vm.biosUuid;
      break;
    case VmIdentifierType::kVmUuid:
      result.vmUuid = vm.vmUuid;
      break;
    default:
      NOT_REACHED();
  }
  result.createTime = publication.createTime;
  result.token = publication.Token();
  result.history = !publication.subscribers.empty();
  return result;
}

// What the client gets: the structure as an untyped value. Neither a failed conversion nor a failed
// validation holds an element back.
std::shared_ptr<const StructValue> MakeElement(const ApplicationPublishResult& result) {
  static const auto placeholder = StructValue::GetInstance("emptyDynStr");
  static const auto localizer = Mirel::L10n::MakeDefaultRequestLocalizer();
  Mirel::Data::DynamicStructure element{placeholder};
  Mirel::MessageList messages;
  using Method = Mirel::Data::AdaptMethod<ApplicationPublishResult>;
  Mirel::Data::NativeToValueAdapter::Adapt(element, Method::Get(), result, localizer, messages);
  Mirel::Data::Validator::isValid(result, 0, messages);
  return element.value;
}

}  // namespace

std::shared_ptr<const StructValue> PublicationElements::Get(const PublicationPtr& publication,
                                                            const VmIdentifierType& vmIdType) {
  const Corvane::MutexLock lock(mutex_);
  if (vmIdType.value >= elements_.size()) NOT_REACHED();
  auto& element = elements_[vmIdType.value];
  if (!element) element = MakeElement(MakeResult(*publication, vmIdType));
  return {publication, element.get()};
}

const std::string& VmIdentifier(const CidInfo& vm, const VmIdentifierType& type) {
  switch (type.value) {
    case VmIdentifierType::kMgrVmId:
      return vm.mgrVmId;
    case VmIdentifierType::kBiosUuid:
      return vm.biosUuid;
    case VmIdentifierType::kVmUuid:
      return vm.vmUuid;
    default:
      NOT_REACHED();
  }
}

}  // namespace NornHesper
