#include "apps/nornhesperd/messageStream.h"

#include <gtest/gtest.h>

#include "apps/nornhesperd/globalContext.h"
#include "tests/routing/scriptedClient.h"

namespace {

using Com::Tessaly::Norn::Hesper::VmIdentifierType;
using Com::Tessaly::Norn::Hesper::GuestDataSvc::MessageStream;
using NornHesper::CidInfo;
using NornHesper::GlobalContext;
using NornHesper::OptionalStringVector;

constexpr std::size_t kQueueLimit = 16;

class MessageStreamTest : public ::testing::Test {
 protected:
  MessageStreamTest() {
    static const bool ready = !GlobalContext::Get()->GetPublicationSchema().Init().HasErrors();
    EXPECT_TRUE(ready);
  }

  void Subscribe(const char* kind, const std::optional<std::set<std::string>>& vms = {},
                 const OptionalStringVector& topics = {}) {
    Corvane::MakeRef<MessageStream>(VmIdentifierType::FromText(kind), vms, topics, 0, client_.MakeResult())
        ->RegisterSubscription();
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

  std::vector<std::string> Topics() const {
    std::vector<std::string> topics;
    for (const auto& element : client_.elements) topics.push_back(TextField(*element, "topic"));
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

TEST_F(MessageStreamTest, QueueAtItsLimitIsKept) {
  Subscribe("MGR_VM_ID");
  for (std::size_t i = 1; i <= kQueueLimit + 2; ++i) Publish("t");
  for (std::size_t i = 1; i <= kQueueLimit + 1; ++i) client_.TakeNext();
  EXPECT_EQ(Topics().size(), kQueueLimit + 2);
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
  // Ids are given out in order: the next registration's is one above this one's.
  auto& registry = GlobalContext::Get()->GetRegistry();
  const auto id = registry.Register([](const NornHesper::PublicationPtr&) {}) + 1;
  registry.Unregister(id - 1);
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
