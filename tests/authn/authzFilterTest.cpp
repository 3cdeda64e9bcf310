#include "framework/authz/asyncAuthzFilter.h"

#include <gtest/gtest.h>

#include <vector>

#include "framework/authz/authzInfo.h"
#include "framework/authz/entitlementChecker.h"
#include "framework/provider/localization.h"
#include "tests/authn/chainEnd.h"

namespace Mirel::Authz::Filter {
namespace {

// The caller's one entitlement is the name of its authentication data.
class NameChecker final : public EntitlementChecker {
 public:
  bool IsEntitled(const Data::DataValue& authData, const std::set<std::string>& demanded) const override {
    return demanded.contains(dynamic_cast<const Data::StructValue&>(authData).name());
  }
};

constexpr const char* kUnauthenticated = "com.tessaly.mirel.std.errors.unauthenticated";
const std::string kUnauthorized = "com.tessaly.mirel.std.errors.unauthorized";

class AuthzFilterTest : public testing::Test {
 protected:
  AuthzFilterTest() {
    info->operationEntitlements["p.q.s.op"] = {"OP", "ALT"};
    info->serviceEntitlements["p.q.s"] = {"SERVICE"};
    info->packageEntitlements["p.q"] = {"NEAR"};
    info->packageEntitlements["p"] = {"FAR"};
  }

  std::string Ask(const char* service, const char* operation, const char* entitlement) {
    const auto activation = Core::AsyncActivation::GetInstance(nullptr);
    activation->localizer(L10n::LocalizerHelpers::GetDefaultLocalizer());
    if (entitlement) activation->authData(Data::StructValue::GetInstance(entitlement));
    std::string answer;
    filter.Invoke(std::make_shared<const Core::MethodIdentifier>(Core::MethodIdentifier{service, operation}),
                  nullptr, activation, Core::AsyncApiResultCb([&](const auto& result, const auto&, auto&&) {
                    EXPECT_TRUE(answer.empty());
                    answer = result->error ? result->error->ToString() : "served";
                  }));
    EXPECT_EQ(jobs.empty(), answer == "served") << "a refusal is a job";
    for (const auto& job : jobs) job();
    jobs.clear();
    return answer;
  }

  std::shared_ptr<AuthzInfo> info = std::make_shared<AuthzInfo>();
  std::vector<std::function<void()>> jobs;
  AsyncAuthzFilter filter{[this](std::function<void()> job) { jobs.push_back(std::move(job)); },
                          std::make_shared<ChainEnd>(), info, std::make_shared<NameChecker>(), nullptr};
};

TEST_F(AuthzFilterTest, AnonymousCallersReachWhatIsOpenAndLearnNothingElse) {
  EXPECT_EQ(Ask("com.tessaly.mirel.std.introspection.service", "list", nullptr), "served");
  EXPECT_EQ(Ask("com.tessaly.mirel.std.introspection.service", "list", "ANY"), "served");
  for (const char* service : {"p.q.s", "p", "no.such", ""})
    EXPECT_EQ(Ask(service, "op", nullptr), kUnauthenticated) << service;
}

TEST_F(AuthzFilterTest, TheNearestRuleDecidesAlone) {
  struct Case {
    const char* service;
    const char* operation;
    const char* entitled;
    const char* tooFar;
  };
  const std::vector<Case> cases = {
      {"p.q.s", "op", "OP", "SERVICE"}, {"p.q.s", "op", "ALT", "NEAR"},   {"p.q.s", "other", "SERVICE", "OP"},
      {"p.q.t", "op", "NEAR", "FAR"},   {"p.t.u.v", "op", "FAR", "NEAR"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(Ask(test.service, test.operation, test.entitled), "served") << test.service;
    EXPECT_EQ(Ask(test.service, test.operation, test.tooFar),
              kUnauthorized + ": The caller is not entitled to call the operation " + test.service + "." +
                  test.operation + ".");
  }
}

TEST_F(AuthzFilterTest, WhatNoRuleCoversIsShut) {
  for (const char* service : {"pq.s", "q", "p", ""}) {
    EXPECT_EQ(Ask(service, "{op}", "FAR"),
              kUnauthorized + ": No rule opens the operation " + service + ".{op} to any caller.");
  }
}

}  // namespace
}  // namespace Mirel::Authz::Filter
