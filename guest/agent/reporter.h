#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "guest/agent/configuration.h"
#include "guest/agent/interval.h"
#include "guest/agent/keeping/counters.h"
#include "guest/agent/metrics/nodeMetrics.h"
#include "guest/agent/metrics/textFiles.h"
#include "guest/agent/sending/schedule.h"

namespace GuestAgent {

// Publishes at its times what the agent tells by itself: the VM's figures, the files of other programs, its
// own figures.
class Reporter {
 public:
  using Milliseconds = std::chrono::milliseconds;
  using Publish = std::function<void(const std::string& topic, std::string text)>;
  using Tell = std::function<void(const std::string&)>;
  // The agent's figures as text.
  using Stats = std::function<std::string()>;

  Reporter(const Configuration& configuration, Publish publish, Stats stats, Tell tell);

  // Publishes what is due. Gives when the next is. Times are since the VM's start.
  Milliseconds Step(Milliseconds now);

 private:
  void PublishMetrics(Milliseconds now);

  const Publish publish_;
  const Stats stats_;
  const bool hasNode_;
  NodeMetrics node_;
  TextFiles files_;
  Interval metrics_;
  Interval ownStats_;
};

// Of the agent itself, as OpenMetrics text.
std::string StatsText(const Counters& counters, const Schedule& schedule, const Store& store);

}  // namespace GuestAgent
