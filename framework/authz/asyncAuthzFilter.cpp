#include "framework/authz/asyncAuthzFilter.h"

#include <system_error>
#include <utility>

#include "framework/authz/authzInfo.h"
#include "framework/authz/entitlementChecker.h"
#include "framework/authz/touchedObjects.h"
#include "framework/core/asyncActivation.h"
#include "framework/core/l10n.h"
#include "framework/provider/errorFactory.h"
#include "platform/corvane/textEscape.h"

namespace Mirel {
namespace {

constexpr const char* kNotEntitled = "mirel.authz.not.entitled";
constexpr const char* kNoRule = "mirel.authz.no.rule";
constexpr const char* kNoPrivileges = "mirel.authz.error.no.privs";
constexpr const char* kNoChecker = "mirel.authz.no.privilege.checker";
constexpr const char* kNoObject = "mirel.authz.no.object";

}  // namespace

std::string Message<AuthzTag>::DefaultMessageForId(std::string_view id) {
  if (id == kNotEntitled) return "The caller is not entitled to call the operation {operation}.";
  if (id == kNoRule) return "No rule opens the operation {operation} to any caller.";
  if (id == kNoPrivileges) return "The caller does not have the privileges that the call needs: {1}";
  if (id == kNoObject) return "The call of {operation} does not name the objects that it is about.";
  return "The caller may not call the operation {operation}.";
}

namespace Authz::Filter {
namespace {

Data::ErrorValuePtr MakeUnauthorized(const char* id, const std::string& operation,
                                     const std::shared_ptr<Core::AsyncActivation>& activation) {
  const NamedMessageBuilder message{
      id, Message<AuthzTag>::DefaultMessageForId(id), {{"operation", operation}}};
  return Data::ErrorFactory::GetError(
      Com::Tessaly::Mirel::Std::Errors::Unauthorized(),
      L10n::LocalizableMessageHelpers::ConvertMessages({message}, activation));
}

Data::ErrorValuePtr MakeUnauthenticated() {
  return Data::ErrorFactory::GetError(Com::Tessaly::Mirel::Std::Errors::Unauthenticated(),
                                      Data::ListValue::GetInstance());
}

void Refuse(const AsyncAuthzFilter::Enqueuer& enqueuer, const std::shared_ptr<Log::Logger>& logger,
            const Core::MethodIdentifier& method, const Core::AsyncApiResultCb& result,
            Data::ErrorValuePtr refusal) {
  Log::Write(logger, Log::SeverityLevel::Debug, "Refused: ", Corvane::Detail::EscapeName(method.ToString()),
             ": ", refusal->name());
  enqueuer([result, refusal = std::move(refusal)] {
    result(Core::MethodResult::GetErrorInstance(refusal), Progress{}, nullptr);
  });
}

const std::set<std::string>* Find(const EntitlementTable& table, const std::string& name) {
  const auto entry = table.find(name);
  return entry == table.end() ? nullptr : &entry->second;
}

}  // namespace

AsyncAuthzFilter::AsyncAuthzFilter(Enqueuer enqueuer, std::shared_ptr<Core::AsyncApiProvider> next,
                                   std::shared_ptr<const AuthzInfo> info,
                                   std::shared_ptr<const EntitlementChecker> checker,
                                   std::shared_ptr<Log::Logger> logger,
                                   std::shared_ptr<PrivilegeChecker> privilegeChecker)
    : enqueuer_(std::move(enqueuer)),
      next_(std::move(next)),
      info_(std::move(info)),
      checker_(std::move(checker)),
      logger_(std::move(logger)),
      privilegeChecker_(std::move(privilegeChecker)) {}

std::string AsyncAuthzFilter::ToString() const {
  return "AsyncAuthzFilter";
}

void AsyncAuthzFilter::Invoke(const std::shared_ptr<const Core::MethodIdentifier>& method,
                              const Data::DataValuePtr& input,
                              const std::shared_ptr<Core::AsyncActivation>& activation,
                              const Core::AsyncApiResultCb& result) {
  const auto rules = info_->operationPrivileges.find(method->ToString());
  if (auto refusal = Decide(*method, activation)) {
    Refuse(enqueuer_, logger_, *method, result, std::move(refusal));
  } else if (rules == info_->operationPrivileges.end()) {
    next_->Invoke(method, input, activation, result);
  } else {
    CheckPrivileges(rules->second, method, input, activation, result);
  }
}

void AsyncAuthzFilter::CheckPrivileges(const MethodCollectionPrivileges& rules,
                                       const std::shared_ptr<const Core::MethodIdentifier>& method,
                                       const Data::DataValuePtr& input,
                                       const std::shared_ptr<Core::AsyncActivation>& activation,
                                       const Core::AsyncApiResultCb& result) const {
  const auto required = TouchedObjects(rules, input);
  if (!required || !privilegeChecker_) {
    Refuse(enqueuer_, logger_, *method, result,
           MakeUnauthorized(required ? kNoChecker : kNoObject, method->ToString(), activation));
    return;
  }
  // The checker may answer when the filter is gone.
  privilegeChecker_->CheckPrivileges(method, activation, *required,
                                     [=, enqueuer = enqueuer_, logger = logger_, next = next_](
                                         const Data::ErrorValuePtr& refusal, const auto& /*missing*/) {
                                       if (refusal) {
                                         Refuse(enqueuer, logger, *method, result, refusal);
                                       } else {
                                         next->Invoke(method, input, activation, result);
                                       }
                                     });
}

Data::ErrorValuePtr AsyncAuthzFilter::Decide(const Core::MethodIdentifier& method,
                                             const std::shared_ptr<Core::AsyncActivation>& activation) const {
  const auto operation = method.ToString();
  if (info_->openOperations.contains(operation)) return nullptr;
  if (!activation->authData()) return MakeUnauthenticated();
  const auto* rule = FindRule(method);
  if (!rule && info_->operationPrivileges.contains(operation)) return nullptr;
  if (!rule) return MakeUnauthorized(kNoRule, operation, activation);
  if (checker_->IsEntitled(*activation->authData(), *rule)) return nullptr;
  return MakeUnauthorized(kNotEntitled, operation, activation);
}

const std::set<std::string>* AsyncAuthzFilter::FindRule(const Core::MethodIdentifier& method) const {
  if (const auto* rule = Find(info_->operationEntitlements, method.ToString())) return rule;
  if (const auto* rule = Find(info_->serviceEntitlements, method.service)) return rule;
  std::string package = method.service;
  for (auto dot = package.rfind('.'); dot != std::string::npos; dot = package.rfind('.')) {
    package.resize(dot);
    if (const auto* rule = Find(info_->packageEntitlements, package)) return rule;
  }
  return nullptr;
}

}  // namespace Authz::Filter
}  // namespace Mirel
