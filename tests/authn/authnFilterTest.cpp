#include "framework/provider/asyncAuthnFilter.h"

#include <gtest/gtest.h>

#include <vector>

#include "framework/provider/authnHandler.h"
#include "tests/authn/chainEnd.h"

namespace Mirel::Authn::Filter {
namespace {

class ScriptedHandler final : public AuthnHandler {
 public:
  explicit ScriptedHandler(Data::DataValuePtr answer) : answer_(std::move(answer)) {}
  void AsyncAuthenticate(const std::shared_ptr<Core::AsyncActivation>& /*activation*/,
                         Callback callback) override {
    ++asked;
    callback(answer_);
  }

  int asked = 0;

 private:
  Data::DataValuePtr answer_;
};

const Data::DataValuePtr kNone = nullptr;
const Data::DataValuePtr kFirst = Data::StructValue::GetInstance("first");
const Data::DataValuePtr kSecond = Data::StructValue::GetInstance("second");
const Data::DataValuePtr kRefused = ErrorValue::Create("refused", {});

TEST(AsyncAuthnFilterTest, ChainOfTwoHandlers) {
  struct Case {
    Data::DataValuePtr first;
    Data::DataValuePtr second;
    std::string answer;
    Data::DataValuePtr authData;
    int secondAsked;
  };
  const std::vector<Case> cases = {
      {kFirst, kSecond, "served", kFirst, 0}, {kRefused, kSecond, "refused", kNone, 0},
      {kNone, kSecond, "served", kSecond, 1}, {kNone, kRefused, "refused", kNone, 1},
      {kNone, kNone, "served", kNone, 1},
  };
  for (const auto& test : cases) {
    const auto end = std::make_shared<ChainEnd>();
    const auto second = std::make_shared<ScriptedHandler>(test.second);
    const auto first = std::make_shared<ScriptedHandler>(test.first);
    AsyncAuthnFilter chain(std::make_shared<AsyncAuthnFilter>(end, second), first);
    const auto activation = Core::AsyncActivation::GetInstance(nullptr);
    EXPECT_EQ(Call(chain, activation), test.answer);
    EXPECT_EQ(end->calls, test.answer == "served" ? 1 : 0);
    EXPECT_EQ(activation->authData(), test.authData);
    EXPECT_EQ(first->asked, 1);
    EXPECT_EQ(second->asked, test.secondAsked);
  }
}

}  // namespace
}  // namespace Mirel::Authn::Filter
