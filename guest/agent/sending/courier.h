#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "guest/agent/keeping/counters.h"
#include "guest/agent/sending/backoff.h"
#include "guest/agent/sending/pace.h"
#include "guest/agent/sending/parcel.h"
#include "guest/link/channel.h"

namespace GuestAgent {

// Carries publications to the host, one at a time: paced as the host says, until each has its
// acknowledgement. When none comes in time, or the connection ends, it connects again and sends the same text
// once more. Times are since the VM's start.
class Courier {
 public:
  using Milliseconds = std::chrono::milliseconds;
  using Tell = std::function<void(const std::string&)>;
  // Opens the way to the host; may throw std::exception.
  using Open = std::function<std::unique_ptr<GuestLink::Channel>()>;

  // Live data and the past take turns when both have something: so live data has at least half of the rate.
  Courier(Open open, Source& live, Source& past, Counters& counters, Tell tell, std::uint32_t seed);

  // Does what there is to do at this time. Gives when there may be more to do, if nothing happens before.
  std::optional<Milliseconds> Step(Milliseconds now);
  // For poll: readable when the host has said something; or -1.
  int Descriptor() const { return channel_ ? channel_->Descriptor() : -1; }
  bool IsConnected() const { return Descriptor() >= 0; }

 private:
  void Connect(Milliseconds now);
  void TakeAcknowledgements(Milliseconds now);
  void Take(const std::string& text);
  void Choose();
  void Send(Milliseconds now);
  void Fail(Milliseconds now, const std::string& reason);

  const Open open_;
  const std::array<Source*, 2> sources_;
  Counters& counters_;
  const Tell tell_;
  Pace pace_;
  Backoff backoff_;
  std::unique_ptr<GuestLink::Channel> channel_;
  // The source whose turn it is, and the one whose parcel is under way.
  std::size_t turn_ = 0;
  std::size_t current_ = 0;
  std::optional<Parcel> parcel_;
  unsigned attempts_ = 0;
  // Until then an acknowledgement is waited for, if the parcel has been sent.
  std::optional<Milliseconds> deadline_;
  // No try before.
  Milliseconds retry_{0};
  bool isAway_ = false;
};

}  // namespace GuestAgent
