#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "platform/corvane/mutex.h"

namespace Krell {

class EndpointQueue;
class Host;

// The endpoints of a host that this process has sent to, opened once for as long as they are bound. A steady
// state opens no file and allocates nothing. May be used by any thread.
class EndpointTable {
 public:
  // Requires: the host outlives it.
  explicit EndpointTable(const Host& host) : host_(host) {}

  // The endpoint bound to this address, or null.
  std::shared_ptr<EndpointQueue> Find(std::uint32_t cid, std::uint32_t port);
  // Where packets go that are for a VM and for no endpoint of it here, or null.
  std::shared_ptr<EndpointQueue> FindGateway();
  // One that was found, and that nobody receives at any more.
  void Forget(const std::shared_ptr<EndpointQueue>& endpoint);

 private:
  using Turns = std::list<std::uint64_t>;
  struct Kept {
    std::shared_ptr<EndpointQueue> endpoint;
    Turns::iterator turn;
  };
  using Endpoints = std::unordered_map<std::uint64_t, Kept>;

  std::shared_ptr<EndpointQueue> Find(std::uint64_t key);
  std::shared_ptr<EndpointQueue> Open(std::uint64_t key) CORVANE_REQUIRES(mutex_);
  bool IsKnownAsAbsent(std::uint64_t key) CORVANE_REQUIRES(mutex_);
  void MakeRoom() CORVANE_REQUIRES(mutex_);
  Endpoints::iterator Erase(Endpoints::iterator kept) CORVANE_REQUIRES(mutex_);

  const Host& host_;
  Corvane::Mutex mutex_;
  Endpoints endpoints_ CORVANE_GUARDED_BY(mutex_);
  // In which they are looked at for whether they are still bound.
  Turns turns_ CORVANE_GUARDED_BY(mutex_);
  // Not there, for as long as no endpoint has appeared since.
  std::unordered_set<std::uint64_t> absent_ CORVANE_GUARDED_BY(mutex_);
  std::uint64_t generation_ CORVANE_GUARDED_BY(mutex_) = 0;
};

}  // namespace Krell
