#include "bench/growth/series.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <utility>

#include "bench/measure.h"
#include "bench/stampedText.h"
#include "testing/guestText.h"

namespace Growth {
namespace {

constexpr std::size_t kTextSize = 256;
// Of no VM of Bench::Guests.
constexpr std::uint32_t kCallerCid = 999;
// Stands in a stamp's place, and is none.
constexpr const char kCallTopic[] = "b.9999999999999999999";
constexpr double kMostDeliveriesPerSecond = 20'000;
// Of what a daemon can have at all; the limits that it sets itself leave no more.
constexpr std::size_t kMostSubscribers = 1900;
constexpr std::size_t kFewestVms = 100;
constexpr double kFewestVmsPerSecond = 190;  // just below what they may send
const std::vector<std::size_t> kSubscriberCounts = {1, 10, 100, 1000, kMostSubscribers};
const std::vector<std::size_t> kPrefixCounts = {1, 10, 100, 1000, 10'000};
constexpr double kUsualPerSecond = 500;

std::string Wanted(const std::string& more) {
  return R"({"vm_id_type":"MGR_VM_ID",)" + more + "}";
}

// That many prefixes that no publication here has, and one more, which the daemon's order puts last.
std::string Prefixes(std::size_t others, const std::string& last) {
  std::string list = R"("topic_prefixes":[)";
  for (std::size_t i = 0; i < others; ++i) list += "\"a." + std::to_string(i) + "\",";
  return list + '"' + last + "\"]";
}

// One point: who subscribes, and how many VMs publish how often.
struct Load {
  std::size_t takers = 1;  // get each publication
  std::string taken = Testing::kEverything;
  std::size_t idlers = 0;  // get only what calls them
  std::string idlersWant = {};
  double perSecond = kUsualPerSecond;
};

// Publishes what comes to all, so that it's known when each subscription is there.
class Caller {
 public:
  void Call(const Bench::DaemonProcess& daemon) { guest_.Send(daemon.vmPort(), text_); }

 private:
  Testing::Vm vm_{kCallerCid};
  Krell::GuestSocket guest_{kCallerCid};
  const std::string text_ = Testing::FilledText(1, kCallTopic, kTextSize);
};

// How many VMs there are besides the caller's. One too many on a full host, and the daemon, which remembers
// as many as a full host has, forgets each one before its next turn.
std::uint32_t WithoutCaller(std::size_t vms) {
  return static_cast<std::uint32_t>(vms) - 1;
}

std::vector<Corvane::FileDescriptor> Subscribe(const Bench::DaemonProcess& daemon, const Load& load) {
  std::vector<Corvane::FileDescriptor> streams;
  for (std::size_t i = 0; i < load.idlers; ++i) streams.push_back(daemon.Subscribe(load.idlersWant));
  for (std::size_t i = 0; i < load.takers; ++i) streams.push_back(daemon.Subscribe(load.taken));
  return streams;
}

Sample RunOnce(const Choice& choice, Bench::Guests& guests, const Load& load) {
  Caller caller;  // before the introduction, as with a new VM all others are looked up anew
  const Bench::DaemonProcess daemon(choice.daemonProgram);
  daemon.AllowMoreConnections();
  Bench::Introduce(guests, daemon);
  Bench::Receiver receiver(Subscribe(daemon, load), guests.Descriptors(), kTextSize);
  Bench::AwaitStreams(receiver, [&] { caller.Call(daemon); });
  Bench::StampedText text(kTextSize);
  const auto outcome = Bench::Measure(daemon.pid(), receiver, load.takers, {load.perSecond, choice.seconds},
                                      [&] { guests.Send(daemon.vmPort(), text.Stamp()); });
  return {0, outcome.CpuMicrosPerPublication(), static_cast<double>(outcome.lost)};
}

Sample Run(const Choice& choice, Bench::Guests& guests, const Load& load) {
  std::vector<double> costs;
  Sample sample;
  for (unsigned i = 0; i < choice.repetitions; ++i) {
    const auto once = RunOnce(choice, guests, load);
    costs.push_back(once.cpuMicros);
    sample.lost += once.lost;
  }
  const auto middle = costs.begin() + static_cast<std::ptrdiff_t>(costs.size() / 2);
  std::nth_element(costs.begin(), middle, costs.end());
  sample.cpuMicros = *middle;
  return sample;
}

// The sample of a count, which the series completes.
using Measuring = std::function<Sample(std::size_t count)>;

Series MeasureSeries(const char* name, std::size_t reached, const std::vector<std::size_t>& counts,
                     const Measuring& measure) {
  Series series{name, reached, {}};
  for (const auto count : counts) {
    auto sample = measure(count);
    sample.count = count;
    std::fprintf(stderr, "%s, %zu: %.1f us, %.0f lost\n", name, count, sample.cpuMicros, sample.lost);
    series.samples.push_back(sample);
  }
  return series;
}

// All at the rate that the fewest may have.
Series GrowVms(const Choice& choice) {
  return MeasureSeries("VMs, at a constant total rate", 1, {kFewestVms, 1000, Bench::kFullHost},
                       [&](std::size_t count) {
                         Bench::Guests guests(WithoutCaller(count));
                         Load load;
                         load.perSecond = kFewestVmsPerSecond;
                         return Run(choice, guests, load);
                       });
}

Series GrowTakers(const Choice& choice, Bench::Guests& guests) {
  return MeasureSeries("subscribers, all match", 0, kSubscriberCounts, [&](std::size_t count) {
    Load load;
    load.takers = count;
    load.perSecond = std::min(kUsualPerSecond, kMostDeliveriesPerSecond / static_cast<double>(count));
    return Run(choice, guests, load);
  });
}

// What the idlers want, as a member of the operation's argument, is only what calls them.
Series GrowIdlers(const char* name, const Choice& choice, Bench::Guests& guests, const std::string& wanted) {
  return MeasureSeries(name, 1, kSubscriberCounts, [&](std::size_t count) {
    Load load;
    load.idlers = count - 1;
    load.idlersWant = Wanted(wanted);
    return Run(choice, guests, load);
  });
}

Series GrowMatchingPrefixes(const Choice& choice, Bench::Guests& guests) {
  return MeasureSeries("topic prefixes, the last matches", 1, kPrefixCounts, [&](std::size_t count) {
    Load load;
    load.taken = Wanted(Prefixes(count - 1, "b"));
    return Run(choice, guests, load);
  });
}

Series GrowIdlePrefixes(const Choice& choice, Bench::Guests& guests) {
  return MeasureSeries("topic prefixes, none matches", 1, kPrefixCounts, [&](std::size_t count) {
    Load load;
    load.idlers = 1;
    load.idlersWant = Wanted(Prefixes(count - 1, kCallTopic));
    return Run(choice, guests, load);
  });
}

}  // namespace

std::vector<Series> MeasureAll(const Choice& choice) {
  const auto callerOnly = R"("vm_filter":[{"mgr_vm_id":"vm-)" + std::to_string(kCallerCid) + "\"}]";
  std::vector<Series> all = {GrowVms(choice)};
  Bench::Guests guests(WithoutCaller(Bench::kFullHost));
  all.push_back(GrowTakers(choice, guests));
  all.push_back(
      GrowIdlers("subscribers, one matches, others by topic", choice, guests, Prefixes(0, kCallTopic)));
  all.push_back(GrowIdlers("subscribers, one matches, others by VM", choice, guests, callerOnly));
  all.push_back(GrowMatchingPrefixes(choice, guests));
  all.push_back(GrowIdlePrefixes(choice, guests));
  return all;
}

}  // namespace Growth
