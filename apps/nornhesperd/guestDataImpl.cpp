#include "apps/nornhesperd/guestDataImpl.h"

#include <algorithm>
#include <boost/system/system_error.hpp>
#include <optional>
#include <set>
#include <vector>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"
#include "apps/nornhesperd/messageStream.h"
#include "framework/core/stdErrors.h"
#include "framework/provider/errorFactory.h"

namespace Com::Tessaly::Norn::Hesper::GuestDataSvc {
namespace {

using Com::Tessaly::Mirel::Std::Errors::InvalidArgument;
using Com::Tessaly::Mirel::Std::Errors::Unsupported;
using ::Mirel::NamedMessageBuilder;
using NornHesper::Result;

constexpr const char kMessagePrefix[] = "com.tessaly.norn.hesper.guest_data.";

// Where the answer to a refused call goes, and in which language.
struct Call {
  const AsyncActivationPtr& activation;
  const ResultCb& result;
};

template <typename Error>
void Refuse(const Call& call, const NamedMessageBuilder& message) {
  const auto messages = ::Mirel::L10n::LocalizableMessageHelpers::ConvertMessages({message}, call.activation);
  call.result.error(::Mirel::Data::ErrorFactory::GetError(Error(), messages));
}

NamedMessageBuilder Message(const char* name) {
  return {std::string(kMessagePrefix) + name, {}, {}};
}

NamedMessageBuilder MessageAboutKind(const char* name, const VmIdentifierType& type) {
  auto message = Message(name);
  message.arguments.emplace("vmIdType", type.ToString());
  return message;
}

const std::optional<std::string>& SelectIdentifier(const VmIdentifierType& type, const VmFilterSpec& filter) {
  switch (type.value) {
    case VmIdentifierType::kMgrVmId:
      return filter.mgrVmId;
    case VmIdentifierType::kBiosUuid:
      return filter.biosUuid;
    default:
      return filter.vmUuid;
  }
}

// The wanted VMs and topics, checked. Each gives false when the call has been refused.
bool ReadVmFilter(const SubscriptionSpec& spec, const Call& call,
                  std::optional<std::set<std::string>>& vmIds) {
  if (!spec.vmFilter) return true;
  vmIds.emplace();
  for (const auto& filter : *spec.vmFilter) {
    std::string vmId;
    if (VmFilterSpecGetVmId(spec.vmIdType, filter, call.activation, call.result, vmId).HasErrors()) {
      return false;
    }
    vmIds->insert(std::move(vmId));
  }
  return true;
}

bool ReadTopicPrefixes(const SubscriptionSpec& spec, const Call& call,
                       NornHesper::OptionalStringVector& prefixes) {
  if (!spec.topicPrefixes) return true;
  prefixes.emplace();
  for (const auto& prefix : *spec.topicPrefixes) {
    if (ValidateTopicPrefix(prefix, call.activation, call.result).HasErrors()) return false;
    prefixes->push_back(prefix);
  }
  std::sort(prefixes->begin(), prefixes->end());
  return true;
}

}  // namespace

Result ValidateVmIdentifierType(const VmIdentifierType& type, const AsyncActivationPtr& activation,
                                const ResultCb& result) {
  Result outcome;
  if (type.value <= VmIdentifierType::kVmUuid) return outcome;
  HESPER_FAIL(outcome, NornHesper::kErrorArguments, "Unsupported VmIdentifierType %1", type.value);
  Refuse<Unsupported>({activation, result}, MessageAboutKind("vm_id_type_not_supported", type));
  return outcome;
}

Result VmFilterSpecGetVmId(const VmIdentifierType& type, const VmFilterSpecConstPtr& filter,
                           const AsyncActivationPtr& activation, const ResultCb& result, std::string& vmId) {
  Result outcome;
  const auto& identifier = SelectIdentifier(type, *filter);
  if (identifier) {
    vmId = *identifier;
    return outcome;
  }
  HESPER_FAIL(outcome, NornHesper::kErrorArguments, "Invalid FilterSpec, missing %1", type.ToString());
  Refuse<InvalidArgument>({activation, result}, MessageAboutKind("vm_id_missing_in_filter_spec", type));
  return outcome;
}

Result ValidateTopicPrefix(const std::string& prefix, const AsyncActivationPtr& activation,
                           const ResultCb& result) {
  Result outcome;
  const Call call{activation, result};
  if (prefix.empty()) {
    HESPER_FAIL(outcome, NornHesper::kErrorArguments, "Empty topic prefix");
    Refuse<InvalidArgument>(call, Message("topic_prefix_empty"));
  } else if (prefix.front() == '.') {
    HESPER_FAIL(outcome, NornHesper::kErrorArguments, "Extraneous leading dot in topic prefix");
    Refuse<InvalidArgument>(call, Message("topic_prefix_has_leading_dot"));
  } else if (prefix.back() == '.') {
    HESPER_FAIL(outcome, NornHesper::kErrorArguments, "Extraneous trailing dot in topic prefix");
    Refuse<InvalidArgument>(call, Message("topic_prefix_has_trailing_dot"));
  }
  return outcome;
}

Result ValidatePastSeconds(std::int64_t seconds, const AsyncActivationPtr& activation,
                           const ResultCb& result) {
  Result outcome;
  if (seconds >= 0) return outcome;
  HESPER_FAIL(outcome, NornHesper::kErrorArguments, "Negative pastSeconds value");
  Refuse<InvalidArgument>({activation, result}, Message("past_seconds_negative"));
  return outcome;
}

void GuestDataImpl::Subscribe(const std::shared_ptr<const SubscriptionSpec>& spec,
                              const AsyncActivationPtr& activation, const ResultCb& result) {
  const Call call{activation, result};
  if (ValidateVmIdentifierType(spec->vmIdType, activation, result).HasErrors()) return;
  std::optional<std::set<std::string>> vmIds;
  if (!ReadVmFilter(*spec, call, vmIds)) return;
  NornHesper::OptionalStringVector topicPrefixes;
  if (!ReadTopicPrefixes(*spec, call, topicPrefixes)) return;
  const auto pastSeconds = spec->pastSeconds.value_or(0);
  if (ValidatePastSeconds(pastSeconds, activation, result).HasErrors()) return;

  const auto stream =
      Corvane::MakeRef<MessageStream>(spec->vmIdType, vmIds, topicPrefixes, pastSeconds, result);
  // Registered first, so that no guest can answer before the subscription is there to take it.
  stream->RegisterSubscription();
  try {
    stream->RequestHistory();
  } catch (const boost::system::system_error& error) {
    // No socket to be had, as when descriptors run out: the subscription is there, and does without history.
    HESPER_LOG(3, "failed to request history data, %1", error.what());
  }
}

}  // namespace Com::Tessaly::Norn::Hesper::GuestDataSvc
