#include "apps/nornhesperd/registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/publication.h"
#include "tests/intake/intakeEnvironment.h"

namespace {

using Intake::GoodText;
using NornHesper::PublicationPtr;
using NornHesper::PublishOutcome;
using NornHesper::Registry;
using testing::ElementsAre;

class RegistryTest : public testing::Test {
 protected:
  uint64_t RegisterRecorder(std::vector<uint64_t>& calls) {
    const auto id = std::make_shared<uint64_t>();
    *id = registry_.Register([id, &calls](const PublicationPtr&) { calls.push_back(*id); });
    return *id;
  }

  PublishOutcome Publish(const std::string& text) {
    return registry_.Publish(text.data(), text.size(), Intake::SomeVm());
  }

  // Runs what was posted, and gives the number of handlers.
  static size_t RunPosted() {
    auto& ioService = NornHesper::GlobalContext::Get()->GetIoService();
    ioService.restart();
    return ioService.poll();
  }

  Registry registry_;
};

TEST_F(RegistryTest, LivePublicationReachesAllInOrderOfIdAndOfPublishing) {
  std::vector<uint64_t> calls;
  EXPECT_EQ(RegisterRecorder(calls), 0U);
  EXPECT_EQ(RegisterRecorder(calls), 1U);
  std::vector<uint64_t> sequences;
  const uint64_t third = registry_.Register(
      [&](const PublicationPtr& publication) { sequences.push_back(publication->sequence); });
  for (const uint64_t sequence : {10, 11}) {
    const PublishOutcome outcome = Publish(GoodText(sequence));
    EXPECT_FALSE(outcome.errors.HasErrors());
    EXPECT_EQ(outcome.sequence, sequence);
  }
  EXPECT_TRUE(calls.empty());  // nothing is delivered on the publishing thread
  EXPECT_EQ(RunPosted(), 2U);
  EXPECT_THAT(calls, ElementsAre(0, 1, 0, 1));
  EXPECT_THAT(sequences, ElementsAre(10, 11));

  registry_.Unregister(third);
  registry_.Unregister(third);
  EXPECT_EQ(registry_.Register([](const PublicationPtr&) {}), third + 1);  // ids are not given out again
}

TEST_F(RegistryTest, AddressedPublicationFollowsItsList) {
  std::vector<uint64_t> calls;
  for (int i = 0; i < 6; ++i) {
    RegisterRecorder(calls);
  }
  EXPECT_FALSE(Publish(GoodText(1, R"(,"subscribers":[5,2,99,5])")).errors.HasErrors());
  RunPosted();
  EXPECT_THAT(calls, ElementsAre(5, 2, 5));
  EXPECT_FALSE(Publish(GoodText(1, R"(,"subscribers":3)")).errors.HasErrors());
  RunPosted();
  EXPECT_THAT(calls, ElementsAre(5, 2, 5, 3));
  EXPECT_FALSE(Publish(GoodText(1, R"(,"subscribers":77)")).errors.HasErrors());
  RunPosted();
  EXPECT_EQ(calls.size(), 4U);
}

TEST_F(RegistryTest, RefusedTextIsNotPostedButGivesItsSequence) {
  const PublishOutcome outcome = Publish(GoodText(8, R"(,"subscribers":"x")"));
  EXPECT_TRUE(outcome.errors.HasErrors());
  EXPECT_TRUE(outcome.hasSequence);
  EXPECT_EQ(outcome.sequence, 8U);
  EXPECT_FALSE(Publish("{}").hasSequence);
  EXPECT_EQ(RunPosted(), 0U);
}

TEST_F(RegistryTest, DispatchGoesByTheSubscriptionsOfItsStart) {
  std::vector<uint64_t> calls;
  const auto held = std::make_shared<int>();
  // The first one takes the second away and adds a third, and is itself gone while it runs.
  registry_.Register([&](const PublicationPtr&) {
    calls.push_back(0);
    registry_.Unregister(0);
    registry_.Unregister(1);
    RegisterRecorder(calls);
  });
  registry_.Register([&calls, held](const PublicationPtr&) { calls.push_back(1); });
  Publish(GoodText(1));
  RunPosted();
  EXPECT_THAT(calls, ElementsAre(0, 1));
  EXPECT_EQ(held.use_count(), 1);
  Publish(GoodText(2));
  RunPosted();
  EXPECT_THAT(calls, ElementsAre(0, 1, 2));
}

}  // namespace
