#include "bench/brokers/figures.h"

#include <algorithm>

#include "bench/brokers/daemonBroker.h"
#include "bench/measure.h"
#include "bench/stampedText.h"
#include "lib/public/api/guestLimits.h"

namespace Brokers {
namespace {

// What all VMs together may send.
constexpr double kMostPerSecond = Bench::kFullHost * Bench::kAllowedPerSecond;
// No more than the queue of a stream takes.
constexpr std::size_t kWindow = 16;

Bench::Outcome Run(Broker& broker, std::size_t bytes, std::size_t subscribers, const Bench::Pace& pace) {
  std::vector<Corvane::FileDescriptor> streams;
  for (std::size_t i = 0; i < subscribers; ++i) streams.push_back(broker.Subscribe());
  Bench::Receiver receiver(std::move(streams), broker.Answers(), bytes);
  Bench::StampedText text(bytes);
  const auto send = [&] { broker.Publish(text.Stamp()); };
  Bench::AwaitStreams(receiver, send);
  return Bench::Measure(broker.Process(), receiver, subscribers, pace, send);
}

double Median(const std::vector<Figures>& runs, double Figures::*figure) {
  std::vector<double> values;
  for (const auto& run : runs) values.push_back(run.*figure);
  std::sort(values.begin(), values.end());
  const auto middle = values.size() / 2;
  return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace

Figures Measure(Broker& broker, const Row& row, double seconds) {
  const bool paced = row.perSecond != 0;
  const auto outcome = Run(broker, row.bytes, row.subscribers,
                           {paced ? row.perSecond : kMostPerSecond, seconds, paced ? 0 : kWindow});
  const auto publications = static_cast<double>(outcome.deliveries) / static_cast<double>(row.subscribers);
  return {outcome.CpuMicrosPerDelivery(),    publications / outcome.seconds,
          outcome.LatencyMicros(0.5),        outcome.LatencyMicros(0.99),
          static_cast<double>(outcome.lost), outcome.used.reader / outcome.seconds};
}

Figures Medians(const std::vector<Figures>& runs) {
  Figures medians{Median(runs, &Figures::cpuMicros),
                  Median(runs, &Figures::perSecond),
                  Median(runs, &Figures::p50Micros),
                  Median(runs, &Figures::p99Micros),
                  0,
                  Median(runs, &Figures::readerLoad)};
  for (const auto& run : runs) medians.lost += run.lost;
  return medians;
}

HostLoad MeasureHostLoad(const Stage& stage, double seconds) {
  DaemonBroker daemon(stage);
  const auto outcome = Run(daemon, NornHesper::kLargestDatagram, 1, {kMostPerSecond, seconds});
  return {static_cast<double>(outcome.deliveries) / outcome.seconds, static_cast<double>(outcome.lost),
          outcome.used.server / outcome.seconds, outcome.used.serverSystem / outcome.seconds};
}

}  // namespace Brokers
