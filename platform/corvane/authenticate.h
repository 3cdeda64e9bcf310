#pragma once

#include <string>
#include <utility>

#include "platform/corvane/object.h"

namespace Corvane::System {

class LoginBudget;

// A login whose password was right and whose account is in force.
class AuthTokenHelper final : public ObjectImpl {
 public:
  explicit AuthTokenHelper(std::string userName) : userName_(std::move(userName)) {}

  const std::string& GetUserName() const { return userName_; }

 private:
  std::string userName_;
};

// Checks a user of this host through PAM, as the service "nornhesperd", and gives true and the login, or
// false and null. An empty name, one of more than 256 bytes, a password of more than 1024 bytes and a NUL in
// either are refused without asking PAM, and so is an empty password by it. Why a login is refused is said to
// nobody.
//
// The call blocks for as long as PAM takes, some tens of milliseconds for one of today's password hashes. A
// fail delay that modules ask for is not waited. So that a flood of passwords can't hold up the caller's
// thread, all checks of the process share one LoginBudget; when it is used up, logins are refused at once,
// right passwords among them, until there is something in it again, some seconds a check, and the log has a
// line when that begins. That is the price: a flood keeps root's password out too. Other ways to authenticate
// are not touched by it. A check that root passes costs nothing; other users' do, or one of them could use up
// the thread with a right password.
//
// Whoever is named, what is not root's right password takes as long as the longest such check so far, up to
// 100 ms: PAM itself is quicker with a name that the host doesn't have.
bool AuthenticateUser(const std::string& user, const std::string& password, Ref<AuthTokenHelper>& out);

// The same as another service, on a budget of the caller's.
bool AuthenticateUser(const std::string& user, const std::string& password, const char* service,
                      LoginBudget& budget, Ref<AuthTokenHelper>& out);

}  // namespace Corvane::System
