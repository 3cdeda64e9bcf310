#include "apps/nornhesperd/messageStream.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>

#include "apps/nornhesperd/globalContext.h"
#include "tests/routing/routingEnvironment.h"
#include "tests/routing/scriptedClient.h"

namespace {

using Com::Tessaly::Norn::Hesper::VmIdentifierType;
using Com::Tessaly::Norn::Hesper::GuestDataSvc::MessageStream;
using NornHesper::CidInfo;
using NornHesper::GlobalContext;
using NornHesper::OptionalStringVector;
using Routing::kQueueLimit;

class MessageStreamTest : public ::testing::Test {
 protected:
  void Subscribe(const char* kind, const std::optional<std::set<std::string>>& vms = {},
                 const OptionalStringVector& topics = {}) {
    Subscribe(client_, kind, vms, topics);
  }
  void Subscribe(ScriptedClient& client, const char* kind,
                 const std::optional<std::set<std::string>>& vms = {},
                 const OptionalStringVector& topics = {}) {
    Corvane::MakeRef<MessageStream>(VmIdentifierType::FromText(kind), vms, topics, 0, client.MakeResult())
        ->RegisterSubscription();
  }

  // Ids are given out in order.
  std::uint64_t NextId() {
    auto& registry = GlobalContext::Get()->GetRegistry();
    const auto id = registry.Register([](const NornHesper::PublicationPtr&) {});
    registry.Unregister(id);
    return id + 1;
  }

  // The whole way from a text to the subscriptions.
  void Publish(const std::string& topic, const std::string& moreHeader = "") {
    const auto text = R"({"header":{"sequence":1,"createTime":"2026-11-24T21:15:00+01:00","topic":")" +
                      topic + R"(","token":"secret")" + moreHeader +
                      R"(},"payload":{"category":"c","base64":"aGk="}})";
    auto* context = GlobalContext::Get();
    ASSERT_FALSE(context->GetRegistry().Publish(text.data(), text.size(), vm_).errors.HasErrors());
    context->GetIoService().restart();
    context->GetIoService().poll();
  }

  std::vector<std::string> Topics() const { return Topics(client_); }
  static std::vector<std::string> Topics(const ScriptedClient& client) {
    std::vector<std::string> topics;
    for (const auto& element : client.elements) topics.push_back(TextField(*element, "topic"));
    return topics;
  }

  ScriptedClient client_;
  NornHesper::CidInfoPtr vm_ = std::make_shared<CidInfo>(CidInfo{5, "bios-5", "uuid-5", "vm-5"});
};

TEST_F(MessageStreamTest, ElementCarriesThePublicationAndOneIdentifier) {
  Subscribe("BIOS_UUID");
  Publish("a.b");
  ASSERT_EQ(client_.elements.size(), 1U);
  const auto& element = *client_.elements[0];
  EXPECT_EQ(element.name(), "com.tessaly.norn.hesper.ApplicationPublishResult");
  EXPECT_EQ(TextField(element, "topic"), "a.b");
  EXPECT_EQ(TextField(element, "token"), "secret");
  EXPECT_EQ(TextField(element, "create_time"), "2026-11-24T21:15:00+01:00");
  EXPECT_EQ(TextField(element, "vm_id_type"), "BIOS_UUID");
  EXPECT_EQ(TextField(element, "mgr_vm_id"), "(absent)");
  EXPECT_EQ(TextField(element, "bios_uuid"), "bios-5");
  EXPECT_EQ(TextField(element, "vm_uuid"), "(absent)");
  const auto payload = std::dynamic_pointer_cast<const Mirel::Data::BlobValue>(element.GetField("payload"));
  EXPECT_EQ(std::string(payload->bytes().begin(), payload->bytes().end()), "hi");
  EXPECT_EQ(payload->base64(), "aGk=");
  client_.Leave();
}

