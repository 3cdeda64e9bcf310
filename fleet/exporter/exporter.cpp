#include "fleet/exporter/exporter.h"

#include <utility>

#include "fleet/exporter/publicationEvent.h"

namespace Fleet {
namespace {

MetricBounds BoundsOf(const ExporterSettings& settings) {
  MetricBounds bounds;
  bounds.vms = kMostVms;
  bounds.seriesPerVm = settings.series;
  bounds.maxAge = std::chrono::seconds(settings.maxAge);
  return bounds;
}

std::vector<std::string> NamesOf(const ExporterSettings& settings, const ListenAddress& address) {
  auto names = settings.hosts;
  names.insert(names.end(), {"localhost", "127.0.0.1", "[::1]", address.Host()});
  return names;
}

}  // namespace

Exporter::Exporter(const ExporterSettings& settings, const ListenAddress& address,
                   Corvane::Service::Logger* log)
    : metrics_(BoundsOf(settings)),
      stream_(
          settings.caller, {.vmIdType = settings.vmIdType, .vms = {}, .topics = {}},
          [this](const Element& element) { Take(element); }, log),
      tokens_([caller = settings.caller](const std::string& token) { return FetchStats(caller, token); }),
      routes_({vms_, events_, metrics_, stream_}, tokens_, OriginGuard(NamesOf(settings, address))),
      server_(address,
              [this](const Request& request, const Reply& reply) { routes_.Handle(request, reply); }),
      follower_([this](const std::stop_token& stop) { stream_.Run(stop); }) {}

void Exporter::Take(const Element& element) {
  const auto now = std::chrono::steady_clock::now();
  auto event = MakeEvent(element, std::chrono::system_clock::now());
  vms_.Count(event, now);
  // A text of the past must not take the place of a newer one.
  if (!element.history && element.topic.starts_with("metrics.")) {
    metrics_.Take(event.vm, element.topic, element.payload, now);
  }
  events_.Add(std::move(event), now);
}

void Exporter::Tick(std::chrono::steady_clock::time_point now) {
  server_.Tick(now);
  events_.Tick(now);
  tokens_.Tick(now);
  routes_.Tick(now);
}

}  // namespace Fleet
