#include "apps/nornhesperd/cidCache.h"

#include <utility>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"

namespace NornHesper {

using Corvane::System::Synchronized;

void CidCache::SetBounds(std::uint32_t maxEntries, std::uint32_t expirationSeconds) {
  const Synchronized lock(this);
  maxEntries_ = maxEntries;
  expirationSeconds_ = expirationSeconds;
}

Result CidCache::Lookup(CidInfoPtr& info, unsigned int cid) {
  const std::int64_t now = clock_();
  const Synchronized lock(this);
  TrimCache(now);
  if (ValidateCid(info, cid, now)) {
    counts_.hits.Add();
    return {};
  }
  counts_.misses.Add();
  Result result = RetrieveCidInfo(info, cid);
  if (result.HasErrors()) {
    HESPER_FAIL(result, kErrorCidLookup, "failed to retrieve info for cid %1", cid);
    return result;
  }
  InsertEntry(info, cid, now);
  return {};
}

void CidCache::TrimCache(std::int64_t now) {
  const std::int64_t expiration = std::int64_t{expirationSeconds_} * 1'000'000;
  while (!entries_.empty() && (entries_.size() > maxEntries_ || entries_.back().lastUse + expiration < now)) {
    RemoveEntry(index_.find(entries_.back().info->cid));
  }
}

bool CidCache::ValidateCid(CidInfoPtr& info, unsigned int cid, std::int64_t now) {
  const auto position = index_.find(cid);
  if (position == index_.end()) return false;
  const Entries::iterator entry = position->second;
  const std::optional<std::uint32_t> mapped = MapBiosUuidToCid(entry->info->biosUuid);
  if (!mapped) {
    // Neither confirmed nor refuted: the entry stays, and the sender has to be identified in the other way.
    return false;
  }
  if (*mapped == kNoCid || *mapped != cid) {
    HESPER_LOG(6, "Evict cache entry, cid %1 mismatches cached bios uuid %2", cid, entry->info->biosUuid);
    RemoveEntry(position);
    return false;
  }
  info = entry->info;
  entry->lastUse = now;
  entries_.splice(entries_.begin(), entries_, entry);
  return true;
}

void CidCache::InsertEntry(const CidInfoPtr& info, unsigned int cid, std::int64_t now) {
  if (const auto position = index_.find(cid); position != index_.end()) {
    RemoveEntry(position);  // one that could not be checked
  }
  entries_.push_front({info, now});
  index_[cid] = entries_.begin();
  counts_.entries.Set(entries_.size());
}

void CidCache::RemoveEntry(Index::iterator position) {
  entries_.erase(position->second);
  index_.erase(position);
  counts_.entries.Set(entries_.size());
  counts_.evictions.Add();
}

Result CidCache::Collect(std::vector<std::shared_ptr<CidInfo>>& infos) {
  std::vector<unsigned long> ids;
  Result result = ListVmmIds(ids);
  if (result.HasErrors()) return result;
  std::vector<CidInfoPtr> vms;
  for (const unsigned long id : ids) {
    CidInfoPtr info;
    result = RetrieveCidInfoByVmmId(info, id);
    if (result.HasErrors()) {
      HESPER_LOG(6, "failed to retrieve cid info for vmm %1, skipped", id);
    } else {
      vms.push_back(std::move(info));
    }
  }
  const bool all = GlobalContext::Get()->GetConfigInfo().GetRequestHistoryAll();
  infos = all ? std::move(vms) : SelectKnown(vms);
  return result;
}

std::vector<CidInfoPtr> CidCache::SelectKnown(const std::vector<CidInfoPtr>& vms) {
  std::vector<CidInfoPtr> known;
  const Synchronized lock(this);
  for (const CidInfoPtr& vm : vms) {
    const auto position = index_.find(vm->cid);
    if (position == index_.end()) continue;
    if (position->second->info->biosUuid == vm->biosUuid) {
      known.push_back(vm);
    } else {
      RemoveEntry(position);  // of a VM that has gone
    }
  }
  return known;
}

}  // namespace NornHesper
