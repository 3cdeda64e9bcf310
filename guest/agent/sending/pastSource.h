#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "guest/agent/keeping/counters.h"
#include "guest/agent/keeping/store.h"
#include "guest/agent/sending/parcel.h"
#include "guest/link/publicationText.h"

namespace GuestAgent {

// Answers requests for history: to each what it asks for and the store has, the oldest first, under the
// numbers under which it was sent. Several at once take turns; those that have come to the same publication
// have it in one.
class PastSource final : public Source {
 public:
  PastSource(Store& store, Counters& counters) : store_(store), counters_(counters) {}

  // Takes a request's text. last is the highest number that was given so far: what comes after it, the
  // subscriber gets as live data.
  void Ask(const std::string& text, std::uint64_t last);
  // So it does with what waited then. Takes the number of one that leaves for the host as live data.
  void LeftLive(std::uint64_t sequence);
  // Reads on for those for whom nothing has been found so far. Gives whether there is more to read: it is
  // done in steps, as a store may have much that nobody asks for.
  bool Search();
  bool IsEmpty() const { return askers_.empty(); }

  std::optional<Parcel> Next() override;
  bool IsWanted() const override { return true; }
  void Leaves() override {}
  void Accepted() override;
  void Refused(std::string_view diagnosis) override;
  void Dropped() override {}

 private:
  struct Asker {
    GuestLink::HistoryRequest request;
    std::chrono::milliseconds since{};
    std::uint64_t last = 0;
    // Up to here the store has been read.
    std::uint64_t position = 0;
    // The one that is to be sent next, if it has been found.
    std::optional<std::uint64_t> found;
    // What it gets as live data since it asked.
    std::set<std::uint64_t> live;
  };

  bool SearchFor(Asker& asker);
  std::vector<std::uint64_t> AskersOf(std::uint64_t sequence) const;
  void Serve(std::uint64_t sequence, std::size_t count);
  std::optional<Parcel> ParcelOf(std::uint64_t sequence);

  Store& store_;
  Counters& counters_;
  // The one whose turn it is in front.
  std::list<Asker> askers_;
};

}  // namespace GuestAgent
