#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "framework/core/dataValue.h"
#include "framework/core/executionContext.h"
#include "framework/core/l10n.h"

namespace Mirel::Core {

// All that belongs to one call beside its arguments. The transport makes it, and the links of the provider
// chain fill it in. All who work on the call share it; it has no lock, as one of them uses it at a time.
class AsyncActivation {
 public:
  explicit AsyncActivation(std::shared_ptr<const ExecutionContext> context) : context_(std::move(context)) {}

  static std::shared_ptr<AsyncActivation> GetInstance(std::shared_ptr<const ExecutionContext> context) {
    return std::make_shared<AsyncActivation>(std::move(context));
  }

  const std::shared_ptr<const ExecutionContext>& executionContext() const { return context_; }

  // Who the caller is, as an authentication handler found out; null for an anonymous call.
  const std::shared_ptr<const Data::DataValue>& authData() const { return authData_; }
  void authData(const std::shared_ptr<const Data::DataValue>& value) { authData_ = value; }

  const std::shared_ptr<const L10n::Localizer>& localizer() const { return localizer_; }
  void localizer(std::shared_ptr<const L10n::Localizer> value) { localizer_ = std::move(value); }

  const L10n::LocaleSpec& localeSpec() const { return localeSpec_; }
  void localeSpec(L10n::LocaleSpec value) { localeSpec_ = std::move(value); }

  // Small notes of the links about the call, such as the request's identifier.
  std::map<std::string, std::string>& values() { return values_; }

  // Observers learn that the call has reached the service.
  void AddInvokeObserver(std::function<void()> observer) { invokeObservers_.push_back(std::move(observer)); }
  void NotifyOnInvoke() const {
    for (const auto& observer : invokeObservers_) observer();
  }

  // Observers learn that the service has taken a call whose answer is a stream: it has returned, refused
  // nothing, and keeps the answer object for elements that may come much later.
  void AddAcceptObserver(std::function<void()> observer) { acceptObservers_.push_back(std::move(observer)); }
  void NotifyOnAccept() const {
    for (const auto& observer : acceptObservers_) observer();
  }

 private:
  std::shared_ptr<const ExecutionContext> context_;
  std::shared_ptr<const Data::DataValue> authData_;
  std::shared_ptr<const L10n::Localizer> localizer_;
  L10n::LocaleSpec localeSpec_;
  std::map<std::string, std::string> values_;
  std::vector<std::function<void()>> invokeObservers_;
  std::vector<std::function<void()>> acceptObservers_;
};

struct ActivationHelpers {
  // The operation id that the client sent with the call, just as it came; empty when it sent none.
  static std::string GetActivationOpId(const std::shared_ptr<AsyncActivation>& activation) {
    const auto& context = activation->executionContext();
    if (!context) return {};
    const auto found = context->applicationContext.find("opId");
    return found == context->applicationContext.end() ? std::string() : found->second;
  }
};

}  // namespace Mirel::Core

namespace Mirel {

// Where the identifier of the JSON-RPC request is in an activation's values.
struct RequestIdHelper {
  static void Set(std::map<std::string, std::string>& values, const std::string& id) {
    values.insert_or_assign("requestId", id);
  }
};

}  // namespace Mirel
