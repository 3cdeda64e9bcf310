#include "guest/agent/agent.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <random>
#include <system_error>

#include "guest/agent/interval.h"
#include "guest/agent/log.h"
#include "guest/agent/notify.h"
#include "guest/agent/reception.h"
#include "guest/agent/reporter.h"
#include "guest/agent/requestLine.h"
#include "guest/agent/sending/courier.h"
#include "guest/agent/sending/liveSource.h"
#include "guest/agent/sending/pastSource.h"
#include "guest/link/stopSignals.h"

namespace GuestAgent {
namespace {

using Milliseconds = std::chrono::milliseconds;

// Half of what the service unit waits for.
constexpr std::chrono::seconds kBetweenSigns{30};
constexpr std::chrono::seconds kBetweenTidying{60};
constexpr Milliseconds kConnectPatience{500};
constexpr Milliseconds kSendPatience{1000};

GuestLink::LinkOptions Impatient(GuestLink::LinkOptions options) {
  options.connectPatience = kConnectPatience;
  options.sendPatience = kSendPatience;
  return options;
}

class Agent {
 public:
  Agent(const Configuration& configuration, GuestLink::Way& way, const Clock& clock);

  void Run();

 private:
  // Does what is due, and gives when there is more.
  Milliseconds Step(Milliseconds now);
  // Gives false at the end.
  bool Wait(Milliseconds time);
  void Ask(const std::string& text) { past_.Ask(text, store_.NextSequence() - 1); }

  const Clock& clock_;
  const Corvane::FileDescriptor stop_;
  Counters counters_;
  LocalSocket socket_;
  Store store_;
  Permissions permissions_;
  Allowance allowance_;
  Schedule schedule_;
  Reception reception_;
  PastSource past_;
  LiveSource live_;
  Courier courier_;
  RequestLine requests_;
  Reporter reporter_;
  Interval tidying_{kBetweenTidying};
  Interval signs_{kBetweenSigns};
};

Agent::Agent(const Configuration& configuration, GuestLink::Way& way, const Clock& clock)
    : clock_(clock),
      stop_(GuestLink::OpenStopSignals()),
      socket_(configuration.socketPath),
      store_(configuration.storePath, configuration.bounds, clock, LogWarning),
      permissions_(configuration.rules, LogWarning),
      allowance_(configuration.rates),
      // What waits may be half of what is kept.
      schedule_({configuration.waitingItems, configuration.bounds.bytes / 2}),
      reception_(socket_, permissions_, allowance_, store_, schedule_, counters_),
      past_(store_, counters_),
      live_(
          schedule_, store_, counters_, [this](std::uint64_t sequence) { past_.LeftLive(sequence); },
          LogWarning),
      courier_([&way, options = Impatient(configuration.link)] { return way.OpenPublications(options); },
               live_, past_, counters_, LogNotice, std::random_device()()),
      requests_([&way, options = configuration.link] { return way.OpenRequests(options); },
                [this](const std::string& text) { Ask(text); }, LogWarning, std::random_device()()),
      reporter_(
          configuration,
          [this](const std::string& topic, std::string text) { reception_.Publish(topic, std::move(text)); },
          [this] { return StatsText(counters_, schedule_, store_); }, LogWarning) {}

void Agent::Run() {
  reception_.Restore();
  LogNotice("takes data on its socket; " + std::to_string(schedule_.Items()) + " publications wait");
  Notify("READY=1");
  while (Wait(Step(clock_.BootTime()))) {
  }
  Notify("STOPPING=1");
}

Milliseconds Agent::Step(Milliseconds now) {
  permissions_.Refresh();
  reception_.Serve(now);
  Milliseconds next = reporter_.Step(now);
  next = std::min(next, tidying_.Step(now, [this] { store_.Tidy(); }));
  next = std::min(next, signs_.Step(now, [] { Notify("WATCHDOG=1"); }));
  next = std::min(next, requests_.Step(now).value_or(next));
  if (past_.Search()) next = now;
  return std::min(next, courier_.Step(now).value_or(next));
}

bool Agent::Wait(Milliseconds time) {
  pollfd events[] = {{stop_.Get(), POLLIN, 0},
                     {socket_.Descriptor(), POLLIN, 0},
                     {courier_.Descriptor(), POLLIN, 0},
                     {requests_.Descriptor(), POLLIN, 0}};
  const auto left = std::clamp<std::int64_t>((time - clock_.BootTime()).count(), 0, 60'000);
  if (poll(events, std::size(events), static_cast<int>(left)) < 0 && errno != EINTR) {
    throw std::system_error(errno, std::generic_category(), "poll");
  }
  return events[0].revents == 0;
}

}  // namespace

void Serve(const Configuration& configuration, GuestLink::Way& way, const Clock& clock) {
  Agent(configuration, way, clock).Run();
}

}  // namespace GuestAgent
