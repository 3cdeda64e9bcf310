// The whole road on one machine: guests' sockets, the daemon as a process, subscribers on TCP. One thread
// sends, one reads acknowledgements and streams. usage: endToEnd DAEMON_PROGRAM [TEXT_BYTES SUBSCRIBERS]

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "lib/public/api/guestLimits.h"
#include "platform/krell/standin/guestSocket.h"
#include "platform/krell/standin/host.h"
#include "testing/guestText.h"
#include "testing/procfs.h"

namespace {

constexpr std::uint32_t kFirstCid = 1000;
constexpr std::uint32_t kVms = 3000;  // each may send twice a second
constexpr std::uint32_t kVmPort = 7777;
constexpr std::uint16_t kApiPort = 29999;

std::uint64_t NowNs() {
  return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}

// A publication text of exactly that size; its topic says when it was sent.
std::string Text(std::uint64_t sequence, std::size_t size) {
  char topic[32];
  std::snprintf(topic, sizeof topic, "b.%019llu", static_cast<unsigned long long>(NowNs()));
  return Testing::FilledText(sequence, topic, size);
}

class DaemonProcess {
 public:
  explicit DaemonProcess(const char* program, const std::string& folder) {
    const auto config = folder + "/config.xml";
    std::ofstream(config) << "<config><mirelPort>" << kApiPort << "</mirelPort></config>";
    const auto log = folder + "/log";
    unlink(log.c_str());
    pid_ = fork();
    if (pid_ == 0) {
      dup2(open(log.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
      execl(program, program, config.c_str(), nullptr);
      _exit(127);
    }
    for (int i = 0; i < 5000; ++i) {
      std::ifstream file(log);
      std::stringstream text;
      text << file.rdbuf();
      if (text.str().find("Running IO service") != std::string::npos) return;
      usleep(1000);
    }
    throw std::runtime_error("the daemon does not start");
  }
  ~DaemonProcess() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

  double CpuSeconds() const { return Testing::Look(pid_).cpuSeconds; }
  double HighWaterMiB() const { return Testing::Look(pid_).peakMiB; }

 private:
  pid_t pid_;
};

// The header line of a caller with a token of this host, made by the tool beside the daemon.
std::string Authorization(const std::string& daemonProgram) {
  const auto tool = daemonProgram.substr(0, daemonProgram.rfind('/') + 1) + "hesper-host";
  FILE* output = popen((tool + " token --subject bench --entitlement GUEST_DATA_ACCESS").c_str(), "r");
  char token[4096] = "";
  if (!output || !std::fgets(token, sizeof token, output) || pclose(output) != 0) {
    throw std::runtime_error("no token");
  }
  return "Authorization: Bearer " + std::string(token, std::strcspn(token, "\n")) + "\r\n";
}

std::string authorization;

int OpenSubscription() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kApiPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("connect");
  }
  const std::string body =
      R"({"jsonrpc":"2.0","id":1,"method":"com.tessaly.norn.hesper.guest_data.subscribe",)"
      R"("params":{"input":{"spec":{"vm_id_type":"MGR_VM_ID"}}}})";
  const std::string request = "POST /api HTTP/1.1\r\nContent-Type: application/json\r\n" + authorization +
                              "Accept: application/vnd.tessaly.mirel.clean.stream.json\r\nContent-Length: " +
                              std::to_string(body.size()) + "\r\n\r\n" + body;
  if (send(fd, request.data(), request.size(), 0) != static_cast<ssize_t>(request.size())) {
    throw std::runtime_error("send");
  }
  return fd;
}

// Reads all streams and acknowledgements, and notes what came when.
class Receiver {
 public:
  Receiver(std::vector<Krell::GuestSocket>& guests, std::size_t subscribers) : epoll_(epoll_create1(0)) {
    for (std::size_t i = 0; i < subscribers; ++i) streams_.push_back({OpenSubscription(), {}, 0});
    for (std::size_t i = 0; i < streams_.size(); ++i) Watch(streams_[i].fd, i);
    for (const auto& guest : guests) {
      guestFds_.push_back(guest.Descriptor());
      Watch(guest.Descriptor(), kGuest + guestFds_.size() - 1);
    }
    thread_ = std::thread([this] { Run(); });
  }
  ~Receiver() {
    stop_ = true;
    thread_.join();
    for (const auto& stream : streams_) close(stream.fd);
    close(epoll_);
  }

  std::uint64_t Acknowledged() const { return acknowledged_; }
  std::uint64_t Deliveries() const { return deliveries_; }
  // Publications that every stream has received.
  std::uint64_t Delivered() const { return streams_.empty() ? acknowledged_.load() : slowest_.load(); }
  std::vector<std::uint64_t> latencies;  // ns; to be read when all is quiet

 private:
  struct Stream {
    int fd;
    std::string tail;
    std::uint64_t elements;
  };
  static constexpr std::uint64_t kGuest = 1U << 20;

