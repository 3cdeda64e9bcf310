#include <gtest/gtest.h>

#include <cerrno>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "guest/lib/hesperguest.h"
#include "testing/agentDouble.h"
#include "tests/guest/serialLine.h"

extern "C" int hand_over(const char* socketPath, const char* topic, const char* payload,
                         std::uint64_t* sequence);

namespace {

using Testing::AgentDouble;
using Testing::kPatienceMs;

// For answers that don't come.
constexpr int kBriefMs = 30;

class HandoverTest : public testing::Test {
 protected:
  void SetUp() override {
    hesper_agent* agent = nullptr;
    ASSERT_EQ(hesper_agent_open(&agent, path_.c_str()), 0);
    agent_.reset(agent);
  }

  // The sequence number, or the error.
  std::int64_t Emit(const std::string& payload, int timeout = kPatienceMs) {
    item_.payload = payload.data();
    item_.length = payload.size();
    std::uint64_t sequence = 0;
    const int error = hesper_agent_emit(agent_.get(), &item_, timeout, &sequence);
    return error == 0 ? static_cast<std::int64_t>(sequence) : error;
  }
  std::future<std::int64_t> StartEmit(const std::string& payload) {
    return std::async(std::launch::async, [this, payload] { return Emit(payload); });
  }
  // What comes of an answer, and the item's text.
  std::pair<std::int64_t, std::string> EmitFor(const std::string& answer, const std::string& payload = "p") {
    auto emitted = StartEmit(payload);
    auto text = double_->Serve(answer);
    return {emitted.get(), std::move(text)};
  }
  std::string Refusal() const {
    const char* refusal = hesper_agent_refusal(agent_.get());
    return refusal != nullptr ? refusal : "none";
  }

  struct Closer {
    void operator()(hesper_agent* agent) { hesper_agent_close(agent); }
  };

