#include <gtest/gtest.h>

#include <cerrno>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "guest/lib/hesperguest.h"
#include "tests/guest/allocations.h"
#include "tests/guest/serialLine.h"

extern "C" int publish_and_serve(const hesper_options* options, const char* text, char* request,
                                 std::size_t room);

namespace {

using Testing::HostAbsence;
using Testing::IsReadable;
using Testing::kPatienceMs;
using Testing::SerialLine;

constexpr int kMomentMs = 30;

std::string Acknowledgement(int sequence, const std::string& status = "ok") {
  return "{\n\"sequence\":" + std::to_string(sequence) + ",\n\"status\":\"" + status +
         "\",\n\"rateLimit\":2\n}";
}

void Add(void* texts, const char* text, std::size_t length) {
  static_cast<std::vector<std::string>*>(texts)->emplace_back(text, length);
}

// A guest at one end of two lines, its host at the other.
class GuestLibraryTest : public testing::Test {
 protected:
  void Open() {
    hesper_guest* guest = nullptr;
    ASSERT_EQ(hesper_open(&guest, &options_), 0);
    guest_.reset(guest);
  }
  void OpenHistory() {
    hesper_history* history = nullptr;
    ASSERT_EQ(hesper_history_open(&history, &options_), 0);
    history_.reset(history);
  }

  int Send(const std::string& text, int timeout = kPatienceMs) {
    return hesper_send(guest_.get(), text.data(), text.size(), timeout);
  }
  // What came, or the error.
  std::string Receive(int timeout = kPatienceMs) {
    const char* text = nullptr;
    std::size_t length = 0;
    const int error = hesper_receive(guest_.get(), &text, &length, timeout);
    return error == 0 ? std::string(text, length) : std::to_string(error);
  }
  int Publish(const std::string& text, std::uint64_t sequence, int timeout = kPatienceMs) {
    return hesper_publish(guest_.get(), text.data(), text.size(), sequence, timeout, &acknowledgement_);
  }
  std::vector<std::string> Serve(int timeout = kPatienceMs) {
    std::vector<std::string> texts;
    const int requests = hesper_history_serve(history_.get(), Add, &texts, timeout);
    EXPECT_EQ(requests, static_cast<int>(texts.size()));
    return texts;
  }

  struct Closer {
    void operator()(hesper_guest* guest) { hesper_close(guest); }
    void operator()(hesper_history* history) { hesper_history_close(history); }
  };

