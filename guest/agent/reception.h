#pragma once

#include <chrono>
#include <string>
#include <variant>
#include <vector>

#include "guest/agent/intake/allowance.h"
#include "guest/agent/intake/localSocket.h"
#include "guest/agent/intake/permissions.h"
#include "guest/agent/intake/refusal.h"
#include "guest/agent/keeping/counters.h"
#include "guest/agent/keeping/store.h"
#include "guest/agent/sending/schedule.h"

namespace GuestAgent {

// Takes what is handed over: judges it, has it kept, adds it to what waits to be sent, and answers. What has
// come at about the same time is kept together, as the disk is waited for but once.
class Reception {
 public:
  Reception(LocalSocket& socket, Permissions& permissions, Allowance& allowance, Store& store,
            Schedule& schedule, Counters& counters);

  // What an earlier run has kept and not sent.
  void Restore();
  // Takes what waits on the socket, up to a bound. boot is the time since the VM's start.
  void Serve(std::chrono::milliseconds boot);
  // Takes what the agent itself has to say, of the class latest.
  void Publish(const std::string& topic, std::string text);

 private:
  // One that is in hand.
  struct Case {
    ReturnAddress sender;
    std::variant<Item, Refusal> outcome;
    std::uint64_t sequence = 0;
  };

  std::variant<Item, Refusal> Judge(const LocalSocket::Datagram& datagram, std::size_t before,
                                    std::chrono::milliseconds boot);
  void Keep(std::vector<Case>& cases);
  void Enqueue(const Item& item, std::uint64_t sequence);

  LocalSocket& socket_;
  Permissions& permissions_;
  Allowance& allowance_;
  Store& store_;
  Schedule& schedule_;
  Counters& counters_;
};

}  // namespace GuestAgent
