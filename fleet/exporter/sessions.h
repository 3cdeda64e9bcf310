#pragma once

#include <chrono>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fleet/exporter/secretHash.h"
#include "platform/corvane/mutex.h"
#include "platform/corvane/wipedString.h"

namespace Fleet {

// Logins of browsers. A session lasts for as long as the daemon takes its token, which is asked again and
// again, and twelve hours at most. From any thread.
class Sessions final {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Gives the secret that the browser shows from now on: 256 random bits, of which only a hash is kept. With
  // too many sessions the one that was longest unused ends.
  std::string Open(const Corvane::WipedString& token, Time now);
  void Close(const SecretHash& session);

  // The session's token, if it lasts.
  std::optional<Corvane::WipedString> TokenOf(const SecretHash& session, Time now);
  bool Lasts(const SecretHash& session, Time now) const;

  // The daemon has taken its token.
  void Confirm(const SecretHash& session, Time now);
  // Those whose token is to be asked about again; none of them comes again before another minute.
  std::vector<std::pair<SecretHash, Corvane::WipedString>> TakeDue(Time now);

 private:
  struct Session {
    SecretHash secret;
    Corvane::WipedString token;
    Time opened;
    Time used;
    Time confirmed;
    Time asked;
  };
  using Iterator = std::list<Session>::iterator;

  void RemoveEnded(Time now) CORVANE_REQUIRES(mutex_);
  Iterator Find(const SecretHash& session) CORVANE_REQUIRES(mutex_);

  mutable Corvane::Mutex mutex_;
  std::list<Session> sessions_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Fleet
