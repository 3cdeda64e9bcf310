// What forwarding costs, and how long it stands still when something was killed: a NATS server with a stream
// of one replica, a daemon with 3000 VMs, a forwarder. usage: fleetLoad NORNHESPERD HESPER_FORWARD
// [NATS_SERVER]

#include <signal.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/cpuTime.h"
#include "bench/guests.h"
#include "fleet/forward/makeStream.h"
#include "fleet/forward/sender.h"
#include "fleet/nats/natsLink.h"
#include "testing/childProcess.h"
#include "testing/daemon.h"
#include "testing/eventually.h"
#include "testing/subscriber.h"
#include "testing/temporaryFolder.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kVmPort = 7777;
constexpr std::size_t kPayload = 256;  // characters of base64
constexpr std::chrono::seconds kLoad{20};
constexpr std::chrono::minutes kPatience{2};

double SecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

void Await(const char* what, const std::function<bool()>& condition) {
  if (!Testing::Eventually(condition, kPatience)) throw std::runtime_error(std::string("no ") + what);
}

// One server, or three that all keep the stream; with the stores on this machine's disk.
class Engine {
 public:
  explicit Engine(std::string program, std::size_t nodes = 1) : program_(std::move(program)) {
    for (std::size_t i = 0; i < nodes; ++i) {
      ports_.push_back(Testing::FreePort());
      routes_ +=
          "\"nats://127.0.0.1:" + std::to_string(routePorts_.emplace_back(Testing::FreePort())) + "\", ";
    }
    for (std::size_t i = 0; i < nodes; ++i) folder_.Write(Name(i), Configuration(i));
    Start();
    Fleet::StreamShape shape;
    shape.replicas = static_cast<std::int64_t>(nodes);
    // A cluster needs a moment until it has a leader.
    Await("stream", [&] {
      try {
        Fleet::MakeStream(Options(), "hesper", shape);
        return true;
      } catch (const Fleet::NatsFault&) {
        return false;
      }
    });
    Connect();
  }

  void Start() {
    for (std::size_t i = 0; i < ports_.size(); ++i) {
      auto& process =
          *processes_.emplace_back(std::make_unique<Testing::ChildProcess>(std::vector<std::string>{
              program_, "-c", folder_ / Name(i), "-a", "127.0.0.1", "-p", std::to_string(ports_[i])}));
      if (!process.WaitForLog("Server is ready")) throw std::runtime_error(process.Log());
    }
  }
  void Kill() { processes_.clear(); }
  // Of all its servers.
  double CpuSeconds() const {
    double sum = 0;
    for (const auto& process : processes_) sum += Bench::CpuSeconds(process->pid());
    return sum;
  }

  std::string Url() const { return "nats://127.0.0.1:" + std::to_string(ports_.front()); }
  Fleet::NatsOptions Options() const { return {.servers = {Url()}}; }

  void Connect() {
    jetStream_.reset();
    link_.emplace(Options(), "fleetLoad", "_INBOX", Fleet::LinkEvents{});
    jetStream_ = link_->JetStream(nullptr);
  }
  std::uint64_t Stored() const {
    jsStreamInfo* info = nullptr;
    Fleet::CheckNats(js_GetStreamInfo(&info, jetStream_.get(), "HESPER", nullptr, nullptr), "stream");
    return Fleet::StreamInfoHandle(info)->State.LastSeq;
  }

 private:
  static std::string Name(std::size_t node) { return "node" + std::to_string(node); }
  std::string Configuration(std::size_t node) const {
    std::string text = "server_name: " + Name(node) + "\njetstream { store_dir: \"" +
                       (folder_ / "store" + Name(node)) + "\" }\n";
    if (ports_.size() == 1) return text;
    return text + "cluster { name: load, listen: \"127.0.0.1:" + std::to_string(routePorts_[node]) +
           "\", routes: [" + routes_ + "] }\n";
  }

  const std::string program_;
  const Testing::TemporaryFolder folder_;
  std::vector<std::uint16_t> ports_;
  std::vector<std::uint16_t> routePorts_;
  std::string routes_;
  std::vector<std::unique_ptr<Testing::ChildProcess>> processes_;
  std::optional<Fleet::NatsLink> link_;
  Fleet::JetStreamHandle jetStream_;
};

