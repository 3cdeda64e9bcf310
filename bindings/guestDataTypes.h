#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "framework/core/dataValue.h"
#include "framework/core/dateTime.h"

// The structures of the guest data service, as its metadata describes them.
namespace Com::Tessaly::Norn::Hesper {

// Which of a VM's identifiers a subscription uses. A newer client may send a kind that isn't known here: it
// has the value 3, and its text stays in raw.
struct VmIdentifierType {
  struct Strings {
    static constexpr const char* values[] = {"MGR_VM_ID", "BIOS_UUID", "VM_UUID"};
  };

  static constexpr std::uint32_t kMgrVmId = 0;
  static constexpr std::uint32_t kBiosUuid = 1;
  static constexpr std::uint32_t kVmUuid = 2;
  static constexpr std::uint32_t kUnknown = 3;

  static VmIdentifierType FromText(std::string text);
  // The printable name. That of an unknown kind is the text that the client sent.
  const std::string& ToString() const { return raw; }

  std::uint32_t value = kUnknown;
  std::string raw;
};

// One VM, named by up to three kinds of identifiers; only the kind that the subscription uses is read.
struct VmFilterSpec {
  std::optional<std::string> mgrVmId;
  std::optional<std::string> biosUuid;
  std::optional<std::string> vmUuid;
};

using VmFilterSpecConstPtr = std::shared_ptr<const VmFilterSpec>;

// What a subscriber wants. An absent list takes everything; a present but empty one takes nothing.
struct SubscriptionSpec {
  VmIdentifierType vmIdType;
  std::optional<std::vector<VmFilterSpecConstPtr>> vmFilter;
  std::optional<std::vector<std::string>> topicPrefixes;
  // How far back to ask the guests for history, in seconds.
  std::optional<std::int64_t> pastSeconds;
};

// One element of a subscription's stream.
struct ApplicationPublishResult {
  static constexpr const char* kStructureName = "com.tessaly.norn.hesper.ApplicationPublishResult";

  // The payload's bytes and their base64 text, shared with the publication and not copied.
  std::shared_ptr<const ::Mirel::Data::BlobValue> payload;
  std::string topic;
  VmIdentifierType vmIdType;
  // Exactly one of the three is present: the kind that vmIdType names.
  std::optional<std::string> mgrVmId;
  std::optional<std::string> biosUuid;
  std::optional<std::string> vmUuid;
  ::Mirel::DateTime createTime;
  std::string token;
  // True when this element answers the subscription's request for history.
  bool history = false;
};

}  // namespace Com::Tessaly::Norn::Hesper
