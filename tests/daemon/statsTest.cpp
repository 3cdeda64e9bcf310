// The numbers follow what was done to the daemon.

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <map>
#include <vector>

#include "platform/corvane/crypto.h"
#include "platform/corvane/paths.h"
#include "testing/daemon.h"
#include "testing/eventually.h"
#include "testing/subscriber.h"
#include "tests/daemon/kernelFaults.h"
#include "tests/daemon/liveSubscriber.h"

namespace {

using namespace Testing;
namespace Files = std::filesystem;
using Numbers = std::map<std::string, std::int64_t>;

constexpr const char kStats[] = "com.tessaly.norn.hesper.stats.get";

std::string AskForStats(const Daemon& daemon, std::string_view authorization = Authorized(),
                        std::string_view input = "{}") {
  Connection connection(daemon.port());
  connection.Send(CallRequest(kStats, input, "application/vnd.tessaly.mirel.cleanjson",
                              "Connection: close\r\n", authorization));
  return connection.ReceiveAll();
}

rapidjson::Document Stats(const Daemon& daemon) {
  const auto answer = AskForStats(daemon);
  const auto begin = answer.find(R"({"jsonrpc":"2.0","id":1,"result":{"start_time":")");
  rapidjson::Document document;
  if (begin == std::string::npos) throw std::runtime_error("no stats: " + answer);
  // By its length: a text that ends with its NUL is read up to 15 bytes further.
  document.Parse(answer.data() + begin, answer.rfind('}') + 1 - begin);
  return document;
}

// All numbers of one of the structures.
Numbers Section(const Daemon& daemon, const char* name) {
  const auto document = Stats(daemon);
  Numbers numbers;
  for (const auto& member : document["result"][name].GetObject()) {
    numbers.emplace(member.name.GetString(), member.value.GetInt64());
  }
  return numbers;
}

// A VM that sends one text, so that its rate is of no matter.
std::string PublishOnce(const Daemon& daemon, std::uint32_t cid, std::string_view text) {
  const Vm vm(cid);
  Krell::GuestSocket guest(cid);
  return Publish(guest, daemon, text);
}

std::string UtcSeconds() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  std::array<char, 32> text{};
  gmtime_r(&now, &parts);
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts)};
}

TEST(StatsTest, NeedTheEntitlementAndNoArguments) {
  const Daemon daemon;
  const auto gets = [&](const std::string& authorization, std::string_view input, const std::string& error) {
    return AskForStats(daemon, authorization, input)
               .find("mirel-error: com.tessaly.mirel.std.errors." + error + "\r\n") != std::string::npos;
  };
  EXPECT_TRUE(gets("", "{}", "unauthenticated"));
  EXPECT_TRUE(gets(TokenFor("tests", "SOMETHING_ELSE"), "{}", "unauthorized"));
  EXPECT_TRUE(gets(Authorized(), R"({"spec":{}})", "unexpected_input"));
}

TEST(StatsTest, StartTimeIsThatOfTheDaemon) {
  const auto before = UtcSeconds();
  const Daemon daemon;
  const auto after = UtcSeconds();
  const auto stats = Stats(daemon);
  const std::string start = stats["result"]["start_time"].GetString();
  EXPECT_LE(before, start);
  EXPECT_LE(start.substr(0, after.size()), after);
  EXPECT_TRUE(start.ends_with("Z")) << start;
  EXPECT_EQ(stats["result"]["start_time"], Stats(daemon)["result"]["start_time"]);
}

TEST(StatsTest, TellWhyTextsWereRefused) {
  const Daemon daemon;
  const auto good = PublicationText(1, "a", "aGk=");
  auto badTime = good;
  badTime.replace(badTime.find("2026-11-24"), 10, "2026-11-31");
  const std::vector<std::string> bad = {"{",
                                        "[]",
                                        R"({"header":{"sequence":-1}})",
                                        PublicationText(1, "a", "", R"(,"subscribers":"x")"),
                                        R"({"header":{"sequence":8}})",
                                        badTime,
                                        PublicationText(1, "a", "*")};
  Numbers expected = {{"accepted", 2},        {"accepted_bytes", 2 * static_cast<std::int64_t>(good.size())},
                      {"refused_json", 1},    {"refused_header", 3},
                      {"refused_schema", 1},  {"refused_time", 1},
                      {"refused_payload", 1}, {"refused_bytes", 0},
                      {"unknown_cids", 0},    {"acknowledgements_failed", 0}};
  std::uint32_t cid = 301;
  for (const auto& text : bad) {
    EXPECT_NE(PublishOnce(daemon, cid++, text).find("bad"), std::string::npos) << text;
    expected["refused_bytes"] += static_cast<std::int64_t>(text.size());
  }
  for (int i = 0; i < 2; ++i) EXPECT_EQ(PublishOnce(daemon, cid++, good), GoodAcknowledgement(1));
  EXPECT_EQ(Section(daemon, "publications"), expected);
  EXPECT_EQ(Section(daemon, "subscriptions").at("deliveries"), 0);
}