// A publication like none before it.
std::string NextText() {
  static std::uint64_t number = 0;
  auto payload = std::to_string(++number);
  payload.insert(0, kPayload - payload.size(), 'A');
  return Testing::PublicationText(number, "app.load", payload);
}

// Each on its own turn of an absolute schedule.
std::uint64_t SendFor(Bench::Guests& guests, double perSecond, Clock::duration time) {
  const auto begin = Clock::now();
  std::uint64_t sent = 0;
  while (Clock::now() - begin < time) {
    const auto due = static_cast<std::uint64_t>(SecondsSince(begin) * perSecond);
    for (; sent < due; ++sent) guests.Send(kVmPort, NextText());
    std::this_thread::sleep_for(1ms);
  }
  return sent;
}

// Comes back with the same ports.
class Daemon {
 public:
  explicit Daemon(std::string program) : program_(std::move(program)), port_(Testing::FreePort()) {
    folder_.Write("config", "<config><mirelPort>" + std::to_string(port_) + "</mirelPort><vmListenPort>" +
                                std::to_string(kVmPort) + "</vmListenPort></config>");
    Start();
  }

  void Start() {
    process_.emplace(std::vector<std::string>{program_, folder_ / "config"});
    if (!process_->WaitForLog("Running IO service")) throw std::runtime_error(process_->Log());
  }
  void Kill() { process_.reset(); }
  pid_t pid() const { return process_->pid(); }
  std::uint16_t port() const { return port_; }

 private:
  const std::string program_;
  const std::uint16_t port_;
  const Testing::TemporaryFolder folder_;
  std::optional<Testing::ChildProcess> process_;
};

class Forwarder {
 public:
  Forwarder(const std::string& program, const Daemon& daemon, const Engine& engine)
      : command_{program,
                 "--port",
                 std::to_string(daemon.port()),
                 "--nats",
                 engine.Url(),
                 "--host",
                 "bench",
                 "--state",
                 folder_ / "state",
                 "--token-file",
                 folder_.Write("token", Token())} {
    Start();
  }

  void Start() {
    process_.emplace(command_);
    Await("subscription", [this] { return process_->Logged("Subscribed") > 0; });
  }
  void Kill() { process_.reset(); }
  pid_t pid() const { return process_->pid(); }
  std::size_t ResidentBytes() const { return process_->ResidentBytes(); }

 private:
  static std::string Token() {
    const auto& line = Testing::Authorized();
    auto token = line.substr(line.rfind(' ') + 1);
    token.erase(token.find_last_not_of("\r\n") + 1);
    return token + "\n";
  }

  const Testing::TemporaryFolder folder_;
  const std::vector<std::string> command_;
  std::optional<Testing::ChildProcess> process_;
};

// From a full queue on, without a daemon.
void MeasureSender(const char* stream, const Engine& engine, std::size_t bytes) {
  constexpr std::size_t kItems = 50'000;
  Fleet::SendQueue queue({.items = kItems, .bytes = std::size_t{1} << 30});
  for (std::size_t i = 0; i < kItems; ++i) {
    Fleet::Element element;
    element.vm = "vm-" + std::to_string(i % Bench::kFullHost);
    element.topic = "app.load";
    element.token = std::to_string(bytes) + " " + std::to_string(i);
    element.json = std::string(bytes, 'x');
    queue.Put(Fleet::MakeOutgoing({.prefix = "hesper", .host = "alone", .vmIdType = "mgr"}, element, {}), {},
              0ms);
  }
  Fleet::Publisher publisher(engine.Options(), "alone");
  Fleet::Counters counters;
  Fleet::Sender sender(queue, publisher, counters);
  const auto begin = Clock::now();
  const double cpu = Bench::CpuSeconds(getpid());
  const double engineCpu = engine.CpuSeconds();
  {
    const std::jthread thread([&sender](const std::stop_token& stop) { sender.Run(stop); });
    queue.WaitUntilEmpty({});
  }
  std::printf(
      "sender alone, %s, %zu bytes: %.0f a second; us of CPU each: sender %.1f, NATS %.1f; %llu sent once "
      "more\n",
      stream, bytes, kItems / SecondsSince(begin), (Bench::CpuSeconds(getpid()) - cpu) / kItems * 1e6,
      (engine.CpuSeconds() - engineCpu) / kItems * 1e6,
      static_cast<unsigned long long>(counters.retries.load()));
}

