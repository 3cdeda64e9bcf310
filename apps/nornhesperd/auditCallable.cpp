#include "apps/nornhesperd/auditCallable.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "platform/audit/audit.h"
#include "platform/corvane/panic.h"

namespace NornHesper {
namespace {

constexpr std::array<std::string_view, 4> kFixedKeys{"eventID", "subject", "object", "result"};

const std::string& Require(const AuditRecord& record, std::string_view key) {
  const auto entry = record.find(std::string(key));
  if (entry == record.end()) Corvane::Detail::Panic("VERIFY", "sarn/lib/public/api/AuditContext", __LINE__);
  return entry->second;
}

}  // namespace

void WriteAuditRecord(const std::shared_ptr<AuditRecord>& record, bool succeeded) {
  record->insert_or_assign("result", succeeded ? "true" : "false");
  const auto& eventId = Require(*record, kFixedKeys[0]);
  const auto& subject = Require(*record, kFixedKeys[1]);
  const auto& object = Require(*record, kFixedKeys[2]);
  const bool result = Require(*record, kFixedKeys[3]) == "true";
  std::vector<TessalyAuditItem> items;
  items.reserve(record->size() - kFixedKeys.size() + 1);
  for (const auto& [key, value] : *record) {
    if (std::find(kFixedKeys.begin(), kFixedKeys.end(), key) == kFixedKeys.end()) {
      items.push_back({key.c_str(), value.c_str()});
    }
  }
  items.push_back({nullptr, nullptr});
  TessalyAudit_LogList(eventId.c_str(), subject.c_str(), object.c_str(), result, items.data());
}

}  // namespace NornHesper
