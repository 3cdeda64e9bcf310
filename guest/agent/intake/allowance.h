#pragma once

#include <chrono>
#include <cstdint>
#include <map>

#include "guest/agent/keeping/item.h"

namespace GuestAgent {

// How much each user may hand over, in items and bytes, as a bucket that fills again with time. Without it
// one user could have the disk written without end, with data of which only the newest is kept.
class Allowance {
 public:
  struct Rates {
    double itemsPerSecond = 100;
    double burstItems = 1000;
    double bytesPerSecond = 1 << 20;
    double burstBytes = 8 << 20;
  };

  explicit Allowance(Rates rates) : rates_(rates) {}

  // False if it is too much now; nothing is taken then. boot is the time since the VM's start.
  bool Take(Owner owner, std::size_t bytes, std::chrono::milliseconds boot);
  // Of how many users something is known.
  std::size_t Owners() const { return buckets_.size(); }

 private:
  struct Bucket {
    double items = 0;
    double bytes = 0;
    std::chrono::milliseconds filled{};
  };

  void Fill(Bucket& bucket, std::chrono::milliseconds boot) const;
  bool IsFull(const Bucket& bucket) const;
  void ForgetFull(std::chrono::milliseconds boot);

  const Rates rates_;
  std::map<Owner, Bucket> buckets_;
};

}  // namespace GuestAgent
