#include "fleet/forward/intake.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "testing/eventually.h"
#include "tests/forward/fleetHost.h"
#include "tests/forward/pastGuests.h"

namespace {

using namespace Testing;
using namespace std::chrono_literals;

// Takes all that is in the queue, as if it were stored; gives the message ids.
std::set<std::string> TakeAll(Fleet::SendQueue& queue) {
  std::set<std::string> ids;
  for (;;) {
    const auto batch = queue.Take({.items = 1, .bytes = 1 << 20}, 1ms);
    if (batch.empty()) return ids;
    ids.insert(batch[0].headers.at(0).second);
    queue.Settle({.items = 1, .bytes = batch[0].Bytes()}, std::nullopt);
  }
}

TEST(IntakeTest, LeavesTheDaemonWhileTheQueueIsFullAndAsksForTheGapThen) {
  const ReturningDaemon daemon(9897);
  PastGuests guests(daemon.vmPort(), 4000, 5);
  const TemporaryFolder folder;
  const Fleet::Caller caller{.port = daemon.port(),
                             .tokenFile = ForwarderProcess::TokenFile(folder, "GUEST_DATA_ACCESS"),
                             .user = {},
                             .passwordFile = {}};
  Fleet::SendQueue queue({.items = 4, .bytes = 1 << 20});
  Fleet::Coverage coverage(std::chrono::steady_clock::now());
  Fleet::Counters counters;
  Fleet::Intake intake(caller, {}, {.prefix = "hesper", .host = "host-a", .vmIdType = "mgr"}, 1h, queue,
                       coverage, counters);
  const std::jthread thread([&](const std::stop_token& stop) { intake.Run({.pastSeconds = 60}, stop); });

  guests.Publish(3);
  ASSERT_TRUE(Eventually([&] { return counters.overflows == 1; }));
  EXPECT_EQ(queue.fill().items, 4U);
  ASSERT_TRUE(guests.WaitUntilPublished());
  std::set<std::string> ids;
  EXPECT_TRUE(Eventually([&] {
    ids.merge(TakeAll(queue));
    return ids.size() == guests.Topics().size();
  })) << ids.size();
}

}  // namespace
