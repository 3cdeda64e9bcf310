// What the exporter's tables cost with the VMs of a large host: to take a publication, and to make the pages.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "fleet/exporter/eventStreams.h"
#include "fleet/exporter/metricWriter.h"
#include "fleet/exporter/vmTable.h"
#include "fleet/metrics/metricStore.h"

namespace {

using Clock = std::chrono::steady_clock;

// As long as what the agent of a VM publishes.
std::string MetricText(int families) {
  std::string text;
  for (int i = 0; i < families; ++i) {
    const auto name = "node_figure_number_" + std::to_string(i) + "_bytes";
    text.append("# HELP ")
        .append(name)
        .append(" A figure of the VM.\n# TYPE ")
        .append(name)
        .append(" gauge\n");
    text.append(name).append("{device=\"vda\"} ").append(std::to_string(1000000 + i)).append("\n");
  }
  return text;
}

Fleet::Element ElementOf(std::size_t vm, const std::string& topic, const std::string& payload) {
  Fleet::Element element;
  element.vm = "web-server-" + std::to_string(vm);
  element.topic = topic;
  element.createTime = "2026-11-26T09:26:24.000Z";
  element.payload = payload;
  return element;
}

double ResidentMegabytes() {
  std::ifstream file("/proc/self/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  file >> total >> resident;
  return static_cast<double>(resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) / 1e6;
}

// The tables as Exporter fills them.
struct Tables {
  explicit Tables(std::size_t count) {
    const auto text = MetricText(40);
    for (std::size_t vm = 0; vm < count; ++vm) {
      for (int topic = 0; topic < 4; ++topic) {
        Take(ElementOf(vm, "app.topic" + std::to_string(topic), "done"));
      }
      Take(ElementOf(vm, "metrics.node", text));
    }
  }

  void Take(const Fleet::Element& element) {
    const auto now = Clock::now();
    auto event = Fleet::MakeEvent(element, std::chrono::system_clock::now());
    vms.Count(event, now);
    if (element.topic.starts_with("metrics.")) store.Take(event.vm, element.topic, element.payload, now);
    events.Add(std::move(event), now);
  }

  Fleet::VmTable vms;
  Fleet::EventStreams events;
  Fleet::MetricStore store{{}};
};

void MetricsPage(benchmark::State& state) {
  Tables tables(static_cast<std::size_t>(state.range(0)));
  std::size_t bytes = 0;
  for ([[maybe_unused]] auto _ : state) {
    std::string page;
    Fleet::MetricWriter writer(page, Fleet::MetricForm::OpenMetrics);
    tables.vms.WriteMetrics(writer, Clock::now());
    tables.store.AppendTo(page, Clock::now());
    bytes = page.size();
  }
  state.counters["page_MB"] = static_cast<double>(bytes) / 1e6;
  state.counters["RSS_MB"] = ResidentMegabytes();
}
BENCHMARK(MetricsPage)->Arg(100)->Arg(3000)->Unit(benchmark::kMillisecond);

void Overview(benchmark::State& state) {
  Tables tables(static_cast<std::size_t>(state.range(0)));
  std::size_t bytes = 0;
  for ([[maybe_unused]] auto _ : state) {
    rapidjson::StringBuffer buffer;
    Fleet::JsonWriter writer(buffer);
    tables.vms.WriteJson(writer, Clock::now(),
                         [&](const std::string& vm) { return tables.store.Refused(vm); });
    bytes = buffer.GetSize();
  }
  state.counters["page_MB"] = static_cast<double>(bytes) / 1e6;
}
BENCHMARK(Overview)->Arg(100)->Arg(3000)->Unit(benchmark::kMillisecond);

// A publication of one of 3000 VMs, with so many viewers.
void Publication(benchmark::State& state) {
  Tables tables(3000);
  std::vector<std::shared_ptr<Fleet::BodyPipe>> viewers;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    viewers.push_back(tables.events.Open(
        {}, [] { return true; }, Clock::now()));
  }
  const auto element = ElementOf(1500, "app.topic1", std::string(500, 'x'));
  for ([[maybe_unused]] auto _ : state) tables.Take(element);
}
BENCHMARK(Publication)->Arg(0)->Arg(16)->Unit(benchmark::kMicrosecond);

}  // namespace
