#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
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
  explicit Fleet1(std::uint32_t number, std::vector<std::string> options = {}, std::uint32_t vms = 5,
                  const std::string& configuration = {})
      : server(configuration),
        daemon(9800 + number),
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
  const FleetCollector reader(fleet.server.Options());
  ASSERT_TRUE(reader.WaitFor(fleet.guests.Topics()));
  fleet.guests.Publish(6);
  fleet.server.Kill();
  ASSERT_TRUE(fleet.forwarder.process().WaitForLog("NATS takes nothing now"));
  ASSERT_TRUE(fleet.guests.WaitUntilPublished());
  fleet.server.Start();
  ASSERT_TRUE(fleet.forwarder.process().WaitForLog("NATS takes publications again"));
  fleet.guests.Publish(1);
  fleet.ExpectEachOnce();
  EXPECT_TRUE(reader.WaitFor(fleet.guests.Topics()));
  const auto counts = reader.Counts();
  EXPECT_TRUE(std::ranges::all_of(counts, [](const auto& count) { return count.second == 1; }))
      << "the reader was given something twice";
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

// More than the sockets in between hold.
TEST(ForwardTest, AsksForWhatTheDaemonHasDropped) {
  SKIP_WITHOUT_NATS();
  Fleet1 fleet(3, {}, 40);
  ASSERT_TRUE(fleet.forwarder.StartAndWait());
  fleet.forwarder.process().Signal(SIGSTOP);
  fleet.guests.Publish(5, "app", std::string(68'000, 'Q'));
  ASSERT_TRUE(fleet.guests.WaitUntilPublished());
  fleet.forwarder.process().Signal(SIGCONT);
  ASSERT_TRUE(fleet.forwarder.process().WaitForLog("The daemon has dropped a subscriber's queue"));
  ASSERT_TRUE(fleet.forwarder.process().WaitForLog("guests are asked for the last"));
  fleet.ExpectEachOnce();
}

TEST(ForwardTest, TakesHostileTopicsAndTellsOfWhatIsTooLarge) {
  SKIP_WITHOUT_NATS();
  Fleet1 fleet(4, {}, 2, "max_payload: 100000");
  ASSERT_TRUE(fleet.forwarder.StartAndWait());
  for (const std::string topic : {"*", ">", "..", " a b ", "app.>", "%", "$JS.API", "hesper.host-b.x"}) {
    fleet.guests.Publish(1, topic);
  }
  fleet.guests.Publish(1, std::string(60'000, 'x'));
  fleet.guests.Publish(1, std::string(20'000, '.'));
  ASSERT_TRUE(fleet.guests.WaitUntilPublished());
  fleet.ExpectEachOnce();
  // Bytes that are no UTF-8 become three.
  fleet.guests.Publish(1, "large." + std::string(20'000, '\xff'), std::string(46'000, 'Q'));
  ASSERT_TRUE(fleet.guests.WaitUntilPublished());
  // They are sent in order, so that this one comes behind.
  const auto before = fleet.server.Messages();
  fleet.guests.Publish(1);
  EXPECT_TRUE(Eventually([&] { return fleet.server.Messages() >= before + 2; }));
  fleet.forwarder.process().Signal(SIGTERM);
  EXPECT_EQ(fleet.forwarder.process().Wait(), 0);
  EXPECT_TRUE(fleet.forwarder.process().WaitForLog("given up as too large 2"))
      << fleet.forwarder.process().Log();
}

TEST(ForwardTest, AsksForTheLongestGapIfItsStateIsGarbage) {
  SKIP_WITHOUT_NATS();
  Fleet1 fleet(5);
  fleet.guests.Publish(2);
  ASSERT_TRUE(fleet.guests.WaitUntilPublished());
  std::ofstream(fleet.forwarder.StateFile()) << "stored unt";
  ASSERT_TRUE(fleet.forwarder.StartAndWait());
  EXPECT_TRUE(fleet.forwarder.process().WaitForLog("guests are asked for the longest gap"));
  fleet.ExpectEachOnce();
}

TEST(ForwardTest, TellsOfAMissingPermissionOnceAndGoesOnWhenItIsGiven) {
  SKIP_WITHOUT_NATS();
  const std::string rights = R"(no_auth_user: all
authorization { users: [
  { user: all, password: x }
  { user: host, password: secret, permissions: { subscribe: ["_INBOX_hesper.host-a.>"], publish: ["SUBJECT"] } }
] })";
  const auto with = [&rights](const std::string& subject) {
    auto text = rights;
    return text.replace(text.find("SUBJECT"), 7, subject);
  };
  const TemporaryFolder folder;
  Fleet1 fleet(6, {"--credentials", folder.Write("credentials", "host:secret\n")}, 3,
               with("hesper.host-b.>"));
  ASSERT_TRUE(fleet.forwarder.StartAndWait());
  fleet.guests.Publish(1);
  ASSERT_TRUE(fleet.forwarder.process().WaitForLog("Permissions Violation"));
  fleet.guests.Publish(6);
  ASSERT_TRUE(fleet.guests.WaitUntilPublished());
  EXPECT_EQ(fleet.forwarder.process().Logged("NATS takes nothing now"), 1U)
      << fleet.forwarder.process().Log();
  fleet.server.Reload(with("hesper.host-a.>"));
  fleet.ExpectEachOnce();
}

TEST(ForwardTest, EndsWithALineWhenTheDaemonRefuses) {
  const ReturningDaemon daemon(9899);
  const TemporaryFolder folder;
  ChildProcess forwarder({HESPER_FORWARD_PROGRAM, "--port", std::to_string(daemon.port()), "--token-file",
                          ForwarderProcess::TokenFile(folder, "OTHER"), "--state", folder / "state"});
  EXPECT_EQ(forwarder.Wait(), 77) << forwarder.Log();
  EXPECT_EQ(forwarder.Logged("hesper-forward: "), 1U) << forwarder.Log();
}

}  // namespace
