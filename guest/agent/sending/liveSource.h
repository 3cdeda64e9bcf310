#pragma once

#include <functional>
#include <string>

#include "guest/agent/keeping/counters.h"
#include "guest/agent/keeping/store.h"
#include "guest/agent/sending/parcel.h"
#include "guest/agent/sending/schedule.h"

namespace GuestAgent {

// What was handed over and waits, in the schedule's order, read from the store when its turn comes.
class LiveSource final : public Source {
 public:
  using Tell = std::function<void(const std::string&)>;
  // Takes the number of one that leaves for the host.
  using Left = std::function<void(std::uint64_t)>;

  LiveSource(Schedule& schedule, Store& store, Counters& counters, Left left, Tell tell)
      : schedule_(schedule),
        store_(store),
        counters_(counters),
        left_(std::move(left)),
        tell_(std::move(tell)) {}

  std::optional<Parcel> Next() override;
  bool IsWanted() const override;
  void Leaves() override { left_(taken_.entry.sequence); }
  void Accepted() override;
  void Refused(std::string_view diagnosis) override;
  void Dropped() override;

 private:
  Schedule& schedule_;
  Store& store_;
  Counters& counters_;
  const Left left_;
  const Tell tell_;
  Schedule::Taken taken_;
};

}  // namespace GuestAgent
