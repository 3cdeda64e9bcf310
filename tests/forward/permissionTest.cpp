#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "fleet/forward/makeStream.h"
#include "fleet/forward/publisher.h"
#include "fleet/nats/fleetReader.h"
#include "fleet/nats/natsLink.h"
#include "testing/eventually.h"
#include "tests/forward/natsServer.h"

namespace {

using namespace Testing;
using Fleet::Outcome;

// A CA of its own, and what it has signed.
class Certificates {
 public:
  Certificates() {
    folder_.Write("extension", "subjectAltName=IP:127.0.0.1");
    Run("NAME=ca; openssl req -x509 -days 2 -out ca.pem " + Key());
    for (const char* name : {"server", "rack1-01", "rack1-02", "reader", "admin", "stranger"}) {
      Run(std::string("NAME=").append(name).append("; openssl req ").append(Key()) +
          " | openssl x509 -req -days 2 -CA ca.pem -CAkey ca.key -CAcreateserial -extfile extension -out "
          "$NAME.pem");
    }
  }

  std::string Folder() const { return folder_ / ""; }
  Fleet::NatsOptions Options(const NatsServer& server, const std::string& name) const {
    return {.servers = {server.Url("tls")},
            .tlsCa = folder_ / "ca.pem",
            .tlsCert = folder_ / (name + ".pem"),
            .tlsKey = folder_ / (name + ".key")};
  }

 private:
  static std::string Key() {
    return "-nodes -newkey ec -pkeyopt ec_paramgen_curve:P-256 -subj /CN=$NAME -keyout $NAME.key";
  }

  void Run(const std::string& commands) {
    const auto all = "cd " + Folder() + " && { " + commands + "; } 2>> openssl.log";
    if (std::system(all.c_str()) != 0) throw std::runtime_error(ReadFile(folder_ / "openssl.log"));
  }

  const TemporaryFolder folder_;
};

void Replace(std::string& text, const std::string& from, const std::string& to) {
  std::size_t times = 0;
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()), ++times) {
    text.replace(at, from.size(), to);
  }
  if (times == 0) throw std::runtime_error("the packaged configuration has no " + from);
}

// The packaged file with other folders.
std::string Configuration(const Certificates& certificates, const TemporaryFolder& folder) {
  auto text = ReadFile(NATS_CONFIGURATION);
  Replace(text, "/etc/nats/tls/", certificates.Folder());
  Replace(text, "/var/lib/nats", folder / "store");
  return text;
}

Fleet::Outgoing Publication(const std::string& host, const std::string& topic) {
  Fleet::Element element;
  element.json =
      R"({"payload":"aGk=","topic":")" + topic +
      R"(","vm_id_type":"MGR_VM_ID","mgr_vm_id":"web","create_time":"2026-11-24T21:15:00Z","token":"t","history":false})";
  element.vm = "web";
  element.topic = topic;
  return Fleet::MakeOutgoing({.prefix = "hesper", .host = host, .vmIdType = "mgr"}, element, {});
}

// How often the server has refused something of a user since.
class WatchedUser {
 public:
  WatchedUser(const Fleet::NatsOptions& options, const std::string& inbox)
      : link(options, "test", inbox,
             {.onDisconnected = {},
              .onReconnected = {},
              .onError = [this](natsStatus, const std::string& reason) {
                if (reason.find("Permissions Violation") != std::string::npos) ++refusals;
              }}) {}

  bool MayPublish(const std::string& subject, const std::string& reply = {}) {
    return IsAllowed([&] {
      return natsConnection_PublishRequest(link.get(), subject.c_str(),
                                           reply.empty() ? "nobody" : reply.c_str(), "{}", 2);
    });
  }
  bool MaySubscribe(const std::string& subject) {
    natsSubscription* made = nullptr;
    const bool allowed =
        IsAllowed([&] { return natsConnection_SubscribeSync(&made, link.get(), subject.c_str()); });
    natsSubscription_Destroy(made);
    return allowed;
  }

  std::atomic<int> refusals = 0;
  Fleet::NatsLink link;

 private:
  // The refusal comes before the answer to the ping of the flush.
  template <typename Call>
  bool IsAllowed(const Call& call) {
    const int before = refusals;
    EXPECT_EQ(call(), NATS_OK);
    EXPECT_EQ(natsConnection_FlushTimeout(link.get(), 5000), NATS_OK);
    return !Eventually([&] { return refusals > before; }, std::chrono::milliseconds(300));
  }
};

class PermissionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SKIP_WITHOUT_NATS();
    server.emplace(Configuration(certificates, folder));
    Fleet::StreamShape shape;
    shape.replicas = 1;
    Fleet::MakeStream(As("admin"), "hesper", shape);
  }

  Fleet::NatsOptions As(const std::string& name) const { return certificates.Options(*server, name); }

  std::uint64_t Messages() const {
    const Fleet::NatsLink link(As("admin"), "test", "_INBOX", {});
    const auto jetStream = link.JetStream(nullptr);
    jsStreamInfo* info = nullptr;
    Fleet::CheckNats(js_GetStreamInfo(&info, jetStream.get(), "HESPER", nullptr, nullptr), "stream");
    return Fleet::StreamInfoHandle(info)->State.Msgs;
  }

  const Certificates certificates;
  const TemporaryFolder folder;
  std::optional<NatsServer> server;
};