  const std::string timedOut_ = std::to_string(-ETIMEDOUT);
  SerialLine line_;
  SerialLine historyLine_;
  hesper_options options_{HESPER_SERIAL, 0, 0, 0, line_.Device(), historyLine_.Device(), 0};
  std::unique_ptr<hesper_guest, Closer> guest_;
  std::unique_ptr<hesper_history, Closer> history_;
  hesper_acknowledgement acknowledgement_{};
};

TEST_F(GuestLibraryTest, ServesAProgramInC) {
  line_.Send({Acknowledgement(7)});
  historyLine_.Send({"a request"});
  char request[32] = "";
  EXPECT_EQ(publish_and_serve(&options_, "a text", request, sizeof request), 1);
  EXPECT_STREQ(request, "a request");
  EXPECT_EQ(line_.Receive(), "a text");
}

TEST_F(GuestLibraryTest, PublishPassesOverWhatComesLateForAnother) {
  Open();
  EXPECT_EQ(Publish("one", 1, kMomentMs), -ETIMEDOUT);
  line_.Send({"cut off"});
  line_.Write("\x05g");
  line_.Send({Acknowledgement(1), Acknowledgement(2, "bad"), Acknowledgement(3)});
  EXPECT_EQ(Receive(), "cut off");
  EXPECT_EQ(Publish("two", 2), 0);
  EXPECT_FALSE(acknowledgement_.accepted);
  EXPECT_EQ(acknowledgement_.sequence, 2U);
  EXPECT_EQ(std::string(acknowledgement_.text, acknowledgement_.length), Acknowledgement(2, "bad"));
  // Without a number of its own, any will do.
  EXPECT_EQ(Publish("three", 0), 0);
  EXPECT_EQ(acknowledgement_.sequence, 3U);
  // One without a number may be this one's.
  line_.Send({"{\n\"status\":\"bad\",\n\"diagnosis\":\"x\",\n\"rateLimit\":2\n}"});
  EXPECT_EQ(Publish("four", 4), 0);
  EXPECT_FALSE(acknowledgement_.accepted || acknowledgement_.has_sequence);
  line_.Send({"no acknowledgement"});
  EXPECT_EQ(Publish("five", 5), -EBADMSG);
  for (const char* text : {"one", "two", "three", "four", "five"}) EXPECT_EQ(line_.Receive(), text);
}

TEST_F(GuestLibraryTest, LargeTextsPassInParts) {
  Open();
  const std::string text(HESPER_LARGEST_TEXT, '\0');
  auto received = std::async(std::launch::async, [&] { return line_.Receive(); });
  EXPECT_EQ(Send(text), 0);
  EXPECT_EQ(received.get(), text);
  const auto sent = std::async(std::launch::async, [&] { line_.Send({text}); });
  EXPECT_EQ(Receive(), text);
}

TEST_F(GuestLibraryTest, ErrorsTellWhatIsWrong) {
  for (const auto& [path, error] :
       {std::pair("/dev/virtio-ports/none", -ENODEV), std::pair("/tmp", -EISDIR)}) {
    const hesper_options options{HESPER_SERIAL, 0, 0, 0, path, path, 0};
    hesper_guest* guest = nullptr;
    hesper_history* history = nullptr;
    EXPECT_EQ(hesper_open(&guest, &options), error);
    EXPECT_EQ(hesper_history_open(&history, &options), error);
  }
  Open();
  EXPECT_EQ(Send(std::string((1 << 20) + 1, 'a')), -EMSGSIZE);
  EXPECT_EQ(Send(std::string(1 << 20, 'a'), kMomentMs), -ETIMEDOUT) << "nobody reads";
  const auto sent =
      std::async(std::launch::async, [&] { line_.Write('\0' + std::string((1 << 20) + 4500, '\1')); });
  EXPECT_EQ(Receive(), std::to_string(-EBADMSG));
}

TEST_F(GuestLibraryTest, AHostThatIsGoneCanComeBack) {
  Open();
  OpenHistory();
  std::future<int> published;
  std::future<std::vector<std::string>> served;
  {
    const HostAbsence absence;
    EXPECT_EQ(Receive(kMomentMs), timedOut_);
    EXPECT_EQ(Serve(kMomentMs), std::vector<std::string>());
    HostAbsence::AwaitLooks(1);
    served = std::async(std::launch::async, [this] { return Serve(); });
    published = std::async(std::launch::async, [this] { return Publish("a text", 1); });
    HostAbsence::AwaitLooks(4);
  }
  EXPECT_EQ(line_.Receive(), "a text");
  line_.Send({Acknowledgement(1)});
  EXPECT_EQ(published.get(), 0);
  historyLine_.Send({"a request"});
  EXPECT_EQ(served.get(), std::vector<std::string>{"a request"});
}

TEST_F(GuestLibraryTest, ItsDescriptorsWakeWhoeverWaitsAndLetHimRest) {
  Open();
  OpenHistory();
  const int descriptor = hesper_descriptor(guest_.get());
  EXPECT_FALSE(IsReadable(descriptor, 0));
  line_.Write(std::string("\0\3a", 3));
  EXPECT_TRUE(IsReadable(descriptor));
  EXPECT_EQ(Receive(0), timedOut_);
  EXPECT_FALSE(IsReadable(descriptor, 0));
  line_.Write(std::string("b\0\2c\0", 5));
  EXPECT_TRUE(IsReadable(descriptor));
  EXPECT_EQ(Receive(), "ab");
  EXPECT_EQ(Receive(), "c");
  EXPECT_EQ(Receive(0), timedOut_);
  EXPECT_FALSE(IsReadable(descriptor, 0));

  const int historyDescriptor = hesper_history_descriptor(history_.get());
  EXPECT_FALSE(IsReadable(historyDescriptor, 0));
  historyLine_.Send({"one", "two"});
  EXPECT_TRUE(IsReadable(historyDescriptor));
  auto requests = Serve();
  if (requests.size() == 1) requests.push_back(Serve().at(0));
  EXPECT_EQ(requests, (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(Serve(0), std::vector<std::string>());
  EXPECT_FALSE(IsReadable(historyDescriptor, 0));

  // A host that has gone is told of once.
  line_.HangUp();
  historyLine_.HangUp();
  EXPECT_TRUE(IsReadable(descriptor) && IsReadable(historyDescriptor));
  EXPECT_EQ(Receive(0), timedOut_);
  EXPECT_EQ(Serve(0), std::vector<std::string>());
  EXPECT_FALSE(IsReadable(descriptor, 0) || IsReadable(historyDescriptor, 0));
}

TEST_F(GuestLibraryTest, AllocatesOnlyWhileTheTextsGrow) {
  Open();
  OpenHistory();
  const std::string text(2000, 't');
  std::size_t calls = 0;
  const auto count = [&calls](auto call) {
    const auto before = Testing::CountAllocations().calls;
    call();
    calls += Testing::CountAllocations().calls - before;
  };
  const auto ignore = [](void*, const char*, std::size_t) {};
  for (int i = 10; i < 20; ++i) {
    line_.Send({Acknowledgement(9), Acknowledgement(i)});
    historyLine_.Send({std::string(100, 'r')});
    count([&] { EXPECT_EQ(Publish(text, static_cast<std::uint64_t>(i)), 0); });
    count([&] { EXPECT_EQ(hesper_history_serve(history_.get(), ignore, nullptr, kPatienceMs), 1); });
    EXPECT_EQ(line_.Receive(), text);
    EXPECT_TRUE(i == 10 || calls == 0) << i;
    calls = 0;
  }
}

}  // namespace
