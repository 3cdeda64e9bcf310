#include "fleet/metrics/storeFamilies.h"

#include <string_view>

#include "fleet/metrics/familyLines.h"
#include "fleet/metrics/number.h"

namespace Fleet {
namespace {

void AppendFigure(std::string& page, std::string_view name, std::string_view labels, double value) {
  page.append(name).append(labels).append("} ");
  AppendNumber(page, value);
  page.push_back('\n');
}

void AppendSeries(std::string& page, MetricForm form, std::span<const VmFigures> vms) {
  constexpr std::string_view kName = "hesper_vm_metric_series";
  AppendFamilyHead(page, form, kName, FamilyType::Gauge, "Series of the VM's metric texts on this page.");
  for (const auto& vm : vms) AppendFigure(page, kName, vm.vmLabel, static_cast<double>(vm.series));
}

void AppendAges(std::string& page, MetricForm form, std::span<const VmFigures> vms) {
  constexpr std::string_view kName = "hesper_vm_metrics_age_seconds";
  AppendFamilyHead(page, form, kName, FamilyType::Gauge, "Time since the VM's newest metric text came.");
  for (const auto& vm : vms) {
    if (vm.age) AppendFigure(page, kName, vm.vmLabel, std::chrono::duration<double>(*vm.age).count());
  }
}

void AppendRefusals(std::string& page, MetricForm form, std::span<const VmFigures> vms) {
  constexpr std::string_view kName = "hesper_vm_refused_texts";
  constexpr std::string_view kSampleName = "hesper_vm_refused_texts_total";
  AppendFamilyHead(page, form, form == MetricForm::OpenMetrics ? kName : kSampleName, FamilyType::Counter,
                   "Metric texts of the VM that were refused, by cause.");
  for (const auto& vm : vms) {
    for (std::size_t cause = 0; cause < vm.refused.size(); ++cause) {
      if (vm.refused[cause] == 0) continue;
      const auto labels =
          std::string(vm.vmLabel).append(",cause=\"").append(kRefusalNames[cause]).append("\"");
      AppendFigure(page, kSampleName, labels, static_cast<double>(vm.refused[cause]));
    }
  }
}

}  // namespace

void AppendStoreFamilies(std::string& page, MetricForm form, std::span<const VmFigures> vms) {
  AppendSeries(page, form, vms);
  AppendAges(page, form, vms);
  AppendRefusals(page, form, vms);
}

}  // namespace Fleet
