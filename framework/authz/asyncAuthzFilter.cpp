#include "framework/authz/asyncAuthzFilter.h"

#include <system_error>
#include <utility>

#include "framework/authz/authzInfo.h"
#include "framework/authz/entitlementChecker.h"
#include "framework/core/asyncActivation.h"
#include "framework/core/l10n.h"
#include "framework/provider/errorFactory.h"

namespace Mirel {
namespace {

constexpr const char* kNotEntitled = "mirel.authz.not.entitled";
constexpr const char* kNoRule = "mirel.authz.no.rule";

}  // namespace

std::string Message<AuthzTag>::DefaultMessageForId(std::string_view id) {
  if (id == kNotEntitled) return "The caller is not entitled to call the operation {operation}.";
  if (id == kNoRule) return "No rule opens the operation {operation} to any caller.";
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

const std::set<std::string>* Find(const EntitlementTable& table, const std::string& name) {
  const auto entry = table.find(name);
  return entry == table.end() ? nullptr : &entry->second;
}

}  // namespace

AsyncAuthzFilter::AsyncAuthzFilter(Enqueuer enqueuer, std::shared_ptr<Core::AsyncApiProvider> next,
                                   std::shared_ptr<const AuthzInfo> info,
                                   std::shared_ptr<const EntitlementChecker> checker,
                                   std::shared_ptr<Log::Logger> logger)
    : enqueuer_(std::move(enqueuer)),
      next_(std::move(next)),
      info_(std::move(info)),
      checker_(std::move(checker)),
      logger_(std::move(logger)) {}

std::string AsyncAuthzFilter::ToString() const {
  return "AsyncAuthzFilter";
}

void AsyncAuthzFilter::Invoke(const std::shared_ptr<const Core::MethodIdentifier>& method,
                              const Data::DataValuePtr& input,
                              const std::shared_ptr<Core::AsyncActivation>& activation,
                              const Core::AsyncApiResultCb& result) {
  auto refusal = Decide(*method, activation);
  if (!refusal) {
    next_->Invoke(method, input, activation, result);
    return;
  }
  Log::Write(logger_, Log::SeverityLevel::Debug, "Refused: ", method->ToString(), ": ", refusal->name());
  enqueuer_([result, refusal = std::move(refusal)] {
    result(Core::MethodResult::GetErrorInstance(refusal), Progress{}, nullptr);
  });
}

Data::ErrorValuePtr AsyncAuthzFilter::Decide(const Core::MethodIdentifier& method,
                                             const std::shared_ptr<Core::AsyncActivation>& activation) const {
  const auto operation = method.ToString();
  if (info_->openOperations.contains(operation)) return nullptr;
  if (!activation->authData()) return MakeUnauthenticated();
  const auto* rule = FindRule(method);
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
