#include "platform/corvane/session.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/corvane/authorize.h"
#include "platform/corvane/dateTime.h"
#include "platform/corvane/log.h"
#include "platform/corvane/secretText.h"

namespace Corvane {
namespace {

constexpr std::int64_t kNever = ExpiryTimer::kNever;

// Times of the timer's clock are not negative.
std::int64_t After(std::int64_t time, std::int64_t duration) {
  return duration < kNever - time ? time + std::max<std::int64_t>(duration, 0) : kNever;
}

std::int64_t UtcNow() {
  return System::GetUtcDateTime().GetUtcTime();
}

void Tell(SessionObject& object) {
  auto* const logger = Service::Logger::sDefaultLogger.get();
  try {
    object.SessionEnded();
  } catch (const std::exception& error) {
    LogInternal(logger, 3, "An object of a session failed at its end: %1", error.what());
  } catch (...) {
    LogInternal(logger, 3, "An object of a session failed at its end");
  }
}

}  // namespace

// Lives as long as the session, or while the timer tells it. Taking leases and ending are done under the
// mutex each, so one of them comes first: an end that comes second sees the lease, and whoever takes a lease
// second sees the end. What is released goes outside of the mutex, as its destructors may come back here.
struct Session::State : ExpiryTimer::Client, std::enable_shared_from_this<State> {
  struct Attached {
    std::string name;
    Ref<SessionObject> object;
  };

  State(std::int64_t timeout, Ref<ExpiryTimer> itsTimer)
      : timer(std::move(itsTimer)), idleTimeout(timeout), created(UtcNow()) {
    Touch(timer->Now());
  }

  void OnTime(std::int64_t now) override;
  bool End();
  void EndLocked(std::unique_lock<std::mutex> lock);
  // Leaves the later ends to the timer.
  void EndIfDue(std::unique_lock<std::mutex> lock, std::int64_t now);

  void Touch(std::int64_t now) {
    lastAccess = now;
    lastAccessUtc = UtcNow();
  }
  std::int64_t Due() const {
    return leases == 0 ? std::min(After(lastAccess, idleTimeout), connectionExpiry) : kNever;
  }
  void AskFor(std::int64_t due) {
    timer->Move(shared_from_this(), asked, due);
    asked = due;
  }
  // A later moment is asked for when the earlier one has come.
  void AskForEarlier() {
    if (!ended && Due() < asked) AskFor(Due());
  }

  // What every access touches stands together.
  const Ref<ExpiryTimer> timer;
  mutable std::mutex mutex;
  bool ended = false;
  std::int64_t lastAccess = 0;
  std::int64_t lastAccessUtc = 0;
  Ref<Authorize::UserData> user;

  std::int64_t idleTimeout;
  std::int64_t connectionExpiry = kNever;
  std::int64_t asked = kNever;  // of the timer
  std::uint64_t leases = 0;
  Ref<SessionAuthData> authData;
  std::vector<Attached> objects;
  const std::int64_t created;  // UTC
  const std::string id = Detail::MakeSecretText();
};

void Session::State::OnTime(std::int64_t now) {
  std::unique_lock lock(mutex);
  if (ended) return;
  if (const std::int64_t due = Due(); due > now) {
    AskFor(due);
  } else {
    EndLocked(std::move(lock));
  }
}

bool Session::State::End() {
  std::unique_lock lock(mutex);
  if (ended) return false;
  EndLocked(std::move(lock));
  return true;
}

void Session::State::EndLocked(std::unique_lock<std::mutex> lock) {
  ended = true;
  AskFor(kNever);
  const auto goneData = std::exchange(authData, nullptr);
  const auto goneUser = std::exchange(user, nullptr);
  const auto goneObjects = std::exchange(objects, {});
  lock.unlock();
  for (const Attached& attached : goneObjects) Tell(*attached.object);
}

void Session::State::EndIfDue(std::unique_lock<std::mutex> lock, std::int64_t now) {
  if (Due() > now) {
    AskForEarlier();
  } else {
    EndLocked(std::move(lock));
  }
}

Session::Session(std::int64_t idleTimeoutMicroseconds, const Ref<ExpiryTimer>& timer)
    : state_(std::make_shared<State>(idleTimeoutMicroseconds, timer)) {
  const std::lock_guard lock(state_->mutex);
  state_->AskForEarlier();
}

Session::~Session() {
  state_->End();
}

const std::string& Session::GetId() const {
  return state_->id;
}

Ref<SessionAuthData> Session::GetAuthData() const {
  const std::lock_guard lock(state_->mutex);
  return state_->authData;
}

void Session::SetAuthData(Ref<SessionAuthData> data) {
  const std::lock_guard lock(state_->mutex);
  if (!state_->ended) std::swap(state_->authData, data);
}

void Session::AttachObject(std::string name, Ref<SessionObject> object) {
  {
    const std::lock_guard lock(state_->mutex);
    if (!state_->ended) {
      state_->objects.push_back({std::move(name), std::move(object)});
      return;
    }
  }
  Tell(*object);
}

Ref<SessionObject> Session::GetObject(std::string_view name) const {
  const std::lock_guard lock(state_->mutex);
  for (const auto& attached : state_->objects) {
    if (attached.name == name) return attached.object;
  }
  return nullptr;
}

std::int64_t Session::GetCreationTime() const {
  return state_->created;
}

std::int64_t Session::GetLastAccessTime() const {
  const std::lock_guard lock(state_->mutex);
  return state_->lastAccessUtc;
}

bool Session::Access() {
  const std::lock_guard lock(state_->mutex);
  const std::int64_t now = state_->timer->Now();
  if (state_->ended || now >= state_->connectionExpiry) return false;
  state_->Touch(now);
  return true;
}

void Session::SetIdleTimeout(std::int64_t microseconds) {
  const std::lock_guard lock(state_->mutex);
  state_->idleTimeout = microseconds;
  state_->AskForEarlier();
}

void Session::AddLease() {
  const std::lock_guard lock(state_->mutex);
  ++state_->leases;
}

void Session::RemoveLease() {
  std::unique_lock lock(state_->mutex);
  if (state_->ended || state_->leases == 0 || --state_->leases > 0) return;
  const std::int64_t now = state_->timer->Now();
  state_->Touch(now);
  state_->EndIfDue(std::move(lock), now);
}

bool Session::HasEnded() const {
  const std::lock_guard lock(state_->mutex);
  return state_->ended;
}

bool Session::End() {
  return state_->End();
}

bool Session::SetUser(Ref<Authorize::UserData> user, bool replace, std::int64_t lifetime) {
  std::unique_lock lock(state_->mutex);
  if (state_->ended) return true;
  if (state_->user && !replace) return false;
  std::swap(state_->user, user);
  const std::int64_t now = state_->timer->Now();
  state_->connectionExpiry = After(now, lifetime);
  state_->EndIfDue(std::move(lock), now);
  return true;
}

Ref<Authorize::UserData> Session::GetUser() const {
  const std::lock_guard lock(state_->mutex);
  return state_->user;
}

void CreateSession(std::int64_t idleTimeoutMicroseconds, Ref<Session>& out) {
  CreateSession(idleTimeoutMicroseconds, out, ExpiryTimer::OfProcess());
}

void CreateSession(std::int64_t idleTimeoutMicroseconds, Ref<Session>& out, const Ref<ExpiryTimer>& timer) {
  out = MakeRef<Session>(idleTimeoutMicroseconds, timer);
}

}  // namespace Corvane
