#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>

#include "guest/agent/metrics/kernelText.h"
#include "guest/agent/metrics/subjects.h"

namespace GuestAgent {
namespace {

// In the kernel's order. What a processor did for guests of its own is in "user" and "nice" already.
constexpr std::array<std::string_view, 8> kModes{"user",   "nice", "system",  "idle",
                                                 "iowait", "irq",  "softirq", "steal"};

// Digits with at most one point between them: the kernel's text is as good as one that is made of it.
bool IsDecimal(std::string_view text) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  if (text.empty() || !isDigit(text.front()) || !isDigit(text.back())) return false;
  return std::count(text.begin(), text.end(), '.') <= 1 &&
         std::all_of(text.begin(), text.end(), [&](char c) { return isDigit(c) || c == '.'; });
}

void AddDecimal(MetricFamily family, std::string_view number, MetricText& text) {
  if (IsDecimal(number)) text.Add(family, std::string(number));
}

void AddFirstNumber(MetricFamily family, std::string_view value, MetricText& text) {
  if (const auto number = FirstNumber(value)) text.Add(family, WholeNumber(*number));
}

void AddLoad(const std::string& proc, MetricText& text) {
  const std::string file = ReadKernelFile(proc + "/loadavg");
  const auto words = Words(file);
  if (words.size() < 3) return;
  AddDecimal({"node_load1", MetricKind::Gauge}, words[0], text);
  AddDecimal({"node_load5", MetricKind::Gauge}, words[1], text);
  AddDecimal({"node_load15", MetricKind::Gauge}, words[2], text);
}

// The kernel counts in ticks for programs, of which a second has a hundred nearly everywhere.
std::string TicksAsSeconds(std::uint64_t ticks) {
  static const auto ticksPerSecond = static_cast<std::uint64_t>(std::max(sysconf(_SC_CLK_TCK), 1L));
  return DecimalNumber(ticks / ticksPerSecond * 100 + ticks % ticksPerSecond * 100 / ticksPerSecond, 2);
}

void AddModes(std::string_view sum, MetricText& text) {
  const auto words = Words(sum);
  std::vector<MetricRow> rows;
  for (std::size_t mode = 0; mode < std::min(words.size(), kModes.size()); ++mode) {
    const auto ticks = ToNumber(words[mode]);
    if (ticks) rows.push_back({MetricLabel("mode", kModes[mode]), {TicksAsSeconds(*ticks)}});
  }
  constexpr MetricFamily kFamily{"node_cpu_seconds", MetricKind::Counter};
  text.Add({&kFamily, 1}, rows);
}

// The first line is the sum of all processors; each of them has a line behind it.
std::uint64_t CountProcessors(std::string_view stat) {
  std::uint64_t count = 0;
  while (!stat.empty()) count += TakeLine(stat).starts_with("cpu") ? 1 : 0;
  return count > 0 ? count - 1 : 0;
}

void AddTimes(const std::string& proc, std::string_view stat, MetricText& text) {
  AddFirstNumber({"node_boot_time_seconds", MetricKind::Gauge}, AfterKey(stat, "btime "), text);
  const std::string uptime = ReadKernelFile(proc + "/uptime");
  AddDecimal({"node_uptime_seconds", MetricKind::Gauge}, uptime.substr(0, uptime.find(' ')), text);
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
  text.Add({"node_time_seconds", MetricKind::Gauge},
           DecimalNumber(static_cast<std::uint64_t>(std::max<std::int64_t>(milliseconds, 0)), 3));
}

}  // namespace

void AddProcessor(const std::string& proc, MetricText& text) {
  AddLoad(proc, text);
  const std::string stat = ReadKernelFile(proc + "/stat");
  AddModes(AfterKey(stat, "cpu "), text);
  if (const auto count = CountProcessors(stat)) {
    text.Add({"node_cpus", MetricKind::Gauge}, WholeNumber(count));
  }
  AddFirstNumber({"node_procs_running", MetricKind::Gauge}, AfterKey(stat, "procs_running "), text);
  AddFirstNumber({"node_procs_blocked", MetricKind::Gauge}, AfterKey(stat, "procs_blocked "), text);
  AddFirstNumber({"node_forks", MetricKind::Counter}, AfterKey(stat, "processes "), text);
  AddTimes(proc, stat, text);
}

}  // namespace GuestAgent
