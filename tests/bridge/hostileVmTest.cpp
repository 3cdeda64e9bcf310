#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <list>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/bridge/road.h"

namespace {

using namespace Testing;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t kLongestFrame = 1 << 20;
constexpr milliseconds kPromptly = milliseconds(20) * (SANITIZED ? 10 : 1);
constexpr milliseconds kBetweenGood{600};
constexpr const char* kGoodTopics = R"(,"topic_prefixes":["good"])";

// It's answered by an acknowledgement as long as they get, which quotes it.
const std::string kQuoted(kLargest, 'x');

std::string Header(std::uint32_t length) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<char>(length >> shift & 0xFF));
  return bytes;
}

// For how long a thread was ready to run and had no core; nothing where the kernel doesn't tell.
std::chrono::nanoseconds WaitedForCore(const std::filesystem::path& thread) {
  std::ifstream file(thread / "schedstat");
  std::chrono::nanoseconds::rep ran = 0;
  std::chrono::nanoseconds::rep waited = 0;
  file >> ran >> waited;
  return std::chrono::nanoseconds(waited);
}

// A VM that has done nothing wrong, and its subscriber.
class GoodVm {
 public:
  explicit GoodVm(Road& road)
      : road_(road),
        vm_(road.Choice("good")),
        stream_(vm_.Connect(road.port())),
        subscriber_(road.Subscribe(kGoodTopics)) {}

  // What the machine has others do meanwhile doesn't count, neither here nor in bridge and daemon.
  void ExpectServedPromptly(std::size_t times) {
    std::vector<steady_clock::duration> delays;
    std::ostringstream told;
    while (delays.size() < times) {
      std::this_thread::sleep_for(kBetweenGood);
      const auto waited = Waited();
      const auto start = steady_clock::now();
      const auto topic = "good." + std::to_string(++sequence_);
      EXPECT_EQ(stream_.Publish(Text(sequence_, topic)), GoodAcknowledgement(sequence_));
      const auto time = steady_clock::now() - start;
      delays.push_back(time - (Waited() - waited));
      told << ' ' << Milliseconds(time) << " (" << Milliseconds(delays.back()) << ')';
      EXPECT_TRUE(Tells(subscriber_.Next(), "topic", topic));
    }
    std::sort(delays.begin(), delays.end());
    EXPECT_LE(delays[times / 2], kPromptly) << "milliseconds, and without the wait for cores:" << told.str();
  }

 private:
  static double Milliseconds(steady_clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
  }

  std::chrono::nanoseconds Waited() const {
    auto waited = WaitedForCore("/proc/thread-self");
    for (const auto process : {road_.bridge->pid(), road_.daemon.pid()}) {
      const auto threads = "/proc/" + std::to_string(process) + "/task";
      for (const auto& thread : std::filesystem::directory_iterator(threads)) waited += WaitedForCore(thread);
    }
    return waited;
  }

  Road& road_;
  HybridVm vm_;
  GuestStream stream_;
  Subscriber subscriber_;
  std::uint64_t sequence_ = 0;
};

TEST(HostileVmTest, EveryLengthIsAnsweredOrCutOff) {
  Road road;
  const auto padded = [](std::size_t size) {
    const auto text = Text(1);
    return std::string(size - text.size(), ' ') + text;
  };
  const struct {
    std::size_t length;
    std::string status;
  } lengths[] = {{0, "bad"}, {kLargest, "ok"}, {kLargest + 1, "bad"}, {kLongestFrame, "bad"}};
  HybridVm vm(road.Choice("lengths"));
  auto stream = vm.Connect(road.port());
  for (const auto& [length, status] : lengths) {
    const auto answer = stream.Publish(length == 0 ? "" : padded(length));
    EXPECT_NE(answer.find("\"status\":\"" + status + '"'), std::string::npos)
        << length << answer.substr(0, 99);
  }
  for (const std::uint32_t length : {static_cast<std::uint32_t>(kLongestFrame + 1), 0xFFFFFFFFU}) {
    stream.SendBytes(Header(length));
    EXPECT_TRUE(stream.Closes());
    stream = vm.Connect(road.port());
  }
  EXPECT_EQ(stream.Publish(Text(2)), GoodAcknowledgement(2));
  EXPECT_EQ(road.bridge->Logged("has sent a frame that is too long"), 1U);
}

bool IsClosed(const GuestStream& stream) {
  return stream.Closes(milliseconds(0));
}

using Stop = const std::atomic<bool>&;

struct Attack {
  const char* name;
  std::function<void(Road&, Stop)> run;
};

void SendSingleBytes(Road& road, Stop stop) {
  HybridVm vm(road.Choice("slow"));
  std::vector<GuestStream> streams;
  for (int i = 0; i < 16; ++i) {
    streams.push_back(vm.Connect(road.port()));
    streams.back().SendBytes(Header(kLongestFrame));
  }
  while (!stop) {
    for (auto& stream : streams) stream.SendSome(" ");
  }
}

// Nothing but one frame, whose bytes come as fast as they are read.
void SendSingleBytesOfOneFrame(Road& road, Stop stop) {
  HybridVm vm(road.Choice("steady"));
  while (!stop) {
    auto stream = vm.Connect(road.port());
    stream.SendBytes(Header(kLongestFrame));
    for (std::size_t sent = 1; sent < kLongestFrame && !stop;) sent += stream.SendSome(" ");
  }
}

