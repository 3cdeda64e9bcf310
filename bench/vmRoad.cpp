// The road of real VMs on one machine: doubles of guests on hybrid vsock, the bridge and the daemon as
// processes of their own. One thread is all guests: each sends in its turn, and hears its acknowledgements.
// usage: vmRoad [VMS BYTES PUBLICATIONS_PER_SECOND SECONDS [pinned]]

#include <sched.h>
#include <sys/epoll.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "guest/wire/framing.h"
#include "lib/public/api/guestLimits.h"
#include "platform/corvane/fileDescriptor.h"
#include "testing/bridge.h"
#include "testing/daemon.h"
#include "testing/guestText.h"
#include "testing/procfs.h"
#include "testing/temporaryFolder.h"
#include "testing/vmDoubles.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

constexpr std::uint64_t kSequence = 1;

struct Case {
  std::size_t vms;
  std::size_t bytes;
  unsigned perSecond;
  unsigned seconds;
  bool pinned;  // daemon and bridge on a core each
};

constexpr Case kCases[] = {
    {1000, 256, 1000, 10, false},
    {1000, 4096, 1000, 10, false},
    {1000, 65536, 1000, 10, false},
    {3000, 256, 2000, 10, false},
    {3000, NornHesper::kLargestDatagram, 6000, 15, true},
};

void Pin(pid_t pid, std::size_t core) {
  const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(core, &cores);
  for (const auto& task : std::filesystem::directory_iterator(tasks)) {
    sched_setaffinity(std::atoi(task.path().filename().c_str()), sizeof cores, &cores);
  }
}

// A VM whose guest is connected. All guests send the same frame, so that they cost little beside what is
// measured.
class Guest {
 public:
  Guest(const Testing::VmChoice& choice, std::uint32_t port, const std::string& frame)
      : vm_(choice), stream_(vm_.Connect(port)), frame_(frame) {}

  void Publish() {
    sent_.push_back(Clock::now());
    left_ += frame_.size();
    Flush();
  }

  // As far as it is taken now.
  void Flush() {
    while (left_ > 0) {
      const auto begun = (frame_.size() - left_ % frame_.size()) % frame_.size();
      const auto size = stream_.SendSome(std::string_view(frame_).substr(begun));
      if (size == 0) return;
      left_ -= size;
    }
  }

  // How long each acknowledgement took that has come; one that isn't good ends the run.
  void Hear(std::vector<microseconds>& latencies) {
    while (const auto text = stream_.Receive(std::chrono::milliseconds(0))) {
      if (*text != Testing::GoodAcknowledgement(kSequence)) throw std::runtime_error(*text);
      latencies.push_back(std::chrono::duration_cast<microseconds>(Clock::now() - sent_.front()));
      sent_.pop_front();
    }
  }

  int Descriptor() const { return stream_.Descriptor(); }

 private:
  const Testing::HybridVm vm_;
  Testing::GuestStream stream_;
  const std::string& frame_;
  std::size_t left_ = 0;  // to be sent, of as many frames as are due
  std::deque<Clock::time_point> sent_;
};

std::string MakeFrame(std::size_t bytes) {
  std::string frame;
  Wire::LengthFraming().Append(frame, Testing::FilledText(kSequence, "vm.load", bytes));
  return frame;
}

