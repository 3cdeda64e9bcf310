// The road of real VMs on one machine: doubles of guests on hybrid vsock, the bridge and the daemon as
// processes of their own. One thread is all guests: each sends in its turn, and hears its acknowledgements.
// usage: vmRoad BRIDGE_PROGRAM [VMS BYTES PUBLICATIONS_PER_SECOND SECONDS [pinned]]

#include <sched.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "guest/wire/framing.h"
#include "lib/public/api/guestLimits.h"
#include "platform/corvane/fileDescriptor.h"
#include "platform/krell/standin/host.h"
#include "testing/daemon.h"
#include "testing/guestText.h"
#include "testing/temporaryFolder.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

constexpr std::uint32_t kFirstCid = 1000;
constexpr std::uint64_t kSequence = 1;
constexpr int kMostTries = 20000;

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

double CpuSeconds(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  std::getline(file, text);
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 11; ++i) fields >> skipped;
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

long StatusKiB(pid_t pid, const std::string& name) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(name)) return std::atol(line.c_str() + name.size() + 1);
  }
  return 0;
}

void Pin(pid_t pid, std::size_t core) {
  const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(core, &cores);
  for (const auto& task : std::filesystem::directory_iterator(tasks)) {
    sched_setaffinity(std::atoi(task.path().filename().c_str()), sizeof cores, &cores);
  }
}

class BridgeProcess {
 public:
  BridgeProcess(const char* program, std::uint32_t port) : pid_(fork()) {
    if (pid_ != 0) return;
    execl(program, program, "--no-vsock", "--vsock-port", std::to_string(port).c_str(), nullptr);
    _exit(127);
  }
  BridgeProcess(const BridgeProcess&) = delete;
  BridgeProcess& operator=(const BridgeProcess&) = delete;
  ~BridgeProcess() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }

  pid_t Pid() const { return pid_; }

 private:
  pid_t pid_;
};

// A guest's end of its connection. All guests send the same frame, so that they cost little beside what is
// measured.
class Guest {
 public:
  Guest(std::string path, const std::string& frame) : path_(std::move(path)), frame_(frame) {}

