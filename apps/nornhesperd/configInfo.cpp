#include "apps/nornhesperd/configInfo.h"

#include <array>
#include <string_view>

#include "apps/nornhesperd/logMessage.h"
#include "platform/corvane/app.h"

namespace NornHesper {
namespace {

constexpr std::array<std::string_view, 7> kKeys = {"mirelPort",
                                                   "vmListenPort",
                                                   "mirelQueueLimit",
                                                   "cidCacheMaxEntries",
                                                   "cidCacheExpirationInSeconds",
                                                   "requestHistoryAll",
                                                   "historyPort"};

void LogSetting(std::string_view key, const auto& value, bool present) {
  HESPER_LOG(6, "Configuration %1=%2(%3)", key, value, present ? "updated" : "default");
}

}  // namespace

Result ConfigInfo::Load() {
  const Corvane::System::Synchronized lock(this);
  const auto tree = Corvane::Service::GetApp()->GetConfig();
  const auto readInteger = [&tree](const char* key, std::int32_t& setting) {
    const bool present = tree->ReadInteger(key, &setting);
    LogSetting(key, setting, present);
  };
  readInteger("mirelPort", mirelPort_);
  readInteger("vmListenPort", vmListenPort_);
  readInteger("mirelQueueLimit", mirelQueueLimit_);
  readInteger("cidCacheMaxEntries", cidCacheMaxEntries_);
  readInteger("cidCacheExpirationInSeconds", cidCacheExpirationInSeconds_);
  const bool present = tree->ReadBoolean("requestHistoryAll", &requestHistoryAll_);
  LogSetting("requestHistoryAll", requestHistoryAll_, present);
  readInteger("historyPort", historyPort_);
  tree->WarnAboutUnknownKeys(kKeys);
  return {};
}

}  // namespace NornHesper
