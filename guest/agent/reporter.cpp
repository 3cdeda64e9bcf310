#include "guest/agent/reporter.h"

#include <algorithm>

namespace GuestAgent {

Reporter::Reporter(const Configuration& configuration, Publish publish, Stats stats, Tell tell)
    : publish_(std::move(publish)),
      stats_(std::move(stats)),
      hasNode_(configuration.nodeMetrics),
      metricsInterval_(configuration.metricsInterval),
      statsInterval_(configuration.statsInterval),
      files_(configuration.textFolder, std::move(tell)) {}

Reporter::Milliseconds Reporter::Step(Milliseconds now) {
  if (now >= metricsDue_) {
    metricsDue_ = now + metricsInterval_;
    PublishMetrics(now);
  }
  if (now >= statsDue_) {
    statsDue_ = now + statsInterval_;
    publish_("hesper.guest.stats", stats_());
  }
  return std::min(metricsDue_, statsDue_);
}

void Reporter::PublishMetrics(Milliseconds now) {
  if (hasNode_) publish_("metrics.node", node_.Text());
  for (auto& file : files_.Due(now)) publish_("metrics.textfile." + file.name, std::move(file.text));
}

}  // namespace GuestAgent
