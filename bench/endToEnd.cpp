// The whole road on one machine: guests' sockets, the daemon as a process, subscribers on TCP. One thread
// sends, one reads acknowledgements and streams. usage: endToEnd DAEMON_PROGRAM [TEXT_BYTES SUBSCRIBERS]

#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "bench/daemonProcess.h"
#include "bench/guests.h"
#include "bench/measure.h"
#include "bench/stampedText.h"
#include "bench/tcp.h"
#include "lib/public/api/guestLimits.h"
#include "testing/procfs.h"

namespace {

// What all VMs together may send.
constexpr double kMostPerSecond = Bench::kFullHost * Bench::kAllowedPerSecond;
// As fast as the slowest subscriber takes it: below the daemon's queue, so that nothing is dropped.
constexpr std::size_t kWindow = 8;
constexpr std::size_t kIdleSubscribers = 1000;
constexpr std::size_t kShortText = 256;

struct Case {
  const char* name;
  std::size_t textSize;
  std::size_t subscribers;
  Bench::Pace pace;
};

std::vector<Corvane::FileDescriptor> Subscribe(const Bench::DaemonProcess& daemon, std::size_t count) {
  std::vector<Corvane::FileDescriptor> streams;
  for (std::size_t i = 0; i < count; ++i) streams.push_back(daemon.Subscribe());
  return streams;
}

void Print(const Case& test, const Bench::Outcome& outcome, const Testing::ProcessFigures& daemon) {
  std::printf("| %-15s | %6zu | %4zu | %7.0f | %8.0f | %7.2f | %8.2f | %8.0f | %8.0f | %6.1f | %llu |\n",
              test.name, test.textSize, test.subscribers,
              static_cast<double>(outcome.answers) / outcome.seconds,
              static_cast<double>(outcome.deliveries) / outcome.seconds, outcome.CpuMicrosPerPublication(),
              outcome.CpuMicrosPerDelivery(), outcome.LatencyMicros(0.5), outcome.LatencyMicros(0.99),
              daemon.peakMiB, static_cast<unsigned long long>(outcome.lost));
  std::fflush(stdout);
}

void Run(const std::string& program, Bench::Guests& guests, const Case& test) {
  const Bench::DaemonProcess daemon(program);
  Bench::Introduce(guests, daemon);
  Bench::Receiver receiver(Subscribe(daemon, test.subscribers), guests.Descriptors(), test.textSize);
  Bench::StampedText text(test.textSize);
  const auto send = [&] { guests.Send(daemon.vmPort(), text.Stamp()); };
  if (test.subscribers != 0) Bench::AwaitStreams(receiver, send);
  Print(test, Bench::Measure(daemon.pid(), receiver, test.subscribers, test.pace, send),
        Testing::Look(daemon.pid()));
}

// All VMs known to the daemon, and subscribers that get nothing once they are there.
void RunMemory(const std::string& program, Bench::Guests& guests) {
  const Bench::DaemonProcess daemon(program);
  daemon.AllowMoreConnections();
  Bench::Introduce(guests, daemon);
  Bench::Receiver receiver(Subscribe(daemon, kIdleSubscribers), guests.Descriptors(), kShortText);
  Bench::StampedText text(kShortText);
  Bench::AwaitStreams(receiver, [&] { guests.Send(daemon.vmPort(), text.Stamp()); });
  std::printf("\n%zu known VMs and %zu subscribers: VmHWM %.1f MiB\n", guests.Count(), receiver.Streams(),
              Testing::Look(daemon.pid()).peakMiB);
}

std::vector<Case> UsualCases() {
  std::vector<Case> cases = {{"intake alone", NornHesper::kLargestDatagram, 0, {kMostPerSecond, 3}},
                             {"latency", kShortText, 1, {2000, 5}}};
  for (const std::size_t size : {kShortText, std::size_t{4096}, std::size_t{65536}}) {
    for (const std::size_t subscribers : {1U, 10U, 100U}) {
      cases.push_back({"as fast as taken", size, subscribers, {kMostPerSecond, 3, kWindow}});
    }
  }
  return cases;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2 && argc != 4) {
    std::fprintf(stderr, "usage: endToEnd DAEMON_PROGRAM [TEXT_BYTES SUBSCRIBERS]\n");
    return 64;
  }
  const std::string program = argv[1];
  Bench::RaiseDescriptorLimit();
  Bench::Guests guests;
  std::printf(
      "| case | text B | subs | pubs/s | deliv/s | CPU us/pub | CPU us/deliv | p50 us | p99 us | MiB | lost "
      "|\n"
      "| --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- |\n");
  if (argc == 4) {
    Run(program, guests,
        {"as fast as taken", std::stoul(argv[2]), std::stoul(argv[3]), {kMostPerSecond, 10, kWindow}});
    return 0;
  }
  for (const auto& test : UsualCases()) Run(program, guests, test);
  RunMemory(program, guests);
} catch (const std::exception& error) {
  std::fprintf(stderr, "endToEnd: %s\n", error.what());
  return 1;
}