void MeasureRate(Bench::Guests& guests, const Daemon& daemon, const Forwarder& forwarder,
                 const Engine& engine, double perSecond) {
  const auto storedBefore = engine.Stored();
  const double before[] = {Bench::CpuSeconds(forwarder.pid()), engine.CpuSeconds(),
                           Bench::CpuSeconds(daemon.pid())};
  const auto begin = Clock::now();
  const auto sent = SendFor(guests, perSecond, kLoad);
  // What was dropped on the way isn't waited for for ever.
  Testing::Eventually([&] { return engine.Stored() - storedBefore >= sent; }, 10s);
  const double seconds = SecondsSince(begin);
  const auto stored = static_cast<double>(engine.Stored() - storedBefore);
  const double after[] = {Bench::CpuSeconds(forwarder.pid()), engine.CpuSeconds(),
                          Bench::CpuSeconds(daemon.pid())};
  std::printf(
      "%6.0f a second: %.0f of %llu stored in %.1f s; us of CPU each: forwarder %.1f, nats-server %.1f, "
      "daemon %.1f; "
      "forwarder's memory %.1f MiB\n",
      perSecond, stored, static_cast<unsigned long long>(sent), seconds,
      (after[0] - before[0]) / stored * 1e6, (after[1] - before[1]) / stored * 1e6,
      (after[2] - before[2]) / stored * 1e6, static_cast<double>(forwarder.ResidentBytes()) / (1 << 20));
}

// From the return of what was killed to the first new message in the stream, while publications go on.
void MeasureReturn(const char* what, Bench::Guests& guests, const Engine& engine,
                   const std::function<void()>& killAndStart) {
  killAndStart();
  const auto begin = Clock::now();
  const auto before = engine.Stored();
  const std::jthread sending([&guests](const std::stop_token& stop) {
    while (!stop.stop_requested()) SendFor(guests, 1000, 100ms);
  });
  Await("new message", [&] { return engine.Stored() > before; });
  std::printf("after the restart of %s the first new message is stored in %.2f s\n", what,
              SecondsSince(begin));
}

void Run(const std::string& daemonProgram, const std::string& forwardProgram,
         const std::string& natsProgram) {
  for (const std::size_t nodes : {1, 3}) {
    const Engine engine(natsProgram, nodes);
    for (const std::size_t bytes : {440, 7000}) {
      MeasureSender(nodes == 1 ? "one server" : "three servers", engine, bytes);
    }
  }
  Engine engine(natsProgram);
  Bench::Guests guests;
  Daemon daemon(daemonProgram);
  Forwarder forwarder(forwardProgram, daemon, engine);
  SendFor(guests, 1000, 4s);
  for (const double rate : {100.0, 1000.0, 3000.0, 6000.0}) {
    MeasureRate(guests, daemon, forwarder, engine, rate);
  }
  for (int i = 0; i < 3; ++i) {
    MeasureReturn("nats-server", guests, engine, [&] {
      engine.Kill();
      SendFor(guests, 100, 5s);
      engine.Start();
      engine.Connect();
    });
    MeasureReturn("the forwarder", guests, engine, [&] {
      forwarder.Kill();
      forwarder.Start();
    });
    MeasureReturn("the daemon", guests, engine, [&] {
      daemon.Kill();
      daemon.Start();
    });
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 3) {
    std::fputs("usage: fleetLoad NORNHESPERD HESPER_FORWARD [NATS_SERVER]\n", stderr);
    return 64;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  Run(argv[1], argv[2], argc > 3 ? argv[3] : "/usr/sbin/nats-server");
  Fleet::CloseNats();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "fleetLoad: %s\n", error.what());
  return 1;
}
