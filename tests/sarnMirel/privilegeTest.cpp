#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

#include "framework/core/asyncApiProvider.h"
#include "lib/sarnMirel/privilegeCheckerImpl.h"
#include "lib/sarnMirel/refValue.h"
#include "platform/corvane/log.h"
#include "tests/sarnMirel/bridgeEnvironment.h"

namespace SarnMirel::Authz {
namespace {

using namespace Bridge;
using Mirel::Authz::MethodCollectionPrivileges;
using Texts = std::vector<std::string>;

class NamedObject final : public ResolvedObject {
 public:
  explicit NamedObject(std::string name) : name_(std::move(name)) {}
  std::string ToString() const override { return '<' + name_ + '>'; }

 private:
  std::string name_;
};

MethodCollectionPrivileges::value_type Requires(const std::string& object, Texts privileges) {
  return {object, "kind of " + object, "argument", std::make_shared<const Texts>(std::move(privileges))};
}

class PrivilegeTest : public testing::Test {
 protected:
  // Gives the refusal's text, "" when there is none.
  std::string Check(const MethodCollectionPrivileges& required) {
    asked.clear();
    resolved.clear();
    missing.reset();
    int calls = 0;
    std::string text;
    checker.CheckPrivileges(method, Activation({}, authData), required,
                            [&](const auto& refusal, const auto& failed) {
                              ++calls;
                              missing = failed;
                              EXPECT_EQ(refusal == nullptr, failed == nullptr);
                              if (refusal) text = refusal->ToString();
                            });
    EXPECT_EQ(calls, 1);
    return text;
  }

  static std::string Text(const std::string& argument) {
    return "com.tessaly.mirel.std.errors.unauthorized: The caller does not have the privileges that the call "
           "needs: " +
           argument;
  }

  const std::shared_ptr<const Mirel::Core::MethodIdentifier> method =
      std::make_shared<const Mirel::Core::MethodIdentifier>();
  Mirel::Data::DataValuePtr authData;
  SessionRef session;
  std::set<std::string> held;
  Texts asked;
  Texts resolved;
  std::shared_ptr<const MethodCollectionPrivileges> missing;
  Corvane::Ref<Corvane::Service::Logger> logger = Corvane::Service::Logger::Create({.level = 6});
  PrivilegeCheckerImpl checker{
      logger,
      [this](const std::string& object, const std::string& type) {
        resolved.push_back(object + ", " + type);
        return Corvane::MakeRef<NamedObject>(object);
      },
      [this](const auto& call, const auto& itsSession, const auto& object, const std::string& privilege) {
        EXPECT_EQ(call, method);
        EXPECT_EQ(itsSession, session);
        asked.push_back(object->ToString() + privilege);
        return held.contains(object->ToString() + privilege);
      }};
};

TEST_F(PrivilegeTest, NamesAllThatIsMissing) {
  held = {"<x>b", "<y>a", "<y>b", "<z>b"};
  const auto x = Requires("x", {"a", "b", "c"});
  const auto y = Requires("y", {"b", "a"});
  const auto z = Requires("z", {"b", "a"});
  EXPECT_EQ(Check({x}), Text("object: x privileges: a, c"));
  ASSERT_EQ(missing->size(), 1U);
  EXPECT_EQ(*missing->front().privileges, (Texts{"a", "c"}));
  EXPECT_EQ(missing->front().type + ' ' + missing->front().argument, "kind of x argument");
  EXPECT_EQ(*x.privileges, (Texts{"a", "b", "c"}));

  EXPECT_EQ(Check({z, y, x, Requires("empty", {}), {"none", "", "", nullptr}}),
            Text("object: z privileges: a,object: x privileges: a, c"));
  EXPECT_EQ(missing->size(), 2U);
  // Names come from clients: they are arguments of the message, and never its template.
  EXPECT_EQ(Check({Requires("{1}}{9:%n}", {"%s"})}), Text("object: {1}}{9:%n} privileges: %s"));
}

TEST_F(PrivilegeTest, WalksInOrder) {
  Check({Requires("z", {"b", "a"}), Requires("empty", {}), {"none", "", "", nullptr}, Requires("x", {"a"})});
  EXPECT_EQ(asked, (Texts{"<z>b", "<z>a", "<x>a"}));
  EXPECT_EQ(resolved, (Texts{"z, kind of z", "empty, kind of empty", "none, ", "x, kind of x"}));
}

TEST_F(PrivilegeTest, PassesWhoHoldsThemAll) {
  held = {"<x>a"};
  Corvane::CreateSession(1000000, session);
  const auto structure = Mirel::Data::StructValue::GetInstance("");
  structure->SetField("sessionRef", std::make_shared<const RefValue<Corvane::Session>>(session));
  authData = structure;
  EXPECT_EQ(Check({Requires("x", {"a", "a"}), Requires("y", {})}), "");
  EXPECT_EQ(asked.size(), 2U);
  EXPECT_EQ(Check({}), "");
  EXPECT_TRUE(resolved.empty());
}

TEST_F(PrivilegeTest, RefusalsAreLoggedAtLevel7) {
  held = {"<x>a"};
  const auto check = [&] { Check({Requires("x", {"a", "b"})}); };
  EXPECT_EQ(CaptureLog(check), "");
  logger->SetLevel(7);
  const auto log = CaptureLog(check);
  EXPECT_NE(log.find("Result for privilege check on <x> for b failed\n"), log.npos) << log;
  EXPECT_EQ(log.find("for a failed"), log.npos) << log;
}

TEST_F(PrivilegeTest, ExceptionsPassAndNothingIsAnswered) {
  int answers = 0;
  const auto check = [&](const PrivilegeCheckerImpl::ObjectResolver& resolver,
                         const PrivilegeCheckerImpl::PrivilegeTest& test) {
    PrivilegeCheckerImpl(logger, resolver, test)
        .CheckPrivileges(method, Activation({}), {Requires("x", {"a"})},
                         [&](const auto&, const auto&) { ++answers; });
  };
  const auto resolve = [](const auto&, const auto&) { return nullptr; };
  EXPECT_THROW(check(nullptr, [](auto&&...) { return false; }), std::bad_function_call);
  EXPECT_THROW(check(resolve, nullptr), std::bad_function_call);
  EXPECT_THROW(check(resolve, [](auto&&...) -> bool { throw std::runtime_error(""); }), std::runtime_error);
  EXPECT_EQ(answers, 0);
  // An object that is not there has no text, and is no fault.
  logger->SetLevel(7);
  CaptureLog([&] { check(resolve, [](auto&&...) { return false; }); });
  EXPECT_EQ(answers, 1);
}

}  // namespace
}  // namespace SarnMirel::Authz