TEST_F(PermissionTest, AForwarderWritesItsOwnSubjectsAlone) {
  Fleet::Publisher publisher(As("rack1-01"), "rack1-01");
  const auto own = publisher.Publish({Publication("rack1-01", "app")});
  EXPECT_EQ(own.outcomes.at(0), Outcome::Stored) << own.reason;
  EXPECT_EQ(publisher.Publish({Publication("rack1-01", "app")}).outcomes.at(0), Outcome::Duplicate);
  const auto other = publisher.Publish({Publication("rack1-02", "app")});
  EXPECT_TRUE(other.forbidden) << other.reason;
  EXPECT_EQ(Messages(), 1U);
}

TEST_F(PermissionTest, AHostNeitherReadsNorCommands) {
  WatchedUser host(As("rack1-01"), "_INBOX_hesper.rack1-01");
  EXPECT_TRUE(host.MayPublish("hesper.rack1-01.web.app"));
  EXPECT_TRUE(host.MaySubscribe("_INBOX_hesper.rack1-01.x"));
  for (const char* subject :
       {"hesper.rack1-02.web.app", "hesper.rack1-01", "hesper.rack1-011.web.app", "other",
        "$JS.API.STREAM.INFO.HESPER", "$JS.API.STREAM.PURGE.HESPER", "$JS.API.STREAM.DELETE.HESPER",
        "$JS.API.CONSUMER.CREATE.HESPER", "$JS.API.STREAM.CREATE.X", "_INBOX.x"}) {
    EXPECT_FALSE(host.MayPublish(subject)) << subject;
  }
  for (const char* subject :
       {"hesper.>", "hesper.rack1-01.>", ">", "_INBOX.>", "_INBOX_hesper.rack1-02.x", "_INBOX_hesper.*.x"}) {
    EXPECT_FALSE(host.MaySubscribe(subject)) << subject;
  }
}

// The server sends the acknowledgement of a publication wherever its sender says, whatever the sender may do
// itself: to a call that takes its "seq" for an argument, or to a subject of another host's.
TEST_F(PermissionTest, AnAcknowledgementIsNoCommandAndNoPublication) {
  Fleet::Publisher publisher(As("rack1-01"), "rack1-01");
  for (const char* topic : {"a", "b", "c"}) publisher.Publish({Publication("rack1-01", topic)});
  WatchedUser host(As("rack1-02"), "_INBOX_hesper.rack1-02");
  std::uint64_t written = 3;
  for (const char* reply :
       {"$JS.API.STREAM.PURGE.HESPER", "$JS.API.STREAM.MSG.DELETE.HESPER", "$JS.API.STREAM.DELETE.HESPER",
        "$JS.API.STREAM.UPDATE.HESPER", "$JS.API.STREAM.RESTORE.HESPER", "$JS.API.CONSUMER.CREATE.HESPER"}) {
    EXPECT_TRUE(host.MayPublish("hesper.rack1-02.web.app", reply));
    ++written;
  }
  EXPECT_TRUE(host.MayPublish("hesper.rack1-02.web.app", "hesper.rack1-01.web.app"));
  written += 2;
  EXPECT_EQ(publisher.Publish({Publication("rack1-01", "d")}).outcomes.at(0), Outcome::Stored);
  EXPECT_EQ(Messages(), written + 1);
  Fleet::FleetWanted wanted;
  wanted.since = std::chrono::hours(1);
  std::string read;
  Fleet::ReadFleet(As("reader"), "hesper", "HESPER", wanted, {},
                   [&read](const std::string&, const Fleet::Element& element) {
                     read += element.topic;
                     return element.topic != "d";
                   });
  EXPECT_EQ(read, "abcd");
}

TEST_F(PermissionTest, AReaderReadsAndWritesNothing) {
  Fleet::Publisher publisher(As("rack1-01"), "rack1-01");
  ASSERT_EQ(
      publisher.Publish({Publication("rack1-01", "app"), Publication("rack1-01", "other")}).outcomes.at(0),
      Outcome::Stored);
  Fleet::FleetWanted wanted;
  wanted.since = std::chrono::hours(1);
  wanted.topics = {"app"};
  std::string from;
  Fleet::ReadFleet(As("reader"), "hesper", "HESPER", wanted, {},
                   [&](const std::string& host, const Fleet::Element& element) {
                     from = host + " " + element.vm + " " + element.topic;
                     return false;
                   });
  EXPECT_EQ(from, "rack1-01 web app");
  WatchedUser reader(As("reader"), "_INBOX");
  for (const char* subject :
       {"hesper.rack1-01.web.app", "$JS.API.STREAM.PURGE.HESPER", "$JS.API.STREAM.UPDATE.HESPER"}) {
    EXPECT_FALSE(reader.MayPublish(subject)) << subject;
  }
  EXPECT_FALSE(reader.MaySubscribe("hesper.>"));
}

TEST_F(PermissionTest, StrangersAndForgedServersAreRefused) {
  const auto read = [](const Fleet::NatsOptions& options) {
    Fleet::ReadFleet(options, "hesper", "HESPER", {}, {},
                     [](const std::string&, const Fleet::Element&) { return false; });
  };
  EXPECT_THROW(read(As("rack1-01")), Fleet::NatsFault) << "a host reads";
  EXPECT_THROW(read(As("stranger")), Fleet::NatsFault);
  const Certificates others;
  EXPECT_THROW(read(others.Options(*server, "reader")), Fleet::NatsFault) << "another CA's";
  auto forged = As("reader");
  forged.tlsCa = others.Options(*server, "reader").tlsCa;
  EXPECT_THROW(read(forged), Fleet::NatsFault) << "the server isn't of the CA";
  auto wrongName = As("reader");
  wrongName.servers = {"tls://localhost" + server->Url().substr(server->Url().rfind(':'))};
  EXPECT_THROW(read(wrongName), Fleet::NatsFault) << "the certificate is another server's";
}

}  // namespace