TEST(StatsTest, TellOfUnknownVmsAndLostAnswers) {
  const KernelFaults faults("getsockopt 3 ENOTCONN 1\nsendmsg ENOBUFS 1\n");
  const Daemon daemon;
  const Vm vms[] = {Vm(321), Vm(322), Vm(323)};
  Krell::GuestSocket unknown(321);
  Krell::GuestSocket unanswered(322);
  Krell::GuestSocket last(323);
  const auto text = PublicationText(1, "a", "");
  unknown.Send(daemon.vmPort(), text);
  unanswered.Send(daemon.vmPort(), text);
  EXPECT_EQ(Publish(last, daemon, text), GoodAcknowledgement(1));
  auto publications = Section(daemon, "publications");
  EXPECT_EQ(publications.at("unknown_cids"), 1);
  EXPECT_EQ(publications.at("acknowledgements_failed"), 1);
  EXPECT_EQ(publications.at("accepted"), 2);
  EXPECT_EQ(Section(daemon, "cid_cache"),
            (Numbers{{"entries", 2}, {"hits", 0}, {"misses", 3}, {"evictions", 0}}));
}

TEST(StatsTest, TellOfTheCacheOfVms) {
  const Daemon daemon;
  const Vm vm(325);
  Krell::GuestSocket guest(vm.cid());
  for (int i = 0; i < 2; ++i) Publish(guest, daemon, PublicationText(1, "a", ""));
  PublishOnce(daemon, 326, PublicationText(1, "a", ""));
  Numbers expected = {{"entries", 2}, {"hits", 1}, {"misses", 2}, {"evictions", 0}};
  EXPECT_EQ(Section(daemon, "cid_cache"), expected);
  // Its cid is another VM's now.
  SharedHost().Add({326, "bios-other", "uuid-other", "vm-other", true});
  {
    Krell::GuestSocket successor(326);
    EXPECT_EQ(Publish(successor, daemon, PublicationText(2, "a", "")), GoodAcknowledgement(2));
  }
  SharedHost().Remove(326);
  expected["misses"] = 3;
  expected["evictions"] = 1;
  EXPECT_EQ(Section(daemon, "cid_cache"), expected);
}

TEST(StatsTest, TellOfSubscriptionsAndHistory) {
  const Daemon daemon({.settings = kAskAll});
  Beacon beacon(331);
  auto stays = beacon.Subscribe(daemon);
  EXPECT_EQ(Section(daemon, "history"), (Numbers{{"requests_sent", 1}, {"requests_failed", 0}}));
  const Vm deaf(332);  // nobody takes requests there
  auto leaves = beacon.Subscribe(daemon);
  ASSERT_TRUE(Eventually([&] { return Section(daemon, "history").at("requests_failed") == 1; }));
  EXPECT_EQ(Section(daemon, "history").at("requests_sent"), 2);

  const auto text = PublicationText(1, "a", "aGk=");
  PublishOnce(daemon, 333, text);
  stays.Next();
  leaves.Next();
  const auto bytes = static_cast<std::int64_t>(text.size());
  EXPECT_EQ(Section(daemon, "subscriptions"), (Numbers{{"current", 2},
                                                       {"opened", 2},
                                                       {"deliveries", 2},
                                                       {"delivered_bytes", 2 * bytes},
                                                       {"dropped_queues", 0},
                                                       {"dropped_publications", 0}}));
  leaves.connection().Reset();
  std::uint32_t cid = 334;
  EXPECT_TRUE(Eventually([&] {
    PublishOnce(daemon, cid++, text);  // the daemon learns of it by trying
    stays.Next();
    return Section(daemon, "subscriptions").at("current") == 1;
  }));
  EXPECT_EQ(Section(daemon, "subscriptions").at("opened"), 2);
}

TEST(StatsTest, CountWhatRepetitionsDrop) {
  const Daemon daemon({.settings = std::string(kAskAll) + "<mirelQueueLimit>1</mirelQueueLimit>"});
  Beacon beacon(341);
  auto subscriber = beacon.Subscribe(daemon);
  // One is on its way, two are kept and dropped thrice, and the last one is sent as well.
  PublishOnce(daemon, 342, PublicationText(1, "a", "", R"(,"subscribers":[0,0,0,0,0,0,0,0])"));
  subscriber.Next();
  subscriber.Next();
  const auto subscriptions = Section(daemon, "subscriptions");
  EXPECT_EQ(subscriptions.at("deliveries"), 2);
  EXPECT_EQ(subscriptions.at("dropped_queues"), 3);
  EXPECT_EQ(subscriptions.at("dropped_publications"), 6);
}