  void Watch(int fd, std::uint64_t id) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = id;
    epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event);
  }

  void Run() {
    std::vector<epoll_event> events(256);
    std::vector<char> buffer(1 << 20);
    while (!stop_) {
      const int count = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), 20);
      for (int i = 0; i < count; ++i) {
        const auto id = events[static_cast<std::size_t>(i)].data.u64;
        if (id >= kGuest) {
          while (recv(guestFds_[id - kGuest], buffer.data(), buffer.size(), MSG_DONTWAIT) > 0) {
            ++acknowledged_;
          }
        } else {
          ReadStream(streams_[id], buffer);
        }
      }
      if (!streams_.empty()) {
        slowest_ = std::min_element(streams_.begin(), streams_.end(), [](const Stream& a, const Stream& b) {
                     return a.elements < b.elements;
                   })->elements;
      }
    }
  }

  void ReadStream(Stream& stream, std::vector<char>& buffer) {
    static constexpr char kMark[] = "\"topic\":\"b.";
    static constexpr std::size_t kMarkSize = sizeof kMark - 1;
    static constexpr std::size_t kNumberSize = 19;
    const auto size = recv(stream.fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (size <= 0) return;
    const auto now = NowNs();
    stream.tail.append(buffer.data(), static_cast<std::size_t>(size));
    std::size_t from = 0;
    while (true) {
      const auto found = stream.tail.find(kMark, from);
      if (found == std::string::npos || found + kMarkSize + kNumberSize > stream.tail.size()) {
        const auto keep = std::min(stream.tail.size() - from, kMarkSize + kNumberSize);
        stream.tail.erase(0, found != std::string::npos ? found : stream.tail.size() - keep);
        return;
      }
      latencies.push_back(now - std::strtoull(stream.tail.c_str() + found + kMarkSize, nullptr, 10));
      ++stream.elements;
      ++deliveries_;
      from = found + kMarkSize + kNumberSize;
    }
  }

  int epoll_;
  std::vector<Stream> streams_;
  std::vector<int> guestFds_;
  std::atomic<bool> stop_{false};
  std::atomic<std::uint64_t> acknowledged_{0};
  std::atomic<std::uint64_t> deliveries_{0};
  std::atomic<std::uint64_t> slowest_{0};
  std::thread thread_;
};

struct Case {
  const char* name;
  std::size_t textSize;
  std::size_t subscribers;
  // Publications a second; 0: as fast as the slowest subscriber takes them.
  double rate;
  double seconds;
};

class Bench {
 public:
  explicit Bench(const char* program) : program_(program) {
    folder_ = "/tmp/hesper-bench.XXXXXX";
    if (!mkdtemp(folder_.data())) throw std::runtime_error("mkdtemp");
    setenv("KRELL_HOST_DIR", (folder_ + "/host").c_str(), 1);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    host_ = std::make_unique<Krell::Host>(folder_ + "/host");
    for (std::uint32_t cid = kFirstCid; cid < kFirstCid + kVms; ++cid) {
      const auto number = std::to_string(cid);
      host_->Add({cid, "bios-" + number, "uuid-" + number, "vm-" + number, true});
      guests_.emplace_back(cid);
    }
  }
  ~Bench() {
    guests_.clear();
    (void)!std::system(("rm -rf " + folder_).c_str());
  }

  void Run(const Case& test) {
    DaemonProcess daemon(program_, folder_);
    Receiver receiver(guests_, test.subscribers);
    WarmUp(receiver, test);
    const auto acknowledgedBefore = receiver.Acknowledged();
    const auto deliveriesBefore = receiver.Deliveries();
    const auto cpuBefore = daemon.CpuSeconds();
    receiver.latencies.reserve(4'000'000);
    const auto latenciesBefore = receiver.latencies.size();
    const auto begin = NowNs();
    const auto sent = Send(receiver, test);
    Settle(receiver);
    const auto seconds = static_cast<double>(lastChange_ - begin) / 1e9;
    const auto cpu = daemon.CpuSeconds() - cpuBefore;
    const auto acknowledged = receiver.Acknowledged() - acknowledgedBefore;
    const auto deliveries = receiver.Deliveries() - deliveriesBefore;
    auto latencies = std::vector<std::uint64_t>(
        receiver.latencies.begin() + static_cast<std::ptrdiff_t>(latenciesBefore), receiver.latencies.end());
    std::sort(latencies.begin(), latencies.end());
    const auto percentile = [&](double part) {
      if (latencies.empty()) return 0.0;
      return static_cast<double>(
                 latencies[static_cast<std::size_t>(part * static_cast<double>(latencies.size() - 1))]) /
             1e3;
    };
    std::printf("| %-22s | %6zu | %4zu | %7.0f | %8.0f | %7.2f | %8.2f | %8.0f | %8.0f | %6.1f | %llu |\n",
                test.name, test.textSize, test.subscribers, static_cast<double>(acknowledged) / seconds,
                static_cast<double>(deliveries) / seconds, cpu / static_cast<double>(acknowledged) * 1e6,
                deliveries ? cpu / static_cast<double>(deliveries) * 1e6 : 0.0, percentile(0.5),
                percentile(0.99), daemon.HighWaterMiB(),
                static_cast<unsigned long long>(sent * std::max<std::size_t>(test.subscribers, 1) -
                                                (test.subscribers ? deliveries : acknowledged)));
    std::fflush(stdout);
  }

