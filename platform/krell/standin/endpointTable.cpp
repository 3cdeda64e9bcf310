#include "platform/krell/standin/endpointTable.h"

#include <string>

#include "platform/krell/standin/endpointQueue.h"
#include "platform/krell/standin/gateway.h"
#include "platform/krell/standin/host.h"
#include "platform/krell/vsockAddress.h"

namespace Krell {
namespace {

constexpr std::size_t kMostEndpoints = 8192;
constexpr std::size_t kMostAbsent = 8192;
// Two looks for each new one find those that have been closed sooner than they pile up.
constexpr int kLooks = 2;

std::uint64_t KeyOf(std::uint32_t cid, std::uint32_t port) {
  return std::uint64_t{cid} << 32 | port;
}

constexpr std::uint64_t kGatewayKey = std::uint64_t{kAnyCid} << 32 | kAnyPort;

std::string NameOf(std::uint64_t key) {
  if (key == kGatewayKey) return Gateway::kName;
  return EndpointQueue::Name(static_cast<std::uint32_t>(key >> 32), static_cast<std::uint32_t>(key));
}

}  // namespace

std::shared_ptr<EndpointQueue> EndpointTable::Find(std::uint32_t cid, std::uint32_t port) {
  return Find(KeyOf(cid, port));
}

std::shared_ptr<EndpointQueue> EndpointTable::FindGateway() {
  return Find(kGatewayKey);
}

std::shared_ptr<EndpointQueue> EndpointTable::Find(std::uint64_t key) {
  const Corvane::MutexLock guard(mutex_);
  const auto known = endpoints_.find(key);
  if (known != endpoints_.end()) {
    if (!known->second.endpoint->IsClosed()) return known->second.endpoint;
    Erase(known);
  }
  return IsKnownAsAbsent(key) ? nullptr : Open(key);
}

std::shared_ptr<EndpointQueue> EndpointTable::Open(std::uint64_t key) {
  auto endpoint = EndpointQueue::Open(host_.EndpointsDescriptor(), NameOf(key));
  if (!endpoint) {
    absent_.insert(key);
    return nullptr;
  }
  MakeRoom();
  endpoints_.emplace(key, Kept{endpoint, turns_.insert(turns_.end(), key)});
  return endpoint;
}

// The generation is read before the folder is: what appears meanwhile is looked for again the next time.
bool EndpointTable::IsKnownAsAbsent(std::uint64_t key) {
  const std::uint64_t generation = host_.EndpointGeneration();
  if (generation != generation_ || absent_.size() >= kMostAbsent) absent_.clear();
  generation_ = generation;
  return absent_.contains(key);
}

void EndpointTable::MakeRoom() {
  for (int looks = 0; looks < kLooks && !turns_.empty(); ++looks) {
    const auto first = endpoints_.find(turns_.front());
    if (first->second.endpoint->IsClosed() || endpoints_.size() >= kMostEndpoints) {
      Erase(first);
    } else {
      turns_.splice(turns_.end(), turns_, turns_.begin());
    }
  }
}

EndpointTable::Endpoints::iterator EndpointTable::Erase(Endpoints::iterator kept) {
  turns_.erase(kept->second.turn);
  return endpoints_.erase(kept);
}

void EndpointTable::Forget(const std::shared_ptr<EndpointQueue>& endpoint) {
  const Corvane::MutexLock guard(mutex_);
  for (auto kept = endpoints_.begin(); kept != endpoints_.end();) {
    kept = kept->second.endpoint == endpoint ? Erase(kept) : std::next(kept);
  }
}

}  // namespace Krell
