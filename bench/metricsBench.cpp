// What the metrics of a host's VMs cost the exporter: a text of an agent, the texts that cost most, and the
// page. The agent's text is that of this machine.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fleet/metrics/metricStore.h"
#include "guest/agent/metrics/nodeMetrics.h"

namespace {

using Fleet::MetricForm;
using Fleet::MetricStore;

// What a publication can carry.
constexpr std::size_t kLargestText = 50 << 10;
constexpr MetricStore::Time kNow = MetricStore::Time{} + std::chrono::hours(100);

double AllocatedMegabytes() {
  return static_cast<double>(mallinfo2().uordblks) / 1e6;
}

void TakeText(benchmark::State& state, const std::string& text, std::uint64_t refusals) {
  MetricStore store({});
  for (auto _ : state) store.Take("web", "metrics.node", text, kNow);
  if ((store.Refused() > 0 ? 1U : 0U) != refusals) state.SkipWithError("not taken as expected");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void TakeAgentText(benchmark::State& state) {
  TakeText(state, GuestAgent::NodeMetrics().Text(), 0);
}

// Series that are alike for long, in the reverse order.
void TakeLikeSeries(benchmark::State& state) {
  std::string text;
  for (int i = 999; i >= 100; --i) text += "m{l=\"" + std::string(38, 'x') + std::to_string(i) + "\"} 1\n";
  TakeText(state, text, 0);
}

// As many families as fit.
void TakeTypes(benchmark::State& state) {
  std::string text;
  for (int i = 9999; text.size() < kLargestText; --i) text += "# TYPE m" + std::to_string(i) + " gauge\n";
  TakeText(state, text, 0);
}

// A number of many digits to each series.
void TakeLongNumbers(benchmark::State& state) {
  std::string text;
  for (int i = 0; text.size() < kLargestText; ++i) {
    text += "m" + std::to_string(i) + " 1." + std::string(800, '7') + "e-300\n";
  }
  TakeText(state, text, 0);
}

void TakeRefused(benchmark::State& state) {
  TakeText(state, GuestAgent::NodeMetrics().Text() + "x", 1);
}

// Each VM has the agent's text. One of them disputes the type of each gauge, if wanted.
void FillHost(MetricStore& store, std::int64_t vms, bool hasDispute) {
  const std::string text = GuestAgent::NodeMetrics().Text();
  for (std::int64_t vm = 0; vm < vms; ++vm) {
    store.Take("vm-" + std::to_string(vm), "metrics.node", text, kNow);
  }
  if (!hasDispute) return;
  std::string hostile = text;
  for (auto at = hostile.find(" gauge"); at != std::string::npos; at = hostile.find(" gauge")) {
    hostile.replace(at, 6, " unknown");
  }
  store.Take("vm-0", "metrics.node", hostile, kNow);
}

void WritePage(benchmark::State& state, MetricForm form, bool hasDispute) {
  const double before = AllocatedMegabytes();
  MetricStore store({});
  FillHost(store, state.range(0), hasDispute);
  if (store.Refused() > 0) state.SkipWithError("refused");
  state.counters["storeMB"] = AllocatedMegabytes() - before;
  std::size_t size = 0;
  for (auto _ : state) {
    std::string page;
    store.AppendTo(page, kNow, form);
    size = page.size();
    benchmark::DoNotOptimize(page.data());
  }
  state.counters["pageMB"] = static_cast<double>(size) / 1e6;
}

void WriteOpenMetrics(benchmark::State& state) {
  WritePage(state, MetricForm::OpenMetrics, false);
}
void WritePrometheus(benchmark::State& state) {
  WritePage(state, MetricForm::Prometheus, false);
}
void WriteDisputed(benchmark::State& state) {
  WritePage(state, MetricForm::OpenMetrics, true);
}

BENCHMARK(TakeAgentText);
BENCHMARK(TakeLikeSeries);
BENCHMARK(TakeTypes);
BENCHMARK(TakeLongNumbers);
BENCHMARK(TakeRefused);
BENCHMARK(WriteOpenMetrics)->Arg(100)->Arg(3000)->Unit(benchmark::kMillisecond);
BENCHMARK(WritePrometheus)->Arg(3000)->Unit(benchmark::kMillisecond);
BENCHMARK(WriteDisputed)->Arg(3000)->Unit(benchmark::kMillisecond);

}  // namespace
