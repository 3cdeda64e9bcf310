#include <array>

#include "guest/agent/metrics/kernelText.h"
#include "guest/agent/metrics/subjects.h"

namespace GuestAgent {
namespace {

struct MemoryFigure {
  std::string_view key;
  std::string_view family;
};

constexpr std::array<MemoryFigure, 9> kMemoryFigures{{
    {"MemTotal:", "node_memory_MemTotal_bytes"},
    {"MemFree:", "node_memory_MemFree_bytes"},
    {"MemAvailable:", "node_memory_MemAvailable_bytes"},
    {"Buffers:", "node_memory_Buffers_bytes"},
    {"Cached:", "node_memory_Cached_bytes"},
    {"Slab:", "node_memory_Slab_bytes"},
    {"SReclaimable:", "node_memory_SReclaimable_bytes"},
    {"SwapTotal:", "node_memory_SwapTotal_bytes"},
    {"SwapFree:", "node_memory_SwapFree_bytes"},
}};

}  // namespace

void AddMemory(const std::string& proc, MetricText& text) {
  const std::string memory = ReadKernelFile(proc + "/meminfo");
  for (const auto& figure : kMemoryFigures) {
    const auto kibibytes = FirstNumber(AfterKey(memory, figure.key));
    if (kibibytes) text.Add({figure.family, MetricKind::Gauge}, WholeNumber(*kibibytes * 1024));
  }
  // A counter would have to be called "..._total"; the exporter's name has none, so their type isn't told.
  const std::string statistics = ReadKernelFile(proc + "/vmstat");
  const auto in = FirstNumber(AfterKey(statistics, "pswpin "));
  const auto out = FirstNumber(AfterKey(statistics, "pswpout "));
  if (in) text.Add({"node_vmstat_pswpin", MetricKind::Unknown}, WholeNumber(*in));
  if (out) text.Add({"node_vmstat_pswpout", MetricKind::Unknown}, WholeNumber(*out));
}

}  // namespace GuestAgent
