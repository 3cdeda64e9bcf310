#include "lib/sarnMirel/sessionMapping.h"

namespace SarnMirel {

std::string SessionMapping::Find(const std::string& apiSessionId) {
  const Corvane::MutexLock lock(mutex);
  const auto entry = map.find(apiSessionId);
  return entry == map.end() ? std::string() : entry->second;
}

bool SessionMapping::Register(const std::string& apiSessionId, const std::string& sessionId) {
  const Corvane::MutexLock lock(mutex);
  if (map.size() >= limit && !map.contains(apiSessionId)) return false;
  map.insert_or_assign(apiSessionId, sessionId);
  return true;
}

void SessionMapping::Unregister(const std::string& apiSessionId) {
  const Corvane::MutexLock lock(mutex);
  map.erase(apiSessionId);
}

}  // namespace SarnMirel
