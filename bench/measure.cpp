#include "bench/measure.h"

#include <algorithm>

#include "bench/stampedText.h"

namespace Bench {
namespace {

constexpr double kRunUpSeconds = 0.5;
constexpr std::size_t kShortText = 256;
constexpr double kUnhurriedPerSecond = 4000;
// The second time, what was remembered of the VM is checked for the first time, which takes a look-up.
constexpr double kIntroductions = 2;

Usage UsageUntilNow(pid_t server, Receiver& receiver) {
  return {CpuSeconds(server), SystemSeconds(server), receiver.CpuSeconds()};
}

Usage Difference(const Usage& before, const Usage& after) {
  return {after.server - before.server, after.serverSystem - before.serverSystem,
          after.reader - before.reader};
}

double MicrosEach(double seconds, std::uint64_t count) {
  return count == 0 ? 0 : seconds * 1e6 / static_cast<double>(count);
}

}  // namespace

double Outcome::CpuMicrosPerDelivery() const {
  return MicrosEach(used.server, deliveries);
}

double Outcome::CpuMicrosPerPublication() const {
  return MicrosEach(used.server, answers);
}

double Outcome::LatencyMicros(double part) const {
  if (latencies.empty()) return 0;
  const auto at = static_cast<std::size_t>(part * static_cast<double>(latencies.size() - 1));
  return static_cast<double>(latencies[at]) / 1e3;
}

Outcome Measure(pid_t server, Receiver& receiver, std::size_t reachedStreams, const Pace& pace,
                const std::function<void()>& send) {
  Settle(receiver, Drive({pace.perSecond, kRunUpSeconds, pace.window}, receiver, send), reachedStreams);
  const auto before = UsageUntilNow(server, receiver);
  const auto begin = NowNs();
  Outcome outcome;
  outcome.sent = Drive(pace, receiver, send);
  Settle(receiver, outcome.sent, reachedStreams);
  outcome.used = Difference(before, UsageUntilNow(server, receiver));
  outcome.seconds = static_cast<double>(receiver.LastArrival() - begin) / 1e9;
  outcome.answers = receiver.Answers();
  outcome.deliveries = receiver.Deliveries();
  outcome.lost = reachedStreams != 0 ? outcome.sent * reachedStreams - outcome.deliveries
                                     : outcome.sent - outcome.answers;
  outcome.latencies = receiver.Latencies();
  return outcome;
}

void Introduce(Guests& guests, const DaemonProcess& daemon) {
  Receiver receiver({}, guests.Descriptors(), kShortText);
  StampedText text(kShortText);
  const auto count = static_cast<double>(guests.Count());
  const auto rate = std::min(kUnhurriedPerSecond, count * kAllowedPerSecond);
  const auto sent = Drive({rate, kIntroductions * count / rate}, receiver,
                          [&] { guests.Send(daemon.vmPort(), text.Stamp()); });
  Settle(receiver, sent, 0);
}

}  // namespace Bench
