#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/nornhesperd/cidInfo.h"
#include "apps/nornhesperd/result.h"
#include "framework/core/counter.h"
#include "platform/corvane/object.h"
#include "platform/corvane/system.h"

namespace NornHesper {

// Finds out which VM has a vsock cid, and remembers the VMs heard from of late. As the kernel gives
// cids of VMs that have gone to others, no remembered answer is believed before the kernel has confirmed it.
class CidCache final : public Corvane::System::LockableObjectImpl {
 public:
  using Clock = std::int64_t (*)() noexcept;  // monotonic microseconds

  explicit CidCache(Clock clock = &Corvane::System::GetMonotonicTime) : clock_(clock) {}

  // An entry that was not used for expirationSeconds goes. The size is looked at before an insertion, so
  // that there can be one entry more than maxEntries.
  void SetBounds(std::uint32_t maxEntries, std::uint32_t expirationSeconds);

  // Sets info to the VM that has this cid now. Holds the lock during its kernel calls, so that two look-ups
  // never identify the same cid at once.
  Result Lookup(CidInfoPtr& info, unsigned int cid);

  // Sets infos to the running VMs, in the kernel's order: all of them when the settings ask for it, otherwise
  // those that the cache knows under the same identity. VMs that can't be identified are left out; the
  // outcome is that of the last VM of the kernel's list alone.
  Result Collect(std::vector<std::shared_ptr<CidInfo>>& infos);

  // Hits are look-ups that the cache could answer, misses all others. Entries are now in it; all that were
  // removed, for whatever reason, are evictions.
  struct Counts {
    Mirel::Counter entries;
    Mirel::Counter hits;
    Mirel::Counter misses;
    Mirel::Counter evictions;
  };
  // Reading doesn't wait for a look-up.
  const Counts& GetCounts() const { return counts_; }

 private:
  struct CidCacheEntry {
    CidInfoPtr info;
    std::int64_t lastUse;  // monotonic microseconds
  };
  using Entries = std::list<CidCacheEntry>;
  using Index = std::map<std::uint32_t, Entries::iterator>;

  void TrimCache(std::int64_t now) CORVANE_REQUIRES(this);
  bool ValidateCid(CidInfoPtr& info, unsigned int cid, std::int64_t now) CORVANE_REQUIRES(this);
  void InsertEntry(const CidInfoPtr& info, unsigned int cid, std::int64_t now) CORVANE_REQUIRES(this);
  void RemoveEntry(Index::iterator position) CORVANE_REQUIRES(this);
  std::vector<CidInfoPtr> SelectKnown(const std::vector<CidInfoPtr>& vms);

  // The questions to the kernel, in cidLookup.cpp. They touch no member.
  // kNoCid when no VM has the uuid or the kernel can't tell; nothing when it could not be asked for want of
  // descriptors or memory.
  static std::optional<std::uint32_t> MapBiosUuidToCid(const std::string& biosUuid);
  static Result RetrieveCidInfo(CidInfoPtr& info, unsigned int cid);
  static Result RetrieveCidInfoByVmmId(CidInfoPtr& info, std::uint64_t vmmId);
  static Result ListVmmIds(std::vector<unsigned long>& ids);

  static constexpr std::uint32_t kNoCid = 0xFFFFFFFF;

  // Invariants:
  // 1. The index has a cid exactly if one entry of the list has it, and leads to that entry.
  // 2. The list is in the order of use, the most recent one first; lastUse never grows towards its end.
  // 3. There are at most maxEntries_ + 1 entries, as the size is looked at before an insertion.
  // 4. What Lookup gives was confirmed by the kernel within that call.
  Index index_ CORVANE_GUARDED_BY(this);
  Entries entries_ CORVANE_GUARDED_BY(this);
  std::uint32_t maxEntries_ CORVANE_GUARDED_BY(this) = 3000;
  std::uint32_t expirationSeconds_ CORVANE_GUARDED_BY(this) = 600;
  const Clock clock_;
  // Changed under the lock.
  alignas(Mirel::kCounterAlignment) Counts counts_;
};

}  // namespace NornHesper