class Run {
 public:
  explicit Run(const Case& wanted)
      : case_(wanted),
        frame_(MakeFrame(wanted.bytes)),
        bridge_(daemon_.vmPort()),
        epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    for (std::size_t i = 0; i < case_.vms; ++i) AddGuest(i);
    if (!case_.pinned) return;
    Pin(daemon_.pid(), 0);
    Pin(bridge_->pid(), 1);
  }

  void Measure() {
    const double daemonBefore = Testing::Look(daemon_.pid()).cpuSeconds;
    const double bridgeBefore = Testing::Look(bridge_->pid()).cpuSeconds;
    const double idleMiB = Testing::Look(bridge_->pid()).rssMiB;
    const auto start = Clock::now();
    const std::size_t all = std::size_t{case_.perSecond} * case_.seconds;
    std::size_t sent = 0;
    while (latencies_.size() < all && Clock::now() - start < std::chrono::seconds(case_.seconds + 20)) {
      const auto due = start + std::chrono::nanoseconds(1'000'000'000 / case_.perSecond) * sent;
      if (sent < all && Clock::now() >= due) guests_[sent++ % guests_.size()]->Publish();
      Listen(sent < all && Clock::now() >= due ? 0 : 1);
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    Print(sent, seconds,
          (Testing::Look(bridge_->pid()).cpuSeconds - bridgeBefore) * 1e6 / static_cast<double>(sent),
          (Testing::Look(daemon_.pid()).cpuSeconds - daemonBefore) * 1e6 / static_cast<double>(sent),
          idleMiB);
  }

 private:
  void AddGuest(std::size_t number) {
    const auto name = std::to_string(number);
    guests_.push_back(
        std::make_unique<Guest>(Testing::VmChoice{name, folder_ / name}, daemon_.vmPort(), frame_));
    epoll_event event{};
    event.events = EPOLLIN | EPOLLOUT | EPOLLET;
    event.data.u64 = number;
    epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, guests_.back()->Descriptor(), &event);
  }

  void Listen(int timeout) {
    epoll_event events[256];
    const int count = epoll_wait(epoll_.Get(), events, 256, timeout);
    for (int i = 0; i < count; ++i) {
      auto& guest = *guests_[events[i].data.u64];
      if ((events[i].events & EPOLLIN) != 0) guest.Hear(latencies_);
      if ((events[i].events & EPOLLOUT) != 0) guest.Flush();
    }
  }

  void Print(std::size_t sent, double seconds, double bridgeMicros, double daemonMicros, double idleMiB) {
    std::sort(latencies_.begin(), latencies_.end());
    const auto at = [this](double share) {
      if (latencies_.empty()) return std::int64_t{0};
      return latencies_[static_cast<std::size_t>(share * static_cast<double>(latencies_.size() - 1))].count();
    };
    std::printf("| %zu | %zu | %.0f | %zu of %zu | %.1f | %.1f | %lld | %lld | %.1f | %.1f |\n", case_.vms,
                case_.bytes, static_cast<double>(latencies_.size()) / seconds, latencies_.size(), sent,
                bridgeMicros, daemonMicros, static_cast<long long>(at(0.5)), static_cast<long long>(at(0.99)),
                idleMiB, Testing::Look(bridge_->pid()).peakMiB);
    std::fflush(stdout);
  }

  const Case case_;
  const std::string frame_;
  Testing::TemporaryFolder folder_;
  Testing::Daemon daemon_;
  Testing::Bridge bridge_;
  Corvane::FileDescriptor epoll_;
  std::vector<std::unique_ptr<Guest>> guests_;
  std::vector<microseconds> latencies_;
};

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 1 && argc != 5 && argc != 6) {
    std::fputs("usage: vmRoad [VMS BYTES PUBLICATIONS_PER_SECOND SECONDS [pinned]]\n", stderr);
    return 64;
  }
  std::vector<Case> cases(std::begin(kCases), std::end(kCases));
  if (argc > 1) {
    cases = {{std::strtoul(argv[1], nullptr, 10), std::strtoul(argv[2], nullptr, 10),
              static_cast<unsigned>(std::atoi(argv[3])), static_cast<unsigned>(std::atoi(argv[4])),
              argc == 6}};
  }
  std::puts(
      "| VMs | bytes | acknowledged/s | acknowledged | bridge CPU µs | daemon CPU µs | p50 µs | p99 µs | "
      "bridge idle MiB "
      "| bridge VmHWM MiB |");
  for (const auto& wanted : cases) Run(wanted).Measure();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "vmRoad: %s\n", error.what());
  return 1;
}
