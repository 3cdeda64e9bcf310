#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "platform/corvane/authenticate.h"
#include "platform/corvane/dateTime.h"
#include "platform/corvane/mutex.h"
#include "platform/corvane/object.h"

namespace Corvane {
class Session;
}

namespace Corvane::Authorize {

// The user that a session is connected to, and the checked login that proved it. Does not change.
class UserData final : public ObjectImpl {
 public:
  UserData(std::string userName, Ref<System::AuthTokenHelper> login)
      : userName_(std::move(userName)), login_(std::move(login)) {}

  const std::string& GetUserName() const { return userName_; }
  const Ref<System::AuthTokenHelper>& GetLogin() const { return login_; }

 private:
  std::string userName_;
  Ref<System::AuthTokenHelper> login_;
};

// Gives the time at which a connection that is made now expires.
using ExpiryCallback = std::function<System::DateTime(UserData* user, const System::DateTime& now)>;

// Who may do what: which sessions belong to which users, and which privileges these hold on which objects. It
// starts with no privileges at all. Safe from any thread.
class AuthorizeManager final : public ObjectImpl {
 public:
  // Stands for every object in Grant.
  static constexpr std::string_view kEveryObject = "*";

  // The one of the process.
  static void GetInstance(Ref<AuthorizeManager>& out);

  // Connects the session to a user, until the session ends. With an expiry, it is asked once, here, and the
  // session ends when the time that it gives has come, or with its last lease after that; steps of the wall
  // clock until then don't count. A time that is not after now has come already. What the expiry throws
  // passes through, and the session stays as it was.
  //
  // A session that has a user gets the new one with replace; without, InvalidStateException is thrown, so
  // that nobody comes into another one's session by mistake. A session that has ended is left alone.
  void AddConnection(Session* session, const std::string& user, Ref<System::AuthTokenHelper> login,
                     bool replace, const ExpiryCallback& expiry);

  // From the next question on, also in sessions that are there already.
  void Grant(std::string_view user, std::string_view object, std::string_view privilege);
  // Takes back what Grant has given in the same words, and gives whether it was there.
  bool Revoke(std::string_view user, std::string_view object, std::string_view privilege);

  // Whether the session's user holds the privilege on this object or on every one. Null, a session that has
  // ended and one without a user hold none. Does not count as an access.
  bool HasPrivilege(const Session* session, std::string_view object, std::string_view privilege) const;

 private:
  // User, object, privilege.
  using Privilege = std::tuple<std::string, std::string, std::string>;
  using PrivilegeView = std::tuple<std::string_view, std::string_view, std::string_view>;
  struct Less {
    using is_transparent = void;
    bool operator()(const PrivilegeView& one, const PrivilegeView& other) const { return one < other; }
  };

  mutable SharedMutex mutex_;
  std::set<Privilege, Less> privileges_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Corvane::Authorize
