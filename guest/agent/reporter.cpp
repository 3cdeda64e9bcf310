#include "guest/agent/reporter.h"

#include <algorithm>

namespace GuestAgent {

Reporter::Reporter(const Configuration& configuration, Publish publish, Stats stats, Tell tell)
    : publish_(std::move(publish)),
      stats_(std::move(stats)),
      hasNode_(configuration.nodeMetrics),
      files_(configuration.textFolder, std::move(tell)),
      metrics_(configuration.metricsInterval),
      ownStats_(configuration.statsInterval) {}

Reporter::Milliseconds Reporter::Step(Milliseconds now) {
  const auto metrics = metrics_.Step(now, [&] { PublishMetrics(now); });
  return std::min(metrics, ownStats_.Step(now, [this] { publish_("hesper.guest.stats", stats_()); }));
}

void Reporter::PublishMetrics(Milliseconds now) {
  if (hasNode_) publish_("metrics.node", node_.Text());
  for (auto& file : files_.Due(now)) publish_("metrics.textfile." + file.name, std::move(file.text));
}

}  // namespace GuestAgent
