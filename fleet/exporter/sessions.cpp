#include "fleet/exporter/sessions.h"

#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "fleet/exporter/bounds.h"
#include "platform/corvane/stringUtil.h"

namespace Fleet {
namespace {

std::string MakeSecret() {
  std::array<unsigned char, 32> bytes{};
  if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
    throw std::runtime_error("no randomness");
  }
  return Corvane::StringUtil::HexEncode(bytes);
}

}  // namespace

std::string Sessions::Open(const Corvane::WipedString& token, Time now) {
  auto secret = MakeSecret();
  const Corvane::MutexLock lock(mutex_);
  RemoveEnded(now);
  if (sessions_.size() >= kMostSessions) {
    sessions_.erase(
        std::min_element(sessions_.begin(), sessions_.end(),
                         [](const Session& one, const Session& other) { return one.used < other.used; }));
  }
  sessions_.push_back({SecretHash(secret), token, now, now, now, now});
  return secret;
}

void Sessions::Close(const SecretHash& session) {
  const Corvane::MutexLock lock(mutex_);
  sessions_.remove_if([&](const Session& other) { return other.secret == session; });
}

std::optional<Corvane::WipedString> Sessions::TokenOf(const SecretHash& session, Time now) {
  const Corvane::MutexLock lock(mutex_);
  RemoveEnded(now);
  const auto found = Find(session);
  if (found == sessions_.end()) return std::nullopt;
  found->used = now;
  return found->token;
}

bool Sessions::Lasts(const SecretHash& session, Time now) const {
  const Corvane::MutexLock lock(mutex_);
  return std::any_of(sessions_.begin(), sessions_.end(), [&](const Session& other) {
    return other.secret == session && now - other.opened < kSessionTime && now - other.confirmed < kBelieved;
  });
}

void Sessions::Confirm(const SecretHash& session, Time now) {
  const Corvane::MutexLock lock(mutex_);
  const auto found = Find(session);
  if (found != sessions_.end()) found->confirmed = found->asked = now;
}

std::vector<std::pair<SecretHash, Corvane::WipedString>> Sessions::TakeDue(Time now) {
  std::vector<std::pair<SecretHash, Corvane::WipedString>> due;
  const Corvane::MutexLock lock(mutex_);
  RemoveEnded(now);
  for (auto& session : sessions_) {
    if (now - session.asked < kBetweenChecks) continue;
    session.asked = now;
    due.emplace_back(session.secret, session.token);
  }
  return due;
}

void Sessions::RemoveEnded(Time now) {
  sessions_.remove_if([now](const Session& session) {
    return now - session.opened >= kSessionTime || now - session.confirmed >= kBelieved;
  });
}

Sessions::Iterator Sessions::Find(const SecretHash& session) {
  return std::find_if(sessions_.begin(), sessions_.end(),
                      [&](const Session& other) { return other.secret == session; });
}

}  // namespace Fleet
