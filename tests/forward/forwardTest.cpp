#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>
#include <set>
#include <string>

#include "testing/eventually.h"
#include "tests/forward/fleetHost.h"
#include "tests/forward/natsServer.h"
#include "tests/forward/pastGuests.h"

namespace {

using namespace Testing;

// One host of a fleet, whose stream has to end up with each publication once.
class Fleet1 {
 public:
  explicit Fleet1(std::uint32_t number, std::vector<std::string> options = {}, std::uint32_t vms = 5)
      : daemon(9800 + number),
        guests(daemon.vmPort(), 2000 + 200 * number, vms),
        forwarder(daemon.port(), WithServer(std::move(options))) {
    server.MakeStream();
  }

  // A message of the stream beside the topics would be one that came twice.
  void ExpectEachOnce() {
    EXPECT_TRUE(guests.WaitUntilPublished());
    const auto topics = guests.Topics();
    const FleetCollector collector(server.Options());
    EXPECT_TRUE(collector.WaitFor(topics)) << collector.Counts().size() << " of " << topics.size() << "\n"
                                           << forwarder.process().Log();
    EXPECT_EQ(server.Messages(), topics.size()) << forwarder.process().Log();
  }

  NatsServer server;
  ReturningDaemon daemon;
  PastGuests guests;
  ForwarderProcess forwarder;

 private:
  std::vector<std::string> WithServer(std::vector<std::string> options) const {
    options.insert(options.end(), {"--nats", server.Url()});
    return options;
  }
};

TEST(ForwardTest, StoresEachPublicationOnceThoughTheServerIsAwayForAWhile) {
  SKIP_WITHOUT_NATS();
  Fleet1 fleet(0);
  ASSERT_TRUE(fleet.forwarder.StartAndWait());
  fleet.guests.Publish(2);
  ASSERT_TRUE(fleet.guests.WaitUntilPublished());
  fleet.guests.Publish(6);
  fleet.server.Kill();
  ASSERT_TRUE(fleet.forwarder.process().WaitForLog("NATS takes nothing now"));
  ASSERT_TRUE(fleet.guests.WaitUntilPublished());
  fleet.server.Start();
  ASSERT_TRUE(fleet.forwarder.process().WaitForLog("NATS takes publications again"));
  fleet.guests.Publish(1);
  fleet.ExpectEachOnce();
}

TEST(ForwardTest, FillsTheGapOfItsOwnEnd) {
  SKIP_WITHOUT_NATS();
  Fleet1 fleet(1);
  ASSERT_TRUE(fleet.forwarder.StartAndWait());
  fleet.guests.Publish(4);
  ASSERT_TRUE(Eventually([&] { return fleet.server.Messages() > 0; }));
  fleet.forwarder.Kill();
  fleet.guests.Publish(2);
  ASSERT_TRUE(fleet.guests.WaitUntilPublished());
  ASSERT_TRUE(fleet.forwarder.StartAndWait());
  fleet.guests.Publish(1);
  fleet.ExpectEachOnce();
}

TEST(ForwardTest, FillsTheGapOfTheDaemonsEnd) {
  SKIP_WITHOUT_NATS();
  Fleet1 fleet(2);
  ASSERT_TRUE(fleet.forwarder.StartAndWait());
  fleet.guests.Publish(3);
  ASSERT_TRUE(Eventually([&] { return fleet.server.Messages() > 0; }));
  fleet.daemon.Kill();
  ASSERT_TRUE(fleet.forwarder.process().WaitForLog("The daemon's stream is interrupted"));
  fleet.guests.Publish(2);
  fleet.daemon.Start();
  ASSERT_TRUE(fleet.forwarder.process().WaitForLog("Subscribed again"));
  fleet.guests.Publish(1);
  fleet.ExpectEachOnce();
}

}  // namespace