  // All VMs known to the daemon, a thousand subscribers that get nothing more.
  void RunMemory() {
    DaemonProcess daemon(program_, folder_);
    std::vector<int> idle;
    for (int i = 0; i < 1000; ++i) idle.push_back(OpenSubscription());
    Receiver receiver(guests_, 0);
    for (std::uint32_t i = 0; i < kVms; ++i) {
      SendOne(i, 256);
      while (receiver.Acknowledged() < i) std::this_thread::yield();
    }
    std::printf("\n%u known VMs and %zu subscribers: VmHWM %.1f MiB\n", kVms, idle.size(),
                daemon.HighWaterMiB());
    for (const int fd : idle) close(fd);
  }

 private:
  void SendOne(std::uint64_t number, std::size_t size) {
    guests_[number % kVms].Send(kVmPort, Text(number, size));
  }

  // Until every subscription is seen to be there, and every VM is known.
  void WarmUp(Receiver& receiver, const Case& test) {
    std::this_thread::sleep_for(std::chrono::seconds(1));  // the VMs' allowances fill up
    for (std::uint32_t i = 0; i < kVms; ++i) {
      const auto before = receiver.Acknowledged();
      SendOne(i, 256);
      while (receiver.Acknowledged() == before) std::this_thread::yield();
    }
    Settle(receiver);
    if (test.subscribers != 0 && receiver.Delivered() == 0) throw std::runtime_error("no subscription");
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }

  std::uint64_t Send(Receiver& receiver, const Case& test) {
    constexpr std::uint64_t kWindow = 8;  // below the daemon's queue, so that nothing is dropped
    const auto base = receiver.Delivered();
    const auto begin = NowNs();
    const auto total = static_cast<std::uint64_t>((test.rate != 0 ? test.rate : 6000) * test.seconds);
    std::uint64_t sent = 0;
    for (; sent < total; ++sent) {
      // Never above what the VMs are allowed together.
      const auto due = begin + static_cast<std::uint64_t>(static_cast<double>(sent) * 1e9 /
                                                          (test.rate != 0 ? test.rate : 2.0 * kVms));
      while (NowNs() < due) {
        if (due - NowNs() > 100'000) std::this_thread::sleep_for(std::chrono::microseconds(50));
      }
      while (test.rate == 0 && sent - (receiver.Delivered() - base) >= kWindow) std::this_thread::yield();
      if (static_cast<double>(NowNs() - begin) > test.seconds * 1e9) break;
      SendOne(sent, test.textSize);
    }
    return sent;
  }

  // Until nothing has come for a while.
  void Settle(Receiver& receiver) {
    lastChange_ = NowNs();
    auto last = receiver.Acknowledged() + receiver.Deliveries();
    while (NowNs() - lastChange_ < 300'000'000) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      const auto now = receiver.Acknowledged() + receiver.Deliveries();
      if (now != last) lastChange_ = NowNs();
      last = now;
    }
  }

  const char* program_;
  std::string folder_;
  std::unique_ptr<Krell::Host> host_;
  std::vector<Krell::GuestSocket> guests_;
  std::uint64_t lastChange_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 4) {
    std::fprintf(stderr, "usage: endToEnd DAEMON_PROGRAM [TEXT_BYTES SUBSCRIBERS]\n");
    return 64;
  }
  authorization = Authorization(argv[1]);
  Bench bench(argv[1]);
  std::printf(
      "| case | text B | subs | pubs/s | deliv/s | CPU us/pub | CPU us/deliv | p50 us | p99 us | MiB | lost "
      "|\n"
      "| --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- |\n");
  if (argc == 4) {
    bench.Run({"as fast as taken", std::stoul(argv[2]), std::stoul(argv[3]), 0, 10});
    return 0;
  }
  bench.Run({"intake alone", NornHesper::kLargestDatagram, 0, 6000, 3});
  bench.Run({"latency", 256, 1, 2000, 5});
  for (const std::size_t size : {256U, 4096U, 65536U}) {
    for (const std::size_t subscribers : {1U, 10U, 100U}) {
      bench.Run({"as fast as taken", size, subscribers, 0, 3});
    }
  }
  bench.RunMemory();
}
