#pragma once

#include <cstdint>

#include "apps/nornhesperd/result.h"
#include "platform/corvane/object.h"

namespace NornHesper {

// The seven settings. Built-in defaults, overridden once at start by the configuration file; no value is
// checked for its range. The accessors may be called from any thread.
class ConfigInfo final : public Corvane::System::LockableObjectImpl {
 public:
  // Reads the settings from the application's configuration tree and logs each with its origin.
  Result Load();

  std::int32_t GetMirelPort() { return Read(&ConfigInfo::mirelPort_); }
  std::int32_t GetVmListenPort() { return Read(&ConfigInfo::vmListenPort_); }
  std::int32_t GetMirelQueueLimit() { return Read(&ConfigInfo::mirelQueueLimit_); }
  std::int32_t GetCidCacheMaxEntries() { return Read(&ConfigInfo::cidCacheMaxEntries_); }
  std::int32_t GetCidCacheExpirationInSeconds() { return Read(&ConfigInfo::cidCacheExpirationInSeconds_); }
  bool GetRequestHistoryAll() { return Read(&ConfigInfo::requestHistoryAll_); }
  std::int32_t GetHistoryPort() { return Read(&ConfigInfo::historyPort_); }

 private:
  template <typename T>
  T Read(T ConfigInfo::*setting) {
    const Corvane::System::Synchronized lock(this);
    return this->*setting;
  }

  // Of the API endpoint, on the loopback addresses.
  std::int32_t mirelPort_ CORVANE_GUARDED_BY(this) = 9999;
  // Vsock port for the guests' publications.
  std::int32_t vmListenPort_ CORVANE_GUARDED_BY(this) = 7777;
  // Publications that a stream holds for a slow client.
  std::int32_t mirelQueueLimit_ CORVANE_GUARDED_BY(this) = 16;
  // VMs.
  std::int32_t cidCacheMaxEntries_ CORVANE_GUARDED_BY(this) = 3000;
  // Life of an unused VM in the cache.
  std::int32_t cidCacheExpirationInSeconds_ CORVANE_GUARDED_BY(this) = 600;
  // Ask every running VM for history, or only cached ones.
  bool requestHistoryAll_ CORVANE_GUARDED_BY(this) = false;
  // Guests' vsock port for history requests.
  std::int32_t historyPort_ CORVANE_GUARDED_BY(this) = 766;
};

}  // namespace NornHesper
