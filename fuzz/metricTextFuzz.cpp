// Metric texts of two VMs, one of which has two topics: the input, split at NULs.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fleet/metrics/metricStore.h"
#include "testing/metricPage.h"

namespace {

using Fleet::MetricForm;
using Fleet::MetricStore;
using Testing::MetricPage;

constexpr Fleet::MetricBounds kBounds{.vms = 2, .textsPerVm = 2, .seriesPerVm = 40, .bytesPerVm = 6 << 10};
// Beside its own bytes: each series' name and label vm, the two lines before it if it is a family of its own,
// and the store's lines.
constexpr std::size_t kMostPerVm = (6 << 10) + 40 * (200 + 20 + 2 * 230) + 2000;

void Require(bool condition) {
  if (!condition) std::abort();
}

struct Texts {
  std::string_view one, other, neighbour;
};

std::string_view TakeText(std::string_view& input) {
  const auto text = input.substr(0, input.find('\0'));
  input.remove_prefix(std::min(text.size() + 1, input.size()));
  return text;
}

constexpr MetricStore::Time kNow = MetricStore::Time{} + std::chrono::hours(5);

void TakeOne(MetricStore& store, const Texts& texts) {
  store.Take("a", "metrics.node", texts.one, kNow);
  store.Take("a", "metrics.textfile.x", texts.other, kNow);
}

void TakeNeighbour(MetricStore& store, const Texts& texts) {
  store.Take("b", "metrics.node", texts.neighbour, kNow);
}

MetricPage PageOf(const MetricStore& store, MetricForm form) {
  std::string page;
  store.AppendTo(page, kNow, form);
  Require(page.size() <= 2 * kMostPerVm);
  return {page,
          form == MetricForm::OpenMetrics ? MetricPage::Form::OpenMetrics : MetricPage::Form::Prometheus};
}

// What a VM has alone, it has beside another one: the same lines, of the same type or of none.
void CheckUntouched(const MetricPage& both, const MetricPage& alone, const std::string& vm) {
  Require(both.SamplesOf(vm) == alone.SamplesOf(vm));
  for (const auto& line : alone.SamplesOf(vm)) {
    const auto type = both.TypeOfSample(line);
    Require(type == "unknown" || type == "untyped" || type == alone.TypeOfSample(line));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  Texts texts;
  texts.one = TakeText(input);
  texts.neighbour = TakeText(input);
  texts.other = input;
  MetricStore one(kBounds), neighbour(kBounds), both(kBounds);
  TakeOne(one, texts);
  TakeNeighbour(neighbour, texts);
  TakeNeighbour(both, texts);
  TakeOne(both, texts);
  for (const auto form : {MetricForm::OpenMetrics, MetricForm::Prometheus}) {
    const auto page = PageOf(both, form);
    Require(page.Samples().size() == 2);
    CheckUntouched(page, PageOf(one, form), "a");
    CheckUntouched(page, PageOf(neighbour, form), "b");
  }
  return 0;
}
