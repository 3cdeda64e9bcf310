#include "guest/agent/intake/allowance.h"

#include <algorithm>

namespace GuestAgent {
namespace {

// One user of the VM can have thousands of user ids (subuid(5)).
constexpr std::size_t kMostOwners = 1024;

}  // namespace

void Allowance::Fill(Bucket& bucket, std::chrono::milliseconds boot) const {
  const double seconds = std::chrono::duration<double>(boot - bucket.filled).count();
  bucket.items = std::min(rates_.burstItems, bucket.items + seconds * rates_.itemsPerSecond);
  bucket.bytes = std::min(rates_.burstBytes, bucket.bytes + seconds * rates_.bytesPerSecond);
  bucket.filled = boot;
}

bool Allowance::IsFull(const Bucket& bucket) const {
  return bucket.items >= rates_.burstItems && bucket.bytes >= rates_.burstBytes;
}

void Allowance::ForgetFull(std::chrono::milliseconds boot) {
  for (auto& [owner, bucket] : buckets_) Fill(bucket, boot);
  std::erase_if(buckets_, [this](const auto& entry) { return IsFull(entry.second); });
}

bool Allowance::Take(Owner owner, std::size_t bytes, std::chrono::milliseconds boot) {
  auto found = buckets_.find(owner);
  if (found == buckets_.end()) {
    if (buckets_.size() >= kMostOwners) ForgetFull(boot);
    if (buckets_.size() >= kMostOwners) return false;
    found = buckets_.emplace(owner, Bucket{rates_.burstItems, rates_.burstBytes, boot}).first;
  }
  Bucket& bucket = found->second;
  Fill(bucket, boot);
  const auto needed = static_cast<double>(bytes);
  if (bucket.items < 1 || bucket.bytes < needed) return false;
  bucket.items -= 1;
  bucket.bytes -= needed;
  return true;
}

}  // namespace GuestAgent
