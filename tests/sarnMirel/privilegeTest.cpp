#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

#include "framework/core/methodIdentifier.h"
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
  EXPECT_EQ(asked, (Texts{"<z>b", "<z>a", "<y>b", "<y>a", "<x>a", "<x>b", "<x>c"}));
  EXPECT_EQ(resolved,
            (Texts{"z, kind of z", "y, kind of y", "x, kind of x", "empty, kind of empty", "none, "}));
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

// Names come from clients: they are arguments of the message, and never its template.
TEST_F(PrivilegeTest, HostileNamesStayAsTheyAre) {
  EXPECT_EQ(Check({Requires("{1}}{9:%n}", {"%s"})}), Text("object: {1}}{9:%n} privileges: %s"));
}

TEST_F(PrivilegeTest, RefusalsAreLoggedAtLevel7) {
  const MethodCollectionPrivileges required{Requires("x", {"a", "b"})};
  EXPECT_EQ(CaptureLog([&] { Check(required); }), "");
  logger->SetLevel(7);
  held = {"<x>a"};
  const auto log = CaptureLog([&] { Check(required); });
  EXPECT_NE(log.find("Result for privilege check on <x> for b failed"), std::string::npos) << log;
  EXPECT_EQ(log.find("for a failed"), std::string::npos) << log;
}

TEST_F(PrivilegeTest, ExceptionsPassAndNothingIsAnswered) {
  const PrivilegeCheckerImpl::ObjectResolver nothing = [](const auto&, const auto&) { return nullptr; };
  const PrivilegeCheckerImpl::PrivilegeTest failing = [](const auto&, const auto&, const auto& object,
                                                         const auto& privilege) {
    if (privilege == "throw") throw std::runtime_error("failed");
    return object != nullptr;
  };
  const auto check = [&](const auto& resolver, const auto& test, const std::string& privilege) {
    PrivilegeCheckerImpl faulty(logger, resolver, test);
    faulty.CheckPrivileges(method, Activation({}), {Requires("x", {privilege})},
                           [](const auto&, const auto&) { ADD_FAILURE() << "answered"; });
  };
  EXPECT_THROW(check(nullptr, failing, "a"), std::bad_function_call);
  EXPECT_THROW(check(nothing, nullptr, "a"), std::bad_function_call);
  EXPECT_THROW(check(nothing, failing, "throw"), std::runtime_error);

  logger->SetLevel(7);
  PrivilegeCheckerImpl withoutObjects(logger, nothing, failing);
  std::string text;
  CaptureLog([&] {
    withoutObjects.CheckPrivileges(method, Activation({}), {Requires("x", {"a"})},
                                   [&](const auto& refusal, const auto&) { text = refusal->ToString(); });
  });
  EXPECT_EQ(text, Text("object: x privileges: a"));
}

}  // namespace
}  // namespace SarnMirel::Authz
