#include "framework/authz/asyncAuthzFilter.h"

#include <gtest/gtest.h>

#include <utility>
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

// Keeps what it is asked for, and answers when the test does.
class KeepingChecker final : public PrivilegeChecker {
 public:
  void CheckPrivileges(const std::shared_ptr<const Core::MethodIdentifier>& method,
                       const std::shared_ptr<Core::AsyncActivation>& /*activation*/,
                       const MethodCollectionPrivileges& privileges, const Callback& itsCallback) override {
    for (const auto& each : privileges) {
      asked += method->operation + ' ' + each.type + ' ' + each.object + ' ' + each.privileges->front() + ';';
    }
    callback = itsCallback;
  }

  std::string asked;
  Callback callback;
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
    return Ask(filter, service, operation, entitlement, nullptr);
  }

  std::string Ask(Core::AsyncApiProvider& asked, const char* service, const char* operation,
                  const char* entitlement, const Data::DataValuePtr& input) {
    const auto activation = Core::AsyncActivation::GetInstance(nullptr);
    activation->localizer(L10n::LocalizerHelpers::GetDefaultLocalizer());
    if (entitlement) activation->authData(Data::StructValue::GetInstance(entitlement));
    std::string answer;
    asked.Invoke(std::make_shared<const Core::MethodIdentifier>(Core::MethodIdentifier{service, operation}),
                 input, activation, Core::AsyncApiResultCb([&](const auto& result, const auto&, auto&&) {
                   EXPECT_TRUE(answer.empty());
                   answer = result->error ? result->error->ToString() : "served";
                 }));
    if (checker->callback) std::exchange(checker->callback, nullptr)(refusal, nullptr);
    EXPECT_EQ(jobs.empty(), answer == "served") << "a refusal is a job";
    for (const auto& job : jobs) job();
    jobs.clear();
    return answer;
  }

  std::shared_ptr<AuthzInfo> info = std::make_shared<AuthzInfo>();
  std::shared_ptr<KeepingChecker> checker = std::make_shared<KeepingChecker>();
  // What the checker answers.
  Data::ErrorValuePtr refusal;
  std::vector<std::function<void()>> jobs;
  AsyncAuthzFilter filter{[this](std::function<void()> job) { jobs.push_back(std::move(job)); },
                          std::make_shared<ChainEnd>(), info, std::make_shared<NameChecker>(), nullptr};
};

TEST_F(AuthzFilterTest, AnonymousCallersReachWhatIsOpenAndLearnNothingElse) {
  EXPECT_EQ(Ask("com.tessaly.mirel.std.introspection.service", "list", nullptr), "served");
  EXPECT_EQ(Ask("com.tessaly.mirel.std.introspection.service", "list", "ANY"), "served");
  for (const char* service : {"p.q.s", "p", "no.such", ""}) {
    EXPECT_EQ(Ask(service, "op", nullptr), kUnauthenticated) << service;
  }
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

class AuthzPrivilegesTest : public AuthzFilterTest {
 protected:
  AuthzPrivilegesTest() {
    const auto view = std::make_shared<const std::vector<std::string>>(1, "View");
    info->operationPrivileges["p.q.s.op"] = {{"root", "folder", "", view}, {"", "vm", "spec.vm", view}};
    info->operationPrivileges["new.s.op"] = {{"root", "folder", "", view}};
    const std::string open = "com.tessaly.mirel.std.introspection.service.get";
    info->operationPrivileges[open] = info->operationPrivileges["new.s.op"];
  }

  static Data::DataValuePtr Input(Data::DataValuePtr vm) {
    const auto spec = Data::StructValue::GetInstance("");
    spec->SetField("vm", std::move(vm));
    const auto input = Data::StructValue::GetInstance("");
    input->SetField("spec", spec);
    return input;
  }

  static Data::DataValuePtr Vms(std::initializer_list<Data::DataValuePtr> names) {
    auto list = Data::ListValue::GetInstance();
    for (const auto& name : names) list->Add(name);
    return list;
  }

  // Gives what the checker was asked, and the answer when there is one other than "served".
  std::string Check(const char* service, const char* entitlement, const Data::DataValuePtr& input) {
    AsyncAuthzFilter checked([this](std::function<void()> job) { jobs.push_back(std::move(job)); },
                             std::make_shared<ChainEnd>(), info, std::make_shared<NameChecker>(), nullptr,
                             checker);
    checker->asked.clear();
    const auto answer = Ask(checked, service, "op", entitlement, input);
    return checker->asked + (answer == "served" ? "" : answer);
  }
};

TEST_F(AuthzPrivilegesTest, AreCheckedOnEachObjectThatTheCallNames) {
  const auto x = Data::DataValue::Create("x");
  const auto y = Data::DataValue::Create("y");
  const std::string root = "op folder root View;";
  EXPECT_EQ(Check("p.q.s", "OP", Input(x)), root + "op vm x View;");
  EXPECT_EQ(Check("p.q.s", "OP", Input(Vms({y, x}))), root + "op vm y View;op vm x View;");
  EXPECT_EQ(Check("p.q.s", "OP", Input(std::make_shared<Data::OptionalValue>(x))), root + "op vm x View;");
  const auto noObject = kUnauthorized + ": The call of p.q.s.op does not name the objects that it is about.";
  for (const Data::DataValuePtr& vm :
       {Data::DataValuePtr(), Data::DataValue::Create(""), Data::DataValue::Create(true), Vms({x, nullptr}),
        Vms({Vms({x})}), Vms({})}) {
    EXPECT_EQ(Check("p.q.s", "OP", Input(vm)), noObject);
  }
  EXPECT_EQ(Check("p.q.s", "OP", nullptr), noObject);
  refusal = Data::ErrorValue::Create("refused", {});
  EXPECT_EQ(Check("p.q.s", "OP", Input(x)), root + "op vm x View;refused");
}

TEST_F(AuthzPrivilegesTest, StandBesideTheOtherRules) {
  EXPECT_EQ(Check("p.q.s", nullptr, nullptr), kUnauthenticated);
  EXPECT_EQ(Check("p.q.s", "FAR", nullptr),
            kUnauthorized + ": The caller is not entitled to call the operation p.q.s.op.");
  // They are the rule of an operation that has no other one.
  EXPECT_EQ(Check("new.s", "ANY", nullptr), "op folder root View;");
  EXPECT_EQ(Check("new.s", nullptr, nullptr), kUnauthenticated);
  EXPECT_EQ(Check("p.q.t", "NEAR", nullptr), "");
}

TEST_F(AuthzPrivilegesTest, NobodyPassesWithoutAChecker) {
  const std::string end = ": The caller may not call the operation ";
  EXPECT_EQ(Ask("new.s", "op", "ANY"), kUnauthorized + end + "new.s.op.");
  EXPECT_EQ(Ask("com.tessaly.mirel.std.introspection.service", "get", nullptr),
            kUnauthorized + end + "com.tessaly.mirel.std.introspection.service.get.");
}

}  // namespace
}  // namespace Mirel::Authz::Filter