TEST_F(MessageStreamTest, SubscribersOfOneKindShareAnElement) {
  ScriptedClient same;
  ScriptedClient other;
  Subscribe("BIOS_UUID");
  Subscribe(same, "BIOS_UUID");
  Subscribe(other, "VM_UUID");
  Publish("a.b");
  ASSERT_EQ(client_.elements.size(), 1U);
  EXPECT_EQ(client_.elements[0].get(), same.elements.at(0).get());
  EXPECT_EQ(TextField(*other.elements.at(0), "vm_uuid"), "uuid-5");
  EXPECT_NE(client_.elements[0]->KeptTexts(), nullptr);
  for (auto* client : {&client_, &same, &other}) client->TakeNext();
  // What a guest can make long is not kept in six texts.
  Publish(std::string(10000, 'x'));
  EXPECT_EQ(client_.elements.at(1)->KeptTexts(), nullptr);
  for (auto* client : {&client_, &same, &other}) client->Leave();
}

TEST_F(MessageStreamTest, OneElementAtATimeInOrder) {
  Subscribe("MGR_VM_ID");
  Publish("t1");
  Publish("t2");
  Publish("t3");
  EXPECT_EQ(Topics(), (std::vector<std::string>{"t1"}));
  client_.TakeNext();
  client_.TakeNext();
  EXPECT_EQ(Topics(), (std::vector<std::string>{"t1", "t2", "t3"}));
  client_.TakeNext();
  EXPECT_FALSE(client_.HasTurn());
  Publish("t4");
  EXPECT_EQ(Topics().back(), "t4");
  client_.Leave();
}

TEST_F(MessageStreamTest, FullQueueIsDroppedWholeForTheNewest) {
  Subscribe("MGR_VM_ID");
  // One on its way, and one more than the limit waiting: still kept.
  for (std::size_t i = 1; i <= kQueueLimit + 2; ++i) Publish("t" + std::to_string(i));
  Publish("newest");
  client_.TakeNext();
  EXPECT_EQ(Topics(), (std::vector<std::string>{"t1", "newest"}));
  client_.TakeNext();
  EXPECT_FALSE(client_.HasTurn());
  Publish("last");
  client_.Leave();
}

// What a client gets when offers come one by one.
struct OneByOne {
  void Offer(const std::string& topic) {
    if (queue.size() > kQueueLimit) queue.clear();
    queue.push_back(topic);
    if (!sending) Send();
  }
  void TakeNext() {
    sending = false;
    if (!queue.empty()) Send();
  }
  void Send() {
    sending = true;
    sent.push_back(queue.front());
    queue.pop_front();
  }

  bool sending = false;
  std::deque<std::string> queue;
  std::vector<std::string> sent;
};

TEST_F(MessageStreamTest, RepeatedIdsAreAsManyOffers) {
  constexpr std::size_t kClients = 3;
  std::mt19937 random(7);
  const auto upTo = [&](std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(0, most)(random);
  };
  const auto firstId = NextId();
  ScriptedClient clients[kClients];
  OneByOne models[kClients];
  for (auto& client : clients) Subscribe(client, "MGR_VM_ID");
  for (int i = 0; i < 500; ++i) {
    const auto topic = "t" + std::to_string(i);
    std::string ids;
    for (auto count = upTo(4 * kQueueLimit); count > 0; --count) {
      const auto client = upTo(kClients);  // one that isn't there, too
      ids += (ids.empty() ? "" : ",") + std::to_string(client < kClients ? firstId + client : 1000000);
      if (client < kClients) models[client].Offer(topic);
    }
    if (ids.empty()) continue;
    Publish(topic, ",\"subscribers\":[" + ids + "]");
    for (std::size_t client = 0; client < kClients; ++client) {
      for (auto turns = upTo(2 * kQueueLimit); turns > 0 && clients[client].HasTurn(); --turns) {
        clients[client].TakeNext();
        models[client].TakeNext();
      }
    }
  }
  for (std::size_t client = 0; client < kClients; ++client) {
    EXPECT_EQ(clients[client].HasTurn(), models[client].sending);
    EXPECT_EQ(Topics(clients[client]), models[client].sent);
  }
  Publish("last");
  for (auto& client : clients) client.Leave();
}