  const Testing::TemporaryFolder folder_;
  const std::string path_ = folder_ / "socket";
  std::optional<AgentDouble> double_{path_};
  std::unique_ptr<hesper_agent, Closer> agent_;
  hesper_item item_{"a.b", nullptr, 0, 0, nullptr, nullptr, nullptr};
};

TEST_F(HandoverTest, ServesAProgramInC) {
  std::uint64_t sequence = 0;
  auto handed =
      std::async(std::launch::async, [&] { return hand_over(path_.c_str(), "a", "hello", &sequence); });
  EXPECT_EQ(double_->Serve(AgentDouble::Kept(18446744073709551615U)), R"({"topic":"a","base64":"aGVsbG8="})");
  EXPECT_EQ(handed.get(), 0);
  EXPECT_EQ(sequence, 18446744073709551615U);
}

TEST_F(HandoverTest, ItemsAreWrittenAsJson) {
  const std::pair<std::string, std::string> payloads[] = {
      {"", ""},        {"f", "Zg=="},        {"fo", "Zm8="},
      {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {std::string("\0\xff\xfe\x10", 4), "AP/+EA=="},
  };
  for (const auto& [payload, base64] : payloads) {
    EXPECT_EQ(EmitFor(AgentDouble::Kept(1), payload),
              std::pair(std::int64_t{1}, R"({"topic":"a.b","base64":")" + base64 + "\"}"));
  }
  item_ = {"\"\\\n\x01\xc3\xa9", nullptr, 0, 1, "t\x7f", "text", "2026-11-25T19:00:00Z"};
  EXPECT_EQ(EmitFor(AgentDouble::Kept(0)).second,
            "{\"topic\":\"\\\"\\\\\\n\\u0001\xc3\xa9\",\"token\":\"t\x7f\",\"category\":\"text\","
            R"("createTime":"2026-11-25T19:00:00Z","class":"latest","base64":"cA=="})");
}

TEST_F(HandoverTest, EachRefusalIsAnErrorOfItsOwn) {
  const std::pair<const char*, int> refusals[] = {
      {"request", -EPROTO}, {"topic", -EINVAL}, {"permission", -EACCES}, {"size", -EMSGSIZE},
      {"full", -ENOBUFS},   {"rate", -EAGAIN},  {"mood", -EPROTO}};
  for (const auto& [refusal, error] : refusals) {
    EXPECT_EQ(EmitFor(AgentDouble::Refused(refusal, std::string("no ") + refusal)).first, error);
    EXPECT_EQ(Refusal(), refusal);
    EXPECT_EQ(hesper_agent_diagnosis(agent_.get()), std::string("no ") + refusal);
  }
  EXPECT_EQ(EmitFor(AgentDouble::Kept(3)).first, 3);
  EXPECT_EQ(Refusal(), "none");
  EXPECT_STREQ(hesper_agent_diagnosis(agent_.get()), "");
}

TEST_F(HandoverTest, WhatCanBeNoItemIsNotSent) {
  // Two bytes of three, an overlong form, half of a pair, and beyond the last character.
  for (const char* text : {"\xe2\x82", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
    for (const char* hesper_item::*member : {&hesper_item::topic, &hesper_item::token}) {
      item_ = {"a.b", nullptr, 0, 0, nullptr, nullptr, nullptr};
      item_.*member = text;
      EXPECT_EQ(Emit("p"), -EINVAL) << text;
      EXPECT_EQ(Refusal(), "topic");
    }
  }
  item_ = {"a.b", nullptr, 0, 0, nullptr, nullptr, nullptr};
  const std::string payload(HESPER_LARGEST_TEXT / 4 * 3, 'p');
  EXPECT_EQ(Emit(payload), -EMSGSIZE);
  item_.length = SIZE_MAX;
  EXPECT_EQ(hesper_agent_emit(agent_.get(), &item_, kPatienceMs, nullptr), -EMSGSIZE)
      << "nothing of it is read";
  const std::string token(HESPER_LARGEST_TEXT - 500, '\x01');
  item_.token = token.c_str();
  EXPECT_EQ(Emit("p"), -EMSGSIZE) << "escaped";
  EXPECT_EQ(Refusal(), "size");
  // Whatever the agent adds to the shortest text is its own matter.
  item_.token = nullptr;
  EXPECT_EQ(EmitFor(AgentDouble::Kept(1), payload.substr(0, payload.size() - 96)).first, 1);
}

TEST_F(HandoverTest, ALateAnswerIsNobodys) {
  EXPECT_EQ(Emit("one", kBriefMs), -ETIMEDOUT);
  EXPECT_EQ(Refusal(), "none");
  auto second = StartEmit("two");
  const auto firstSender = double_->Socket().Receive().second;
  const auto secondSender = double_->Socket().Receive().second;
  EXPECT_EQ(double_->Socket().Send(firstSender, AgentDouble::Kept(1)), ECONNREFUSED);
  EXPECT_EQ(double_->Socket().Send(secondSender, AgentDouble::Kept(2)), 0);
  EXPECT_EQ(second.get(), 2);
}

TEST_F(HandoverTest, NobodyElseCanAnswer) {
  const Testing::DatagramSocket nameless;
  const Testing::DatagramSocket stranger(folder_ / "stranger");
  auto emitted = StartEmit("p");
  const auto sender = double_->Socket().Receive().second;
  for (const auto* socket : {&nameless, &stranger}) {
    EXPECT_EQ(socket->Send(sender, AgentDouble::Kept(666)), EPERM);
  }
  double_->Socket().Send(sender, AgentDouble::Kept(1));
  EXPECT_EQ(emitted.get(), 1);
}

TEST_F(HandoverTest, WhatIsNoAnswerIsToldAndForgotten) {
  const std::vector<std::string> wrong = {
      "",
      "no JSON",
      "[]",
      "{}",
      R"({"status":"kept"})",
      R"({"status":"kept","sequence":-1})",
      R"({"status":"kept","sequence":"1"})",
      R"({"status":"kept","sequence":18446744073709551616})",
      R"({"status":"refused"})",
      R"({"status":"refused","error":["topic"]})",
      R"({"status":"lost","sequence":1})",
      AgentDouble::Kept(1) + "x",
      AgentDouble::Kept(1) + std::string(4096, ' '),
      AgentDouble::Refused("topic", "\xff"),
      AgentDouble::Refused("topic", std::string(4096, 'd')),
      std::string(4096, '['),
      "{\"a\":" + std::string(4000, '['),
  };
  for (const auto& answer : wrong) {
    EXPECT_EQ(EmitFor(answer).first, -EBADMSG) << answer;
    EXPECT_EQ(Refusal(), "none");
  }
  // Room for the longest one, and members that a newer agent may add.
  const std::string bare = AgentDouble::Refused("full", "");
  EXPECT_EQ(EmitFor(AgentDouble::Refused("full", std::string(4096 - bare.size(), 'd'))).first, -ENOBUFS);
  EXPECT_EQ(EmitFor(R"({"status":"kept","sequence":5,"waiting":[{"a":1}]})").first, 5);
}

TEST_F(HandoverTest, AFullSocketIsWaitedFor) {
  const int fillers = double_->Fill();
  ASSERT_GT(fillers, 0);
  EXPECT_EQ(Emit("lost", kBriefMs), -ETIMEDOUT);
  auto emitted = StartEmit("p");
  for (int i = 0; i < fillers; ++i) EXPECT_EQ(double_->Socket().Receive().first, "filler");
  EXPECT_EQ(double_->Serve(AgentDouble::Kept(8)), R"({"topic":"a.b","base64":"cA=="})");
  EXPECT_EQ(emitted.get(), 8);
}

TEST_F(HandoverTest, AnAgentThatIsGoneCanComeBack) {
  EXPECT_EQ(EmitFor(AgentDouble::Kept(1)).first, 1);
  double_.reset();
  EXPECT_EQ(Emit("p"), -ENOENT);
  hesper_agent* agent = nullptr;
  EXPECT_EQ(hesper_agent_open(&agent, path_.c_str()), -ENOENT);
  double_.emplace(path_);
  EXPECT_EQ(EmitFor(AgentDouble::Kept(2)).first, 2);
  // Another one in its place, and one that has left its socket's file.
  double_.reset();
  double_.emplace(path_);
  EXPECT_EQ(EmitFor(AgentDouble::Kept(3)).first, 3);
  double_.reset();
  { const Testing::DatagramSocket left(path_); }
  EXPECT_EQ(Emit("p"), -ECONNREFUSED);
  EXPECT_EQ(hesper_agent_open(&agent, (folder_ / std::string(200, 's')).c_str()), -ENAMETOOLONG);
}

}  // namespace