TEST(StatsTest, CountWhatASlowClientLoses) {
  const Daemon daemon({.settings = kAskAll});
  Beacon beacon(343);
  auto slow = beacon.Subscribe(daemon, "", 4096);
  const std::string payload(60000, 'Q');
  std::int64_t published = 0;
  std::uint32_t cid = 1000;
  // It reads nothing: the kernel's buffers fill, then the queue.
  ASSERT_TRUE(Eventually([&] {
    EXPECT_EQ(PublishOnce(daemon, cid++, PublicationText(1, "a", payload)), GoodAcknowledgement(1));
    ++published;
    return Section(daemon, "subscriptions").at("dropped_queues") != 0;
  }));
  auto subscriptions = Section(daemon, "subscriptions");
  EXPECT_EQ(subscriptions.at("dropped_queues"), 1);
  EXPECT_EQ(subscriptions.at("dropped_publications"), 17);
  for (std::int64_t i = 0; i < published - 17; ++i) slow.Next();
  EXPECT_EQ(Section(daemon, "subscriptions").at("deliveries"), published - 17);
}

TEST(StatsTest, TellWhoWasRefused) {
  const Daemon daemon;
  auto forged = Authorized();
  forged[forged.size() - 10] = forged[forged.size() - 10] == 'A' ? 'B' : 'A';
  AskForStats(daemon, "");
  AskForStats(daemon, "Authorization: Digest x\r\n");  // taken for a token
  AskForStats(daemon, TokenFor("tests", "SOMETHING_ELSE"));
  for (int i = 0; i < 2; ++i) AskForStats(daemon, forged);
  EXPECT_EQ(
      Section(daemon, "logins"),
      (Numbers{
          {"refused_password", 0}, {"refused_user", 0}, {"refused_token", 3}, {"refused_entitlement", 1}}));
}

#ifdef PAM_WRAPPER_LIBRARY  // Not under sanitizers, which want to be the first library themselves.
TEST(StatsTest, TellWhosePasswordWasRefused) {
  const Daemon daemon({.environment = {"LD_PRELOAD=" PAM_WRAPPER_LIBRARY, "PAM_WRAPPER=1",
                                       "PAM_WRAPPER_SERVICE_DIR=" PAM_WRAPPER_SERVICES}});
  for (const std::string login : {"root:root secret", "root:wrong", "alice:alice secret"}) {
    std::string text;
    Base64_Encode(login.data(), login.size(), text);
    AskForStats(daemon, "Authorization: Basic " + text + "\r\n");
  }
  EXPECT_EQ(
      Section(daemon, "logins"),
      (Numbers{
          {"refused_password", 1}, {"refused_user", 1}, {"refused_token", 0}, {"refused_entitlement", 0}}));
}
#endif

TEST(StatsTest, TellOfConnectionsAndDescriptors) {
  const Daemon daemon;
  const auto connections = [&](const char* name) { return Section(daemon, "connections").at(name); };
  ASSERT_TRUE(Eventually([&] { return connections("current") == 1; }));
  const auto descriptors = Section(daemon, "process").at("descriptors");
  const auto accepted = connections("accepted");
  {
    const Connection more[] = {Connection(daemon.port()), Connection(daemon.port()),
                               Connection(daemon.port())};
    EXPECT_TRUE(Eventually([&] { return connections("current") == 4; }));
    EXPECT_TRUE(Eventually([&] { return Section(daemon, "process").at("descriptors") == descriptors + 3; }));
  }
  EXPECT_TRUE(Eventually([&] { return connections("current") == 1; }));
  EXPECT_GE(connections("accepted"), accepted + 4);
}

TEST(StatsTest, TellHowLongPublicationsWaited) {
  const Daemon daemon;
  EXPECT_EQ(Section(daemon, "process").at("longest_post_wait_microseconds"), 0);
  PublishOnce(daemon, 351, PublicationText(1, "a", ""));
  EXPECT_TRUE(
      Eventually([&] { return Section(daemon, "process").at("longest_post_wait_microseconds") > 0; }));
  EXPECT_EQ(Section(daemon, "process").at("posts_waiting"), 0);
}

// A disk that is full, in the place of the audit log, which is put back.
class FullAudit {
 public:
  FullAudit() {
    Files::create_directories(path_.parent_path());
    if (Files::exists(path_)) Files::rename(path_, kept_);
    Files::create_symlink("/dev/full", path_);
  }
  FullAudit(const FullAudit&) = delete;
  FullAudit& operator=(const FullAudit&) = delete;
  ~FullAudit() {
    Files::remove(path_);
    if (Files::exists(kept_)) Files::rename(kept_, path_);
  }

 private:
  const Files::path path_ = Corvane::Paths::kAuditFile;
  const Files::path kept_ = path_.string() + ".kept";
};

TEST(StatsTest, TellOfLostAuditRecords) {
  const Daemon daemon;
  EXPECT_EQ(Section(daemon, "audit").at("records_lost"), 0);
  {
    const FullAudit full;
    AskForStats(daemon, "");
    AskForStats(daemon, "");
  }
  EXPECT_EQ(Section(daemon, "audit").at("records_lost"), 2);
}

}  // namespace
