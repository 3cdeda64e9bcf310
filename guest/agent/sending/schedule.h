#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <list>
#include <optional>
#include <string>
#include <unordered_map>

#include "guest/agent/keeping/item.h"

namespace GuestAgent {

// What waits to be sent, without its payload, and whose turn it is: users take turns, and so do the topics of
// each user. Within a topic the order is that of the sequence numbers. Of the class latest only the newest of
// a topic waits.
//
// What waits is bounded, and a user may have as much of it as is left then: the first one gets half of all, a
// second one half of the rest. So nobody can fill it for the others.
class Schedule {
 public:
  struct Bounds {
    std::size_t items = 10000;
    std::uint64_t bytes = 32 << 20;
  };
  struct Entry {
    std::uint64_t sequence = 0;
    std::size_t bytes = 0;
    bool isLatest = false;
    std::chrono::milliseconds kept{};  // in the store's time
  };
  struct Taken {
    Owner owner = kAgentItself;
    std::string topic;
    Entry entry;
  };

  explicit Schedule(Bounds bounds) : bounds_(bounds) {}

  // Takes room for one that is to be added; false if there is none.
  bool Reserve(Owner owner, std::size_t bytes);
  // Gives back the room of one that was reserved or taken.
  void Release(Owner owner, std::size_t bytes);
  // Takes room whether there is any or not: for what an earlier run has kept.
  void Charge(Owner owner, std::size_t bytes);
  // Adds one that has its room. Gives what it takes the place of, whose room is released.
  std::optional<Taken> Add(Owner owner, const std::string& topic, const Entry& entry);

  // The next one to be sent. It keeps its room until that is released.
  std::optional<Taken> Take();
  bool HasLatest(const std::string& topic) const;

  // With what is reserved and taken.
  std::size_t Items() const { return items_; }
  std::uint64_t Bytes() const { return bytes_; }

 private:
  struct Topic {
    std::string name;
    std::deque<Entry> events;
    std::optional<Entry> latest;

    Entry TakeFirst();
    bool IsEmpty() const { return events.empty() && !latest; }
  };
  // The topics of one user, the one whose turn it is in front.
  struct Share {
    Owner owner = kAgentItself;
    std::list<Topic> topics;
    std::unordered_map<std::string, std::list<Topic>::iterator> byName;
  };
  struct Use {
    std::size_t items = 0;
    std::uint64_t bytes = 0;
  };

  Share& ShareOf(Owner owner);
  // Takes out the one of the class latest that waits under a topic, whoever's it is.
  std::optional<Taken> Replace(const std::string& topic);
  void DropIfEmpty(std::list<Share>::iterator share, std::list<Topic>::iterator topic);

  const Bounds bounds_;
  std::size_t items_ = 0;
  std::uint64_t bytes_ = 0;
  std::unordered_map<Owner, Use> uses_;
  // The user whose turn it is stands in front. Users with nothing to send aren't among them.
  std::list<Share> shares_;
};

}  // namespace GuestAgent
