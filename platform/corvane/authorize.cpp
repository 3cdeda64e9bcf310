#include "platform/corvane/authorize.h"

#include <cstdint>

#include "platform/corvane/exception.h"
#include "platform/corvane/session.h"

namespace Corvane::Authorize {
namespace {

// From now, in microseconds. Both times may be any that a DateTime holds.
std::int64_t Lifetime(const System::DateTime& now, const System::DateTime& expiry) {
  std::int64_t lifetime = 0;
  if (expiry <= now) return 0;
  return __builtin_sub_overflow(expiry.GetUtcTime(), now.GetUtcTime(), &lifetime) ? ExpiryTimer::kNever
                                                                                  : lifetime;
}

}  // namespace

void AuthorizeManager::GetInstance(Ref<AuthorizeManager>& out) {
  static const auto* const manager = new Ref(MakeRef<AuthorizeManager>());
  out = *manager;
}

void AuthorizeManager::AddConnection(Session* session, const std::string& user,
                                     Ref<System::AuthTokenHelper> login, bool replace,
                                     const ExpiryCallback& expiry) {
  auto data = MakeRef<UserData>(user, std::move(login));
  std::int64_t lifetime = ExpiryTimer::kNever;
  if (expiry) {
    const System::DateTime now = System::GetUtcDateTime();
    lifetime = Lifetime(now, expiry(data.get(), now));
  }
  if (!session->SetUser(std::move(data), replace, lifetime)) {
    throw InvalidStateException("the session belongs to a user already");
  }
}

void AuthorizeManager::Grant(std::string_view user, std::string_view object, std::string_view privilege) {
  const WriterLock lock(mutex_);
  privileges_.emplace(user, object, privilege);
}

bool AuthorizeManager::Revoke(std::string_view user, std::string_view object, std::string_view privilege) {
  const WriterLock lock(mutex_);
  const auto position = privileges_.find(PrivilegeView(user, object, privilege));
  if (position == privileges_.end()) return false;
  privileges_.erase(position);
  return true;
}

bool AuthorizeManager::HasPrivilege(const Session* session, std::string_view object,
                                    std::string_view privilege) const {
  const Ref<UserData> user = session != nullptr ? session->GetUser() : nullptr;
  if (!user) return false;
  const std::string_view name = user->GetUserName();
  const ReaderLock lock(mutex_);
  return privileges_.contains(PrivilegeView(name, object, privilege)) ||
         privileges_.contains(PrivilegeView(name, kEveryObject, privilege));
}

}  // namespace Corvane::Authorize
