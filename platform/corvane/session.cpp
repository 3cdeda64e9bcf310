#include "platform/corvane/session.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include "platform/corvane/authorize.h"
#include "platform/corvane/dateTime.h"
#include "platform/corvane/log.h"
#include "platform/corvane/mutex.h"
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

// Invariants:
// 1. An ended session stays ended, and holds no user, no authentication data and no objects.
// 2. While there is a lease, no time ends it.
// 3. A live session without leases has asked the timer for a moment that is not after its own end.
//
// Lives as long as the session, or while the timer calls it. Taking leases and ending are done under the
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

  // What an ended session held. Told and released without the mutex, as destructors may come back here.
  struct Remains {
    Ref<SessionAuthData> authData;
    Ref<Authorize::UserData> user;
    std::vector<Attached> objects;

    void TellAll() const {
      for (const Attached& attached : objects) Tell(*attached.object);
    }
  };

  void OnTime(std::int64_t now) override;
  bool End();
  Remains Finish() CORVANE_REQUIRES(mutex);
  // Leaves the later ends to the timer.
  Remains FinishIfDue(std::int64_t now) CORVANE_REQUIRES(mutex);

  void Touch(std::int64_t now) CORVANE_REQUIRES(mutex) {
    lastAccess = now;
    lastAccessUtc = UtcNow();
  }
  std::int64_t Due() const CORVANE_REQUIRES(mutex) {
    return leases == 0 ? std::min(After(lastAccess, idleTimeout), connectionExpiry) : kNever;
  }
  void AskFor(std::int64_t due) CORVANE_REQUIRES(mutex) {
    timer->Move(shared_from_this(), asked, due);
    asked = due;
  }
  // A later moment is asked for when the earlier one has come.
  void AskForEarlier() CORVANE_REQUIRES(mutex) {
    if (!ended && Due() < asked) AskFor(Due());
  }

  // What every access touches is kept together.
  const Ref<ExpiryTimer> timer;
  mutable Mutex mutex;
  bool ended CORVANE_GUARDED_BY(mutex) = false;
  std::int64_t lastAccess CORVANE_GUARDED_BY(mutex) = 0;
  std::int64_t lastAccessUtc CORVANE_GUARDED_BY(mutex) = 0;
  Ref<Authorize::UserData> user CORVANE_GUARDED_BY(mutex);

  std::int64_t idleTimeout CORVANE_GUARDED_BY(mutex);
  std::int64_t connectionExpiry CORVANE_GUARDED_BY(mutex) = kNever;
  std::int64_t asked CORVANE_GUARDED_BY(mutex) = kNever;  // of the timer
  std::uint64_t leases CORVANE_GUARDED_BY(mutex) = 0;
  Ref<SessionAuthData> authData CORVANE_GUARDED_BY(mutex);
  std::vector<Attached> objects CORVANE_GUARDED_BY(mutex);
  const std::int64_t created;  // UTC
  const std::string id = Detail::MakeSecretText();
};

void Session::State::OnTime(std::int64_t now) {
  Remains remains;
  {
    const MutexLock lock(mutex);
    if (ended) return;
    if (const std::int64_t due = Due(); due > now) {
      AskFor(due);
    } else {
      remains = Finish();
    }
  }
  remains.TellAll();
}

bool Session::State::End() {
  Remains remains;
  {
    const MutexLock lock(mutex);
    if (ended) return false;
    remains = Finish();
  }
  remains.TellAll();
  return true;
}

Session::State::Remains Session::State::Finish() {
  ended = true;
  AskFor(kNever);
  return {std::exchange(authData, nullptr), std::exchange(user, nullptr), std::exchange(objects, {})};
}

Session::State::Remains Session::State::FinishIfDue(std::int64_t now) {
  if (Due() <= now) return Finish();
  AskForEarlier();
  return {};
}

Session::Session(std::int64_t idleTimeoutMicroseconds, const Ref<ExpiryTimer>& timer)
    : state_(std::make_shared<State>(idleTimeoutMicroseconds, timer)) {
  const MutexLock lock(state_->mutex);
  state_->AskForEarlier();
}

Session::~Session() {
  state_->End();
}

const std::string& Session::GetId() const {
  return state_->id;
}

Ref<SessionAuthData> Session::GetAuthData() const {
  const MutexLock lock(state_->mutex);
  return state_->authData;
}

void Session::SetAuthData(Ref<SessionAuthData> data) {
  const MutexLock lock(state_->mutex);
  if (!state_->ended) std::swap(state_->authData, data);
}

void Session::AttachObject(std::string name, Ref<SessionObject> object) {
  {
    const MutexLock lock(state_->mutex);
    if (!state_->ended) {
      state_->objects.push_back({std::move(name), std::move(object)});
      return;
    }
  }
  Tell(*object);
}

Ref<SessionObject> Session::GetObject(std::string_view name) const {
  const MutexLock lock(state_->mutex);
  for (const auto& attached : state_->objects) {
    if (attached.name == name) return attached.object;
  }
  return nullptr;
}

std::int64_t Session::GetCreationTime() const {
  return state_->created;
}

std::int64_t Session::GetLastAccessTime() const {
  const MutexLock lock(state_->mutex);
  return state_->lastAccessUtc;
}

bool Session::Access() {
  const MutexLock lock(state_->mutex);
  const std::int64_t now = state_->timer->Now();
  if (state_->ended || now >= state_->connectionExpiry) return false;
  state_->Touch(now);
  return true;
}

void Session::SetIdleTimeout(std::int64_t microseconds) {
  const MutexLock lock(state_->mutex);
  state_->idleTimeout = microseconds;
  state_->AskForEarlier();
}

void Session::AddLease() {
  const MutexLock lock(state_->mutex);
  ++state_->leases;
}

void Session::RemoveLease() {
  State::Remains remains;
  {
    const MutexLock lock(state_->mutex);
    if (state_->ended || state_->leases == 0 || --state_->leases > 0) return;
    const std::int64_t now = state_->timer->Now();
    state_->Touch(now);
    remains = state_->FinishIfDue(now);
  }
  remains.TellAll();
}

bool Session::HasEnded() const {
  const MutexLock lock(state_->mutex);
  return state_->ended;
}

bool Session::End() {
  return state_->End();
}

bool Session::SetUser(Ref<Authorize::UserData> user, bool replace, std::int64_t lifetime) {
  State::Remains remains;
  {
    const MutexLock lock(state_->mutex);
    if (state_->ended) return true;
    if (state_->user && !replace) return false;
    std::swap(state_->user, user);
    const std::int64_t now = state_->timer->Now();
    state_->connectionExpiry = After(now, lifetime);
    remains = state_->FinishIfDue(now);
  }
  remains.TellAll();
  return true;
}

Ref<Authorize::UserData> Session::GetUser() const {
  const MutexLock lock(state_->mutex);
  return state_->user;
}

void CreateSession(std::int64_t idleTimeoutMicroseconds, Ref<Session>& out) {
  CreateSession(idleTimeoutMicroseconds, out, ExpiryTimer::OfProcess());
}

void CreateSession(std::int64_t idleTimeoutMicroseconds, Ref<Session>& out, const Ref<ExpiryTimer>& timer) {
  out = MakeRef<Session>(idleTimeoutMicroseconds, timer);
}

}  // namespace Corvane
