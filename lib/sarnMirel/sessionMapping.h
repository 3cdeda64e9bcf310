#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "platform/corvane/mutex.h"

namespace SarnMirel {

// The bounded table from the identifiers that clients hold to those of the host's sessions. Shared by the
// session service, the session handler and what clears it when a session ends. The mutex guards the rest and
// is held for one operation on the table, never across a call to anything else.
//
// How long a look-up takes says nothing to a guesser: the texts are compared only when the hashes of the
// whole texts are the same, and whoever knew the hash of another client's 160 random bits would know them.
struct SessionMapping {
  explicit SessionMapping(std::uint64_t mostEntries) : limit(mostEntries) {}

  // The identifier of the host's session; empty when there is no such entry.
  std::string Find(const std::string& apiSessionId);
  // Adds or replaces an entry. False, with nothing changed, when the table is full.
  bool Register(const std::string& apiSessionId, const std::string& sessionId);
  void Unregister(const std::string& apiSessionId);

  Corvane::Mutex mutex;
  std::unordered_map<std::string, std::string> map CORVANE_GUARDED_BY(mutex);
  std::uint64_t limit;
};

}  // namespace SarnMirel
