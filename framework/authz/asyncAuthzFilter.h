#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "framework/core/asyncApiProvider.h"
#include "framework/core/log.h"
#include "framework/core/message.h"

namespace Mirel {

struct AuthzTag;
template <typename Tag>
struct Message;

// The texts of refusals, as templates for the localizer: the field is {operation}.
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
// an operation that is open to all passes; an anonymous caller is Unauthenticated, whatever it asks for, so
// that it can't find out which operations there are; an operation passes for a caller who holds one of the
// entitlements of its rule; all else is Unauthorized. The rule is that of the operation, else of its
// service, else of the nearest package around it. An operation without any rule is refused, also when it
// does not exist: what nobody has thought of stays shut. Where a rule covers it and the caller is entitled,
// one that does not exist goes on, and the provider says so.
//
// Refusals are answered as jobs of the enqueuer, never in the caller's stack.
class AsyncAuthzFilter final : public Core::AsyncApiProvider {
 public:
  using Enqueuer = std::function<void(std::function<void()>)>;

  AsyncAuthzFilter(Enqueuer enqueuer, std::shared_ptr<Core::AsyncApiProvider> next,
                   std::shared_ptr<const AuthzInfo> info, std::shared_ptr<const EntitlementChecker> checker,
                   std::shared_ptr<Log::Logger> logger);

  // Gives "AsyncAuthzFilter".
  std::string ToString() const override;

  void Invoke(const std::shared_ptr<const Core::MethodIdentifier>& method, const Data::DataValuePtr& input,
              const std::shared_ptr<Core::AsyncActivation>& activation,
              const Core::AsyncApiResultCb& result) override;

 private:
  Data::ErrorValuePtr Decide(const Core::MethodIdentifier& method,
                             const std::shared_ptr<Core::AsyncActivation>& activation) const;
  // Null when there is none.
  const std::set<std::string>* FindRule(const Core::MethodIdentifier& method) const;

  Enqueuer enqueuer_;
  std::shared_ptr<Core::AsyncApiProvider> next_;
  std::shared_ptr<const AuthzInfo> info_;
  std::shared_ptr<const EntitlementChecker> checker_;
  std::shared_ptr<Log::Logger> logger_;
};

}  // namespace Mirel::Authz::Filter