TEST_F(MessageStreamTest, RepetitionsThatDropTheQueueAreOneLineAndACount) {
  auto* logger = GlobalContext::Get()->GetLogger();
  const auto id = std::to_string(NextId());
  Subscribe("MGR_VM_ID");
  std::string list = id;
  for (int i = 1; i < 30000; ++i) list += "," + id;
  testing::internal::CaptureStderr();
  logger->SetLevel(6);
  Publish("t", ",\"subscribers\":[" + list + "]");
  logger->SetLevel(2);
  const auto log = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log.substr(0, 1000);
  EXPECT_NE(log.find("Dropped Mirel client queue for subscription " + id + "\n"), std::string::npos);
  // Of the 29999 after the one that is on its way, every fifth finds a full queue, but for the first time.
  EXPECT_NE(log.find(" was dropped 5998 more times by repetitions\n"), std::string::npos) << log;
  client_.Leave();
}

TEST_F(MessageStreamTest, FiltersByVmAndTopic) {
  Subscribe("VM_UUID", std::set<std::string>{"uuid-5", "uuid-6"}, std::vector<std::string>{"a", "b.c"});
  Publish("a.x");
  ASSERT_EQ(Topics().size(), 1U);
  client_.TakeNext();
  Publish("b.d");
  vm_ = std::make_shared<CidInfo>(CidInfo{7, "uuid-5", "uuid-7", "uuid-5"});
  Publish("a.x");
  EXPECT_EQ(Topics().size(), 1U);
  vm_ = std::make_shared<CidInfo>(CidInfo{6, "", "uuid-6", ""});
  Publish("b.c");
  EXPECT_EQ(Topics().size(), 2U);
  client_.Leave();
}

TEST_F(MessageStreamTest, EmptyFiltersTakeNothing) {
  Subscribe("MGR_VM_ID", std::set<std::string>{});
  Publish("a");
  EXPECT_FALSE(client_.HasTurn());
  Subscribe("MGR_VM_ID", std::nullopt, std::vector<std::string>{});
  Publish("a");
  EXPECT_FALSE(client_.HasTurn());
}

TEST_F(MessageStreamTest, HistoryReachesItsSubscriptionAloneAndThroughItsFilter) {
  const auto id = NextId();
  Subscribe("MGR_VM_ID", std::nullopt, std::vector<std::string>{"a"});
  const auto mine = ",\"subscribers\":[" + std::to_string(id) + "]";
  Publish("a", ",\"subscribers\":" + std::to_string(id + 1000));
  Publish("b", mine);
  EXPECT_TRUE(client_.elements.empty());
  Publish("a", mine);
  ASSERT_EQ(client_.elements.size(), 1U);
  const auto history = client_.elements[0]->GetField("history");
  EXPECT_TRUE(dynamic_cast<const Mirel::Data::BooleanValue&>(*history).value());
  client_.Leave();
}

TEST_F(MessageStreamTest, GoneClientIsUnregisteredAndReleased) {
  Subscribe("MGR_VM_ID");
  Publish("t1");
  client_.Leave();
  Publish("t2");
  EXPECT_EQ(Topics(), (std::vector<std::string>{"t1"}));
}

TEST(MessageStreamDeathTest, UnknownKindOfIdentifierEndsTheProcess) {
  ScriptedClient client;
  const auto stream = Corvane::MakeRef<MessageStream>(VmIdentifierType::FromText("SERIAL"), std::nullopt,
                                                      std::nullopt, 0, client.MakeResult());
  const auto vm = std::make_shared<CidInfo>();
  EXPECT_DEATH(stream->EnquePublication(std::make_shared<NornHesper::Publication>("", 0, vm)), "NOT_REACHED");
}

}  // namespace