void OpenAThousand(Road& road, Stop stop) {
  HybridVm vm(road.Choice("thousand"));
  while (!stop) {
    std::vector<GuestStream> streams;
    for (int i = 0; i < 1000; ++i) {
      streams.push_back(vm.Connect(road.port()));
      streams.back().SendSome(std::string_view("\0\0\1\0half", 8));
    }
    EXPECT_TRUE(Eventually([&] { return std::count_if(streams.begin(), streams.end(), IsClosed) == 984; }));
  }
}

void ConnectAndClose(Road& road, Stop stop) {
  HybridVm vm(road.Choice("storm"));
  while (!stop) vm.Connect(road.port()).SendSome(std::string_view("\0\0\0\0\0", 5));
}

void SendWrongLengths(Road& road, Stop stop) {
  HybridVm vm(road.Choice("wrong"));
  while (!stop) {
    auto stream = vm.Connect(road.port());
    stream.SendSome(Header(0xFFFFFFFFU) + kQuoted);
    EXPECT_TRUE(stream.Closes());
  }
}

void Flood(Road& road, Stop stop) {
  HybridVm vm(road.Choice("flood"));
  auto stream = vm.Connect(road.port());
  const auto frame = stream.Frame(kQuoted);
  for (std::size_t at = 0; !stop; at %= frame.size()) {
    at += stream.SendSome(std::string_view(frame).substr(at));
    stream.Receive(milliseconds(1));
  }
}

void SendNoise(Road& road, Stop stop) {
  SerialVm vm(road.Choice("noise"));
  std::uint32_t state = 1;
  std::string noise(100000, '\0');
  auto stream = vm.Connect();
  while (!stop) {
    for (auto& byte : noise) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    if (stream.SendSome(noise) == 0) stream.Receive(milliseconds(1));
  }
}

const Attack kAttacks[] = {
    {"single bytes", SendSingleBytes},     {"single bytes of one frame", SendSingleBytesOfOneFrame},
    {"1000 connections", OpenAThousand},   {"connections that close at once", ConnectAndClose},
    {"wrong lengths", SendWrongLengths},   {"more than the rate", Flood},
    {"noise on a serial line", SendNoise},
};

// Guests that send what is answered at length, and read nothing of it.
class SilentVms {
 public:
  static constexpr int kCount = 100;

  explicit SilentVms(Road& road) {
    for (int i = 0; i < kCount; ++i) {
      vms_.emplace_back(road.Choice("silent." + std::to_string(i)));
      streams_.push_back(vms_.back().Connect(road.port()));
      left_.emplace_back();
    }
    for (int i = 0; i < 10; ++i) frames_ += streams_[0].Frame(kQuoted);
    for (auto& left : left_) left = frames_;
  }

  // Each goes on as far as it gets.
  void Send() {
    for (std::size_t i = 0; i < streams_.size(); ++i) left_[i].remove_prefix(streams_[i].SendSome(left_[i]));
  }

  void ExpectClosed() {
    EXPECT_TRUE(Eventually([&] { return std::all_of(streams_.begin(), streams_.end(), IsClosed); }));
  }

 private:
  std::list<HybridVm> vms_;
  std::vector<GuestStream> streams_;
  std::string frames_;
  std::vector<std::string_view> left_;
};

TEST(HostileVmTest, NobodyElseWaits) {
  RaiseDescriptorLimit();
  Road road;
  GoodVm good(road);
  good.ExpectServedPromptly(3);
  const auto descriptors = road.bridge->Descriptors();
  const auto memory = road.bridge->ResidentBytes();
  SilentVms silent(road);
  std::atomic<bool> stop{false};
  std::thread silence([&] {
    for (; !stop; std::this_thread::sleep_for(milliseconds(10))) silent.Send();
  });
  std::vector<std::thread> running;
  const auto end = [&] {
    stop = true;
    for (auto& thread : running) thread.join();
    running.clear();
  };
  {
    SCOPED_TRACE("acknowledgements that nobody reads");
    good.ExpectServedPromptly(5);
  }
  if (!SANITIZED) {
    EXPECT_LE(road.bridge->ResidentBytes(), memory + SilentVms::kCount * std::size_t{256} * 1024);
  }
  std::atomic<bool> stopAttack{false};
  for (const auto& attack : kAttacks) {
    SCOPED_TRACE(attack.name);
    stopAttack = false;
    std::thread thread([&] { attack.run(road, stopAttack); });
    good.ExpectServedPromptly(3);
    stopAttack = true;
    thread.join();
  }
  {
    SCOPED_TRACE("all attacks");
    stopAttack = false;
    for (const auto& attack : kAttacks) running.emplace_back([&] { attack.run(road, stopAttack); });
    good.ExpectServedPromptly(5);
    stopAttack = true;
  }
  end();
  silence.join();
  silent.ExpectClosed();
  good.ExpectServedPromptly(1);
  EXPECT_TRUE(Eventually([&] { return road.bridge->Descriptors() <= descriptors + SilentVms::kCount; }));
}

}  // namespace
