#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

#include "fleet/stream/element.h"

namespace Fleet {

// Which daemon, and who calls it. Files with secrets are read for each call, as tokens are renewed.
struct Caller {
  unsigned port = 9999;  // of 127.0.0.1
  std::string tokenFile;
  std::string user;  // with passwordFile, instead of a token
  std::string passwordFile;
};

struct Wanted {
  std::string vmIdType = "mgr";     // or "bios" or "vm"
  std::vector<std::string> vms;     // empty: all
  std::vector<std::string> topics;  // prefixes; empty: all
  std::int64_t pastSeconds = 0;
};

// A call that has failed or ended.
class CallFault final : public std::runtime_error {
 public:
  enum class Kind {
    Interrupted,  // no daemon is there, or a stranger is in its place, or it has ended the call: it may come
                  // back
    Refused,      // the daemon has said no, or what came isn't a daemon's answer: the same call fails again
  };
  CallFault(Kind which, const std::string& text) : std::runtime_error(text), kind(which) {}
  Kind kind;
};

// One subscription: gives each element to `take` on the calling thread until that returns false or a stop is
// asked for, which is seen at once. `onOpen` runs when the daemon has accepted the connection and the
// call was sent. Throws CallFault for every other end.
void Subscribe(const Caller& caller, const Wanted& wanted, const std::stop_token& stop,
               const std::function<void()>& onOpen, const std::function<bool(Element&&)>& take);

// What the daemon did, in numbers: the JSON object that its stats service gives. With a bearer token that one
// calls, not the caller's own. Throws CallFault.
std::string FetchStats(const Caller& caller, const std::optional<std::string>& bearer = std::nullopt);

}  // namespace Fleet
