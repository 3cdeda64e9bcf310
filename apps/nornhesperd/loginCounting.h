#pragma once

#include <memory>
#include <set>
#include <string>

#include "framework/authz/entitlementChecker.h"
#include "framework/core/counter.h"
#include "framework/provider/authnHandler.h"

namespace NornHesper {

// Counts the callers that another handler refuses. Requires: that one calls back on the counter's thread.
class CountingAuthnHandler final : public Mirel::Authn::AuthnHandler {
 public:
  CountingAuthnHandler(std::shared_ptr<AuthnHandler> handler, Mirel::Counter& refused)
      : handler_(std::move(handler)), refused_(refused) {}

  void AsyncAuthenticate(const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                         Callback callback) override;

 private:
  std::shared_ptr<AuthnHandler> handler_;
  Mirel::Counter& refused_;
};

// Counts the callers that another checker finds not entitled.
class CountingEntitlementChecker final : public Mirel::Authz::EntitlementChecker {
 public:
  CountingEntitlementChecker(std::shared_ptr<const EntitlementChecker> checker, Mirel::Counter& refused)
      : checker_(std::move(checker)), refused_(refused) {}

  bool IsEntitled(const Mirel::Data::DataValue& authData,
                  const std::set<std::string>& demanded) const override;

 private:
  std::shared_ptr<const EntitlementChecker> checker_;
  Mirel::Counter& refused_;
};

}  // namespace NornHesper
