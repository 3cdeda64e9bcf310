#include "bindings/guestDataAdapter.h"

#include <utility>

namespace Mirel::Data {
namespace {

using Com::Tessaly::Norn::Hesper::ApplicationPublishResult;
using Com::Tessaly::Norn::Hesper::VmIdentifierType;

// Longer ones are a guest's mischief: escaped they are six times as long, in two forms for each of three
// kinds, and the publication may wait in a queue with many others.
constexpr std::size_t kLongestKeptNames = 1024;

DataValuePtr AdaptOptional(const std::optional<std::string>& text) {
  static const auto absent = std::make_shared<const OptionalValue>(nullptr);
  if (!text) return absent;
  return std::make_shared<const OptionalValue>(DataValue::Create(*text));
}

DataValuePtr AdaptResult(const ApplicationPublishResult& native, const L10n::RequestLocalizer&,
                         MessageList&) {
  auto value = StructValue::GetInstance(ApplicationPublishResult::kStructureName);
  // One element is for all subscribers who use this kind of identifier.
  if (native.topic.size() + native.token.size() <= kLongestKeptNames) value->KeepTexts();
  value->AppendField("payload", native.payload);
  value->AppendField("topic", DataValue::Create(native.topic));
  value->AppendField("vm_id_type", DataValue::Create(native.vmIdType.raw));
  value->AppendField("mgr_vm_id", AdaptOptional(native.mgrVmId));
  value->AppendField("bios_uuid", AdaptOptional(native.biosUuid));
  value->AppendField("vm_uuid", AdaptOptional(native.vmUuid));
  value->AppendField("create_time", DataValue::Create(native.createTime.ToString()));
  value->AppendField("token", DataValue::Create(native.token));
  value->AppendField("history", DataValue::Create(native.history));
  return value;
}

}  // namespace

AdaptFunction<ApplicationPublishResult> AdaptMethod<ApplicationPublishResult>::Get() {
  return &AdaptResult;
}

bool ValidateMethod<ApplicationPublishResult>::IsValid(const ApplicationPublishResult& result,
                                                       ValidationPolicy, MessageList& messages) {
  const auto type = result.vmIdType.value;
  const bool valid = result.mgrVmId.has_value() == (type == VmIdentifierType::kMgrVmId) &&
                     result.biosUuid.has_value() == (type == VmIdentifierType::kBiosUuid) &&
                     result.vmUuid.has_value() == (type == VmIdentifierType::kVmUuid);
  if (!valid) {
    messages.push_back(
        {"com.tessaly.norn.hesper.guest_data.vm_identifier_mismatch",
         "The identifiers present do not fit the identifier type " + result.vmIdType.ToString(),
         {result.vmIdType.ToString()}});
  }
  return valid;
}

}  // namespace Mirel::Data
