// A long run in which everything comes and goes at once, beside a few guests and one subscriber that have to
// be served without a loss. Compares the daemon's memory, descriptors and latency at the end with those at
// the start, and fails on growth. usage: soak SECONDS

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/corvane/paths.h"
#include "testing/daemon.h"
#include "testing/subscriber.h"

namespace {

using namespace Testing;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kSteadyGuests = 8;
constexpr std::uint32_t kFirstSteadyCid = 100;
constexpr std::uint32_t kFirstPassingCid = 1000;
constexpr const char kSteadyTopics[] = R"({"vm_id_type":"MGR_VM_ID","topic_prefixes":["steady"]})";

std::int64_t NowNs() {
  return Clock::now().time_since_epoch().count();
}

struct Sample {
  long anonymousKiB = 0;
  long descriptors = 0;
};

Sample Measure(const Daemon& daemon) {
  Sample sample;
  const auto process = "/proc/" + std::to_string(daemon.pid());
  std::ifstream status(process + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("RssAnon:")) sample.anonymousKiB = std::stol(line.substr(8));
  }
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(process + "/fd")) {
    ++sample.descriptors;
  }
  return sample;
}

// Latencies of the steady publications since the last look, in microseconds.
class Latencies {
 public:
  void Add(std::int64_t nanoseconds) {
    const std::lock_guard lock(mutex_);
    values_.push_back(nanoseconds);
  }
  double TakeP99() {
    std::vector<std::int64_t> values;
    {
      const std::lock_guard lock(mutex_);
      values.swap(values_);
    }
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return static_cast<double>(values[values.size() * 99 / 100]) / 1e3;
  }

 private:
  std::mutex mutex_;
  std::vector<std::int64_t> values_;
};

// What runs until the soak ends, each in a thread of its own.
class Soak {
 public:
  explicit Soak(std::chrono::seconds length) : length_(length), daemon_({.settings = LogSettings()}) {}

