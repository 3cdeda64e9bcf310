#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "framework/authz/privilegeChecker.h"
#include "framework/core/asyncApiProvider.h"
#include "framework/core/dataValue.h"
#include "framework/core/log.h"

namespace Mirel {

struct AuthzTag;
template <typename Tag>
struct Message;

// The texts of refusals. Those of the filter are templates for the localizer, with the field {operation};
// that of missing privileges, "mirel.authz.error.no.privs", is one of MakeMessage, with one field.
template <>
struct Message<AuthzTag> {
  static std::string DefaultMessageForId(std::string_view id);
};

}  // namespace Mirel

namespace Mirel::Authz {
struct AuthzInfo;
class EntitlementChecker;
}  // namespace Mirel::Authz

namespace Mirel::Authz::Filter {

// The link of the provider chain that decides whether the caller may call the operation. In this order:
//
// 1. An operation that is open to all passes.
// 2. An anonymous caller is Unauthenticated, whatever it asks for: it can't find out which operations there
//    are.
// 3. A call passes when the caller holds one of the entitlements of the operation's rule. That is the rule of
//    the operation, else of its service, else of the nearest package around it.
// 4. All else is Unauthorized, operations without any rule among it, whether they exist or not.
//
// An operation that doesn't exist, but is covered by a rule, passes; the provider then says that there is
// none.
//
// Privileges on objects, where the metadata asks for them, come on top of that, also for an open operation:
// the privilege checker looks at the objects that the call names, and says whether it passes. The call is
// refused when there is no checker, and when an argument that should name objects doesn't.
//
// Refusals are answered as jobs of the enqueuer, never in the caller's stack.
class AsyncAuthzFilter final : public Core::AsyncApiProvider {
 public:
  using Enqueuer = std::function<void(std::function<void()>)>;

  AsyncAuthzFilter(Enqueuer enqueuer, std::shared_ptr<Core::AsyncApiProvider> next,
                   std::shared_ptr<const AuthzInfo> info, std::shared_ptr<const EntitlementChecker> checker,
                   std::shared_ptr<Log::Logger> logger,
                   std::shared_ptr<PrivilegeChecker> privilegeChecker = nullptr);

  // Gives "AsyncAuthzFilter".
  std::string ToString() const override;

  void Invoke(const std::shared_ptr<const Core::MethodIdentifier>& method, const Data::DataValuePtr& input,
              const std::shared_ptr<Core::AsyncActivation>& activation,
              const Core::AsyncApiResultCb& result) override;

 private:
  Data::ErrorValuePtr Decide(const Core::MethodIdentifier& method,
                             const std::shared_ptr<Core::AsyncActivation>& activation) const;
  // Answers, or goes on to the next link, when the checker has called back.
  void CheckPrivileges(const MethodCollectionPrivileges& rules,
                       const std::shared_ptr<const Core::MethodIdentifier>& method,
                       const Data::DataValuePtr& input,
                       const std::shared_ptr<Core::AsyncActivation>& activation,
                       const Core::AsyncApiResultCb& result) const;
  // Null when there is none.
  const std::set<std::string>* FindRule(const Core::MethodIdentifier& method) const;

  Enqueuer enqueuer_;
  std::shared_ptr<Core::AsyncApiProvider> next_;
  std::shared_ptr<const AuthzInfo> info_;
  std::shared_ptr<const EntitlementChecker> checker_;
  std::shared_ptr<Log::Logger> logger_;
  std::shared_ptr<PrivilegeChecker> privilegeChecker_;
};

}  // namespace Mirel::Authz::Filter
