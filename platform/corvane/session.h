#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/corvane/expiryTimer.h"
#include "platform/corvane/object.h"

namespace Corvane {

namespace Authorize {
class AuthorizeManager;
class UserData;
}  // namespace Authorize

// Something that is attached to a session and wants to know when it ends.
class SessionObject : public ObjectImpl {
 public:
  // Called once, on whichever thread ends the session, with no lock held; the session may be in its
  // destructor. An exception is logged and goes no further.
  virtual void SessionEnded() = 0;
};

// Whom a session belongs to.
class SessionAuthData : public SessionObject {
 public:
  virtual std::string GetUsername() const = 0;
  void SessionEnded() override {}
};

// A session of the host, known by an identifier that nobody can guess. Safe from any thread.
//
// It ends once: when it has no lease and has had no access for its idle timeout, when it has no lease and the
// connection to its user has expired, when the manager removes it, with the manager, or when its last
// reference goes. Its objects are then notified and released, and its authentication data is cleared, so that
// a session that its own data refers to doesn't stay for ever. Whoever has a reference may use it on, but it
// stays without data.
//
// Whoever wants to work within a session takes a lease and then looks whether it has ended. If it has not, no
// time ends it until the lease is given back.
class Session final : public ObjectImpl {
 public:
  Session(std::int64_t idleTimeoutMicroseconds, const Ref<ExpiryTimer>& timer);
  ~Session() override;

  // 48 hexadecimal digits, by which a manager finds the session: not for clients, who get identifiers of
  // their own.
  const std::string& GetId() const;

  // Null when there is none, as in a session that has ended, where setting has no effect. Setting null
  // clears.
  Ref<SessionAuthData> GetAuthData() const;
  void SetAuthData(Ref<SessionAuthData> data);

  // There may be several objects of one name; each is notified. An object that comes to a session that has
  // ended is notified before this returns, and not kept.
  void AttachObject(std::string name, Ref<SessionObject> object);
  // The first one of that name that is attached, or null.
  Ref<SessionObject> GetObject(std::string_view name) const;

  // Microseconds since 1970-01-01 UTC.
  std::int64_t GetCreationTime() const;
  std::int64_t GetLastAccessTime() const;

  // Starts the idle time anew, for a call that has been let in. False, with no effect, when the session has
  // ended, or its connection has expired and it only waits for the leases of calls that run: no new call may
  // come in then, or calls that overlap would keep it for ever.
  bool Access();
  // Counts from the last access, also for less than before. With 0 or less the session ends as soon as it has
  // no lease.
  void SetIdleTimeout(std::int64_t microseconds);

  // Giving back the last lease starts the idle time anew, or ends the session at once when its connection has
  // expired meanwhile. Giving back one that nobody took has no effect.
  void AddLease();
  void RemoveLease();

  bool HasEnded() const;
  // Gives whether this call ended it.
  bool End();

 private:
  friend class Authorize::AuthorizeManager;
  struct State;

  // Ties the session to a user for so many microseconds, ExpiryTimer::kNever for all of its life. False, with
  // nothing changed, when it has a user and is not to replace it.
  bool SetUser(Ref<Authorize::UserData> user, bool replace, std::int64_t lifetime);
  // Null when there is none, or the session has ended.
  Ref<Authorize::UserData> GetUser() const;

  const std::shared_ptr<State> state_;
};

// Makes a session that no manager knows. It ends by idleness all the same. Throws Corvane::Exception when the
// process's timer can't start its thread; ends the process when there is no randomness to be had.
void CreateSession(std::int64_t idleTimeoutMicroseconds, Ref<Session>& out);
// The same on another timer.
void CreateSession(std::int64_t idleTimeoutMicroseconds, Ref<Session>& out, const Ref<ExpiryTimer>& timer);

}  // namespace Corvane