  void Connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path_.data(), path_.size());
    for (int tries = 0;; ++tries) {
      socket_ = Corvane::FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
      if (connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return;
      if (tries == kMostTries) throw std::runtime_error("no connection to " + path_);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  void Publish() {
    sent_.push_back(Clock::now());
    left_ += frame_.size();
    Flush();
  }

  void Flush() {
    while (left_ > 0) {
      const auto part =
          std::string_view(frame_).substr((frame_.size() - left_ % frame_.size()) % frame_.size());
      const ssize_t size = send(socket_.Get(), part.data(), part.size(), MSG_NOSIGNAL);
      if (size < 0 && errno == EAGAIN) return;
      if (size < 0) throw std::runtime_error("a connection was lost");
      left_ -= static_cast<std::size_t>(size);
    }
  }

  // How long each acknowledgement took that has come; one that isn't good ends the run.
  void Hear(std::vector<microseconds>& latencies) {
    char bytes[4096];
    ssize_t size = 0;
    while ((size = recv(socket_.Get(), bytes, sizeof bytes, 0)) > 0) {
      std::string_view input(bytes, static_cast<std::size_t>(size));
      while (const auto text = framing_.Next(input)) {
        if (*text != Testing::GoodAcknowledgement(kSequence)) throw std::runtime_error(std::string(*text));
        latencies.push_back(std::chrono::duration_cast<microseconds>(Clock::now() - sent_.front()));
        sent_.pop_front();
      }
    }
    if (size == 0) throw std::runtime_error("a connection was closed");
  }

  int Descriptor() const { return socket_.Get(); }

 private:
  const std::string path_;
  const std::string& frame_;
  Corvane::FileDescriptor socket_;
  Wire::LengthFraming framing_;
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
  Run(const char* bridgeProgram, const Case& wanted)
      : case_(wanted),
        frame_(MakeFrame(wanted.bytes)),
        bridge_(bridgeProgram, daemon_.vmPort()),
        epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    for (std::size_t i = 0; i < case_.vms; ++i) AddGuest(i);
    if (!case_.pinned) return;
    Pin(daemon_.pid(), 0);
    Pin(bridge_.Pid(), 1);
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  ~Run() {
    for (std::size_t i = 0; i < case_.vms; ++i) {
      Testing::SharedHost().Remove(kFirstCid + static_cast<std::uint32_t>(i));
    }
  }

  void Measure() {
    const double daemonBefore = CpuSeconds(daemon_.pid());
    const double bridgeBefore = CpuSeconds(bridge_.Pid());
    const long idleKiB = StatusKiB(bridge_.Pid(), "VmRSS:");
    const auto start = Clock::now();
    const std::size_t all = std::size_t{case_.perSecond} * case_.seconds;
    std::size_t sent = 0;
    while (latencies_.size() < all && Clock::now() - start < std::chrono::seconds(case_.seconds + 20)) {
      const auto due = start + std::chrono::nanoseconds(1'000'000'000 / case_.perSecond) * sent;
      if (sent < all && Clock::now() >= due) guests_[sent++ % guests_.size()]->Publish();
      Listen(sent < all && Clock::now() >= due ? 0 : 1);
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    Print(sent, seconds, (CpuSeconds(bridge_.Pid()) - bridgeBefore) * 1e6 / static_cast<double>(sent),
          (CpuSeconds(daemon_.pid()) - daemonBefore) * 1e6 / static_cast<double>(sent), idleKiB);
  }

 private:
  void AddGuest(std::size_t number) {
    const std::string path = folder_ / std::to_string(number);
    Krell::VmIdentity vm;
    vm.cid = kFirstCid + static_cast<std::uint32_t>(number);
    vm.biosUuid = "bios-" + std::to_string(vm.cid);
    vm.vmUuid = "uuid-" + std::to_string(vm.cid);
    vm.mgrVmId = "vm-" + std::to_string(vm.cid);
    vm.transport = {Krell::VmTransport::Kind::Hybrid, path, {}};
    Testing::SharedHost().Add(vm);
    guests_.push_back(std::make_unique<Guest>(path + "_" + std::to_string(daemon_.vmPort()), frame_));
    guests_.back()->Connect();
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

  void Print(std::size_t sent, double seconds, double bridgeMicros, double daemonMicros, long idleKiB) {
    std::sort(latencies_.begin(), latencies_.end());
    const auto at = [this](double share) {
      if (latencies_.empty()) return std::int64_t{0};
      return latencies_[static_cast<std::size_t>(share * static_cast<double>(latencies_.size() - 1))].count();
    };
    std::printf("| %zu | %zu | %.0f | %zu of %zu | %.1f | %.1f | %lld | %lld | %.1f | %.1f |\n", case_.vms,
                case_.bytes, static_cast<double>(latencies_.size()) / seconds, latencies_.size(), sent,
                bridgeMicros, daemonMicros, static_cast<long long>(at(0.5)), static_cast<long long>(at(0.99)),
                static_cast<double>(idleKiB) / 1024,
                static_cast<double>(StatusKiB(bridge_.Pid(), "VmHWM:")) / 1024);
    std::fflush(stdout);
  }

  const Case case_;
  const std::string frame_;
  Testing::TemporaryFolder folder_;
  Testing::Daemon daemon_;
  BridgeProcess bridge_;
  Corvane::FileDescriptor epoll_;
  std::vector<std::unique_ptr<Guest>> guests_;
  std::vector<microseconds> latencies_;
};

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2 && argc != 6 && argc != 7) {
    std::fputs("usage: vmRoad BRIDGE_PROGRAM [VMS BYTES PUBLICATIONS_PER_SECOND SECONDS [pinned]]\n", stderr);
    return 64;
  }
  std::vector<Case> cases(std::begin(kCases), std::end(kCases));
  if (argc > 2) {
    cases = {{std::strtoul(argv[2], nullptr, 10), std::strtoul(argv[3], nullptr, 10),
              static_cast<unsigned>(std::atoi(argv[4])), static_cast<unsigned>(std::atoi(argv[5])),
              argc == 7}};
  }
  std::puts(
      "| VMs | bytes | acknowledged/s | acknowledged | bridge CPU µs | daemon CPU µs | p50 µs | p99 µs | "
      "bridge idle MiB "
      "| bridge VmHWM MiB |");
  for (const auto& wanted : cases) Run(argv[1], wanted).Measure();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "vmRoad: %s\n", error.what());
  return 1;
}