  int Run() {
    // The tool's keys have to be there before they are played with.
    Authorized();
    keys_ = ReadKeys();
    for (std::size_t i = 0; i < kSteadyGuests; ++i) {
      vms_.push_back(std::make_unique<Vm>(kFirstSteadyCid + static_cast<std::uint32_t>(i)));
    }
    Start([this] { ReadSteadily(); });
    // Everything else waits for its publications, so it ends last.
    std::thread publisher([this] { Guarded([this] { PublishSteadily(); }); });
    while (received_ == 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    sentBeforeFirst_ = sent_ - received_;
    Start([this] { VmsComeAndGo(); });
    Start([this] { ClientsComeAndGo(); });
    Start([this] { KeysChange(); });
    Start([this] { LogsRotate(); });

    const auto window = std::max(length_ / 10, std::chrono::seconds(5));
    std::this_thread::sleep_for(window);
    const auto first = Report("start");
    const auto firstP99 = lastP99_;
    for (auto left = length_ - 2 * window; left.count() > 0; left -= window) {
      std::this_thread::sleep_for(std::min(left, window));
      Report("");
    }
    std::this_thread::sleep_for(window);
    const auto last = Report("end");
    lostAtEnd_ = Lost();
    stop_ = true;
    for (auto& thread : threads_) thread.join();
    stopPublishing_ = true;
    publisher.join();
    return Judge(first, last, firstP99);
  }

 private:
  static std::string LogSettings() {
    return "<log><file>" + SharedHost().Directory() +
           "-soak.log</file><maxBytes>1000000</maxBytes><maxFiles>2</maxFiles></log>";
  }

  template <typename Work>
  void Guarded(Work work) {
    try {
      work();
    } catch (const std::exception& fault) {
      std::printf("soak: %s\n", fault.what());
      failed_ = true;
    }
  }

  template <typename Work>
  void Start(Work work) {
    threads_.emplace_back([this, work] { Guarded(work); });
  }

  // Each steady guest once a second, which is half of its allowance.
  void PublishSteadily() {
    std::vector<Krell::GuestSocket> guests;
    for (const auto& vm : vms_) guests.emplace_back(vm->cid());
    while (!stopPublishing_) {
      for (auto& guest : guests) {
        const auto topic = "steady." + std::to_string(NowNs());
        const auto sequence = static_cast<std::uint64_t>(sent_ + 1);
        if (Publish(guest, daemon_, PublicationText(sequence, topic, "aGk=")) !=
            GoodAcknowledgement(sequence)) {
          throw std::runtime_error("a good publication was not acknowledged");
        }
        ++sent_;
        std::this_thread::sleep_for(std::chrono::milliseconds(1000 / kSteadyGuests));
      }
    }
  }

  void ReadSteadily() {
    Subscriber subscriber(daemon_.port(), kSteadyTopics);
    while (!stop_) {
      const auto element = subscriber.Next();
      const auto topic = element.find("\"steady.");
      if (topic == std::string::npos) throw std::runtime_error("not a steady publication: " + element);
      latencies_.Add(NowNs() - std::stoll(element.substr(topic + 8)));
      ++received_;
    }
  }

  void VmsComeAndGo() {
    for (std::uint32_t number = 0; !stop_; ++number) {
      // Few cids, so that they are used again by others.
      const Vm vm(kFirstPassingCid + number % 50);
      Krell::GuestSocket guest(vm.cid());
      const bool good = number % 3 != 0;
      const auto text = good ? PublicationText(number, "passing." + std::to_string(number), "aGk=")
                             : std::string(60000, '[');
      if (Publish(guest, daemon_, text).empty()) throw std::runtime_error("a passing guest got no answer");
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }

  void ClientsComeAndGo() {
    constexpr std::size_t kStalled = 40;
    std::mt19937 random(1);
    std::vector<std::unique_ptr<Subscriber>> stalled;
    while (!stop_) {
      stalled.push_back(std::make_unique<Subscriber>(daemon_.port(), kEverything, 4096));
      if (stalled.size() > kStalled) {
        stalled.erase(stalled.begin() + static_cast<std::ptrdiff_t>(random() % kStalled));
      }
      Subscriber brief(daemon_.port(), kEverything);
      brief.Next();
      if (random() % 2 == 0) brief.connection().Reset();
      Connection nonsense(daemon_.port());
      nonsense.Send(std::string(random() % 5000, 'x'));
      Connection nameless(daemon_.port());
      nameless.Send(CallRequest(kSubscribe, "{}", "application/json", "Connection: close\r\n", ""));
      if (nameless.ReceiveAll().find("unauthenticated") == std::string::npos) {
        throw std::runtime_error("a nameless caller was let in");
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }

  // Good keys, half of a file, and good keys again; the last good ones have to stay in force all the time.
  void KeysChange() {
    for (std::size_t round = 0; !stop_; ++round) {
      WriteKeys(round % 2 == 0 ? keys_.substr(0, keys_.size() / 2) : keys_);
      std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    }
    WriteKeys(keys_);
  }

  void LogsRotate() {
    while (!stop_) {
      std::error_code ignored;
      std::filesystem::rename(Corvane::Paths::kAuditFile, std::string(Corvane::Paths::kAuditFile) + ".1",
                              ignored);
      std::this_thread::sleep_for(std::chrono::seconds(2));
    }
  }

  static std::string ReadKeys() {
    std::ifstream file(Corvane::Paths::kTokenKeysFile);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  static void WriteKeys(const std::string& text) {
    const auto temporary = std::string(Corvane::Paths::kTokenKeysFile) + ".soak";
    std::ofstream(temporary) << text;
    std::filesystem::permissions(temporary,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    std::filesystem::rename(temporary, Corvane::Paths::kTokenKeysFile);
  }

  // Of what was sent since the subscription stood. One may be on its way.
  std::int64_t Lost() const { return sent_ - sentBeforeFirst_ - received_; }

  Sample Report(const char* name) {
    const auto sample = Measure(daemon_);
    lastP99_ = latencies_.TakeP99();
    std::printf(
        "%-6s memory %6ld KiB, descriptors %4ld, sent %8lld, on their way or lost %lld, p99 %8.0f us\n", name,
        sample.anonymousKiB, sample.descriptors, static_cast<long long>(sent_.load()),
        static_cast<long long>(Lost()), lastP99_);
    std::fflush(stdout);
    return sample;
  }

  int Judge(const Sample& first, const Sample& last, double firstP99) {
    constexpr long kMemorySlackKiB = 8 * 1024;
    constexpr long kDescriptorSlack = 60;  // the stalled clients' number varies
    constexpr double kP99LimitUs = 50'000;
    if (!daemon_.IsRunning()) return Fail("the daemon has ended");
    if (failed_) return Fail("a part of the soak has failed");
    if (lostAtEnd_ > 1) return Fail("publications were lost");
    if (last.anonymousKiB > first.anonymousKiB + first.anonymousKiB / 4 + kMemorySlackKiB) {
      return Fail("memory grows");
    }
    if (last.descriptors > first.descriptors + kDescriptorSlack) return Fail("descriptors grow");
    if (lastP99_ > std::max(kP99LimitUs, 2 * firstP99)) return Fail("latency grows");
    std::printf("soak: passed\n");
    return 0;
  }

  static int Fail(const char* reason) {
    std::printf("soak: %s\n", reason);
    return 1;
  }

  const std::chrono::seconds length_;
  Daemon daemon_;
  std::vector<std::unique_ptr<Vm>> vms_;
  std::string keys_;
  std::vector<std::thread> threads_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> failed_{false};
  std::atomic<bool> stopPublishing_{false};
  std::atomic<std::int64_t> sent_{0};
  std::atomic<std::int64_t> received_{0};
  std::int64_t sentBeforeFirst_ = 0;
  std::int64_t lostAtEnd_ = 0;
  Latencies latencies_;
  double lastP99_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  const auto seconds = argc == 2 ? std::atol(argv[1]) : 0;
  if (seconds <= 0) {
    std::fprintf(stderr, "usage: soak SECONDS\n");
    return 64;
  }
  SharedHost();
  return Soak(std::chrono::seconds(seconds)).Run();
}
