#include "apps/nornhesperd/registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/publication.h"
#include "tests/intake/intakeEnvironment.h"

namespace {

using Intake::GoodText;
using testing::ElementsAre;

class RegistryTest : public testing::Test {
 protected:
  // Puts the publications' sequences, each after the subscription's id, into the calls.
  std::uint64_t RegisterRecorder() {
    const auto id = std::make_shared<std::uint64_t>();
    return *id = registry_.Register([this, id](const NornHesper::PublicationPtr& publication) {
      calls_.push_back(*id);
      calls_.push_back(publication->sequence);
    });
  }

  bool Publish(const std::string& text) {
    const auto outcome = registry_.Publish(text.data(), text.size(), nullptr);
    return outcome.hasSequence && !outcome.errors.HasErrors();
  }

  // What the posted handlers call.
  std::vector<std::uint64_t> Deliver() {
    auto& ioService = NornHesper::GlobalContext::Get()->GetIoService();
    ioService.restart();
    ioService.poll();
    return std::exchange(calls_, {});
  }

  NornHesper::Registry registry_;
  std::vector<std::uint64_t> calls_;
};

TEST_F(RegistryTest, LivePublicationsReachAllInOrder) {
  RegisterRecorder();
  const std::uint64_t last = RegisterRecorder();
  EXPECT_TRUE(Publish(GoodText(10)) && Publish(GoodText(11)) && !Publish(GoodText(12) + "}"));
  EXPECT_TRUE(calls_.empty());  // not on the publishing thread
  EXPECT_THAT(Deliver(), ElementsAre(0, 10, 1, 10, 0, 11, 1, 11));
  registry_.Unregister(last);
  registry_.Unregister(last);
  EXPECT_EQ(RegisterRecorder(), last + 1);  // ids are not given out again
}

TEST_F(RegistryTest, AddressedPublicationsFollowTheirList) {
  for (int i = 0; i < 6; ++i) RegisterRecorder();
  EXPECT_TRUE(Publish(GoodText(1, R"(,"subscribers":[5,2,99,5])")) &&
              Publish(GoodText(2, R"(,"subscribers":77)")));
  EXPECT_THAT(Deliver(), ElementsAre(5, 1, 2, 1, 5, 1));
}

TEST_F(RegistryTest, RepetitionsAreCountedForWhoCanTakeThemAtOnce) {
  RegisterRecorder();
  registry_.Register(
      [this](const NornHesper::PublicationPtr&) { calls_.push_back(100); },
      [this](const NornHesper::PublicationPtr&, std::uint64_t times) { calls_.push_back(times); });
  EXPECT_TRUE(Publish(GoodText(7, R"(,"subscribers":[0,1,1,0,9,1])")) &&
              Publish(GoodText(8, R"(,"subscribers":[1])")) && Publish(GoodText(9)));
  EXPECT_THAT(Deliver(), ElementsAre(0, 7, 3, 0, 7, 100, 0, 9, 100));
}

TEST_F(RegistryTest, DispatchGoesByTheSubscriptionsOfItsStart) {
  // Takes itself and the next one away, and adds a third.
  registry_.Register([this](const NornHesper::PublicationPtr&) {
    registry_.Unregister(0);
    registry_.Unregister(1);
    RegisterRecorder();
  });
  RegisterRecorder();
  EXPECT_TRUE(Publish(GoodText(1)) && Publish(GoodText(2)));
  EXPECT_THAT(Deliver(), ElementsAre(1, 1, 2, 2));
}

}  // namespace
