#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "guest/agent/keeping/item.h"
#include "guest/link/channel.h"
#include "testing/clockDouble.h"

namespace Testing {

using std::chrono::milliseconds;
using std::chrono::seconds;

// What the host does with what is sent to it, and what it was sent.
struct HostDouble {
  struct Arrival {
    milliseconds time;
    std::string text;
  };
  enum class Mood { Accepts, Refuses, IsSilent, HangsUp, IsAway };

  explicit HostDouble(const ClockDouble& itsClock) : clock(itsClock) {}

  // The way to it, as the agent opens it.
  std::unique_ptr<GuestLink::Channel> Open();
  // The numbers of the publications that arrived.
  std::vector<std::uint64_t> Sequences() const;
  // The texts that arrived after the last call.
  std::vector<Arrival> TakeArrivals() { return std::exchange(arrivals, {}); }

  const ClockDouble& clock;
  Mood mood = Mood::Accepts;
  unsigned rate = 2;
  int opened = 0;
  std::vector<Arrival> arrivals;
};

// The number in a publication's header.
std::uint64_t SequenceOf(const std::string& text);
std::string TopicOf(const std::string& text);
// As base64.
std::string PayloadOf(const std::string& text);
// "[5,6]", or nothing.
std::string SubscribersOf(const std::string& text);

std::string Acknowledgement(std::uint64_t sequence, bool isAccepted, unsigned rate);

GuestAgent::Item MakeItem(const std::string& topic, const std::string& payload = "payload",
                          bool isLatest = false, GuestAgent::Owner owner = 1000);

}  // namespace Testing
