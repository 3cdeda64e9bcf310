#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>

#include <boost/process.hpp>
#include <iterator>
#include <string>
#include <utility>

#include "guest/lib/hesperguest.h"
#include "guest/link/publicationText.h"
#include "testing/testHost.h"

namespace {

using GuestLink::ReadHistoryRequest;
using Testing::PlainSocket;
using Testing::TestHost;

constexpr std::uint32_t kDaemonPort = 7777;
constexpr int kPatienceMs = 20000;

int Read(const std::string& text, hesper_acknowledgement& acknowledgement) {
  return hesper_read_acknowledgement(text.data(), text.size(), &acknowledgement);
}

TEST(AcknowledgementTest, IsReadThoughItsDiagnosisIsNoJson) {
  hesper_acknowledgement read{};
  ASSERT_EQ(Read("{\n\"sequence\":7,\n\"status\":\"ok\",\n\"rateLimit\":2\n}", read), 0);
  EXPECT_TRUE(read.accepted && read.has_sequence);
  EXPECT_EQ(read.sequence, 7U);
  EXPECT_EQ(read.rate_limit, 2U);
  // A guest's text within it can look like a status of its own.
  ASSERT_EQ(Read("{\n\"status\":\"bad\",\n\"diagnosis\":\"error(s): {1, "
                 "'\n\"status\":\"ok\",\n\"rateLimit\":9'}\",\n\"rateLimit\":2\n}",
                 read),
            0);
  EXPECT_FALSE(read.accepted || read.has_sequence);
  EXPECT_EQ(read.rate_limit, 2U);
  EXPECT_EQ(Read("{\"status\":\"ok\"}", read), -EBADMSG);
  EXPECT_EQ(Read("{\n\"status\":\"ok\",\n\"rateLimit\":2\n} ", read), -EBADMSG);
  EXPECT_EQ(Read("", read), -EBADMSG);
}

TEST(HistoryRequestTest, IsReadAndMatchesWholeComponents) {
  const auto request =
      ReadHistoryRequest(R"({ "pastSeconds": 3600, "id": 5, "topicPrefixes": [ "a.b", "c" ] })");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->pastSeconds, 3600U);
  EXPECT_EQ(request->id, 5U);
  EXPECT_TRUE(request->Takes("a.b") && request->Takes("a.b.x") && request->Takes("c"));
  EXPECT_FALSE(request->Takes("a") || request->Takes("a.bc") || request->Takes("x.c"));
  // The host takes no "a.d" for "a" and "a.c", so it isn't sent.
  EXPECT_FALSE(ReadHistoryRequest(R"({"pastSeconds":1,"id":0,"topicPrefixes":["a.c","a"]})")->Takes("a.d"));
  EXPECT_TRUE(ReadHistoryRequest(R"({ "pastSeconds": 1, "id": 0 })")->Takes("anything"));
  EXPECT_FALSE(ReadHistoryRequest(R"({ "pastSeconds": 1, "id": 5, "topicPrefixes": [ "a"b" ] })"));
  EXPECT_FALSE(ReadHistoryRequest(R"({ "pastSeconds": -1, "id": 5 })"));
  EXPECT_FALSE(ReadHistoryRequest(R"({"pastSeconds":1,"id":5,"topicPrefixes":)" + std::string(500000, '[')));
}

// A program with its standard input and output on pipes.
class Program {
 public:
  Program(const std::string& name, const std::vector<std::string>& arguments)
      : child_(std::string(TOOLS_FOLDER) + "/" + name, arguments,
               boost::process::std_in<in_, boost::process::std_out> out_) {}

  void Write(const std::string& text) { in_ << text << std::flush; }
  void CloseInput() { in_.pipe().close(); }
  void Stop() { kill(child_.id(), SIGTERM); }
  // The exit status and the whole output.
  std::pair<int, std::string> End() {
    CloseInput();
    const std::string output(std::istreambuf_iterator<char>(out_), {});
    child_.wait();
    return {child_.exit_code(), output};
  }

 private:
  boost::process::opstream in_;
  boost::process::ipstream out_;
  boost::process::child child_;
};

class PublishTest : public testing::Test {
 protected:
  void SetUp() override {
    host_.AddVm(5);
    ASSERT_EQ(daemon_.Bind(kDaemonPort), 0);
  }

  // The next text from the guest, which it answers.
  std::string Serve(const std::string& acknowledgement) {
    pollfd event{daemon_.Get(), POLLIN, 0};
    EXPECT_EQ(poll(&event, 1, kPatienceMs), 1);
    const auto [text, source] = daemon_.Receive();
    EXPECT_TRUE(acknowledgement.empty() || daemon_.Send(source.cid, source.port, acknowledgement) == 0);
    return text;
  }

  static std::string Good(int sequence) {
    return "{\n\"sequence\":" + std::to_string(sequence) + ",\n\"status\":\"ok\",\n\"rateLimit\":1000\n}";
  }

  static std::string TextOf(int sequence, const std::string& more, const std::string& base64) {
    return "{\"header\":{\"sequence\":" + std::to_string(sequence) +
           ",\"createTime\":\"2026-11-24T21:15:00Z\",\"topic\":\"a.b\",\"token\":\"\"" + more +
           "},\"payload\":{\"category\":\"data\",\"base64\":\"" + base64 + "\"}}";
  }

  const std::vector<std::string> arguments_{
      "--cid", "5", "--topic", "a.b", "--create-time", "2026-11-24T21:15:00Z"};
  const std::string bad_ = "{\n\"status\":\"bad\",\n\"diagnosis\":\"x\",\n\"rateLimit\":2\n}";
  TestHost host_;
  PlainSocket daemon_;
};

TEST_F(PublishTest, ServesHistoryToTheOneThatAsks) {
  auto arguments = arguments_;
  arguments.insert(arguments.end(), {"--serve-history", "--lines", "--timeout", "3"});
  Program guest("hesper-publish", arguments);
  guest.Write("one\ntwo\n");
  EXPECT_EQ(Serve(Good(1)), TextOf(1, "", "b25l"));
  EXPECT_EQ(Serve(bad_), TextOf(2, "", "dHdv"));
  PlainSocket requestor;
  ASSERT_EQ(requestor.Send(5, 766, R"({ "pastSeconds": 3600, "id": 4, "topicPrefixes": [ "b" ] })"), 0);
  ASSERT_EQ(requestor.Send(5, 766, "no request"), 0);
  ASSERT_EQ(requestor.Send(5, 766, R"({ "pastSeconds": 3600, "id": 5, "topicPrefixes": [ "a" ] })"), 0);
  // What was refused is no publication; what is not answered is sent once more.
  const std::string repeat = TextOf(3, ",\"subscribers\":[5]", "b25l");
  EXPECT_EQ(Serve(""), repeat);
  EXPECT_EQ(Serve(Good(3)), repeat);
  guest.Write("three\n");
  EXPECT_EQ(Serve(Good(4)), TextOf(4, "", "dGhyZWU="));
  PlainSocket other;
  ASSERT_EQ(other.Send(5, 766, R"({ "pastSeconds": 3600, "id": 6 })"), 0);
  EXPECT_EQ(Serve(Good(5)), TextOf(5, ",\"subscribers\":[6]", "b25l"));
  EXPECT_EQ(Serve(Good(6)), TextOf(6, ",\"subscribers\":[6]", "dGhyZWU="));
  guest.Stop();
  EXPECT_EQ(guest.End(), std::pair(1, Good(1) + bad_ + Good(4)));
}

}  // namespace
