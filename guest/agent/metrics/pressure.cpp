#include "guest/agent/metrics/kernelText.h"
#include "guest/agent/metrics/subjects.h"

namespace GuestAgent {
namespace {

// Of a line such as "some avg10=0.00 avg60=0.00 avg300=0.00 total=1234", in microseconds.
void AddStall(std::string_view family, std::string_view line, MetricText& text) {
  constexpr std::string_view kTotal = " total=";
  const std::size_t at = line.find(kTotal);
  if (at == std::string_view::npos) return;
  const auto microseconds = ToNumber(line.substr(at + kTotal.size()));
  if (microseconds) text.Add({family, MetricKind::Counter}, DecimalNumber(*microseconds, 6));
}

}  // namespace

void AddPressure(const std::string& proc, MetricText& text) {
  const std::string processor = ReadKernelFile(proc + "/pressure/cpu");
  AddStall("node_pressure_cpu_waiting_seconds", AfterKey(processor, "some"), text);
  const std::string disk = ReadKernelFile(proc + "/pressure/io");
  AddStall("node_pressure_io_waiting_seconds", AfterKey(disk, "some"), text);
  AddStall("node_pressure_io_stalled_seconds", AfterKey(disk, "full"), text);
  const std::string memory = ReadKernelFile(proc + "/pressure/memory");
  AddStall("node_pressure_memory_waiting_seconds", AfterKey(memory, "some"), text);
  AddStall("node_pressure_memory_stalled_seconds", AfterKey(memory, "full"), text);
}

}  // namespace GuestAgent
