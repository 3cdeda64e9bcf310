#include <unistd.h>

#include <algorithm>
#include <array>

#include "guest/agent/metrics/kernelText.h"
#include "guest/agent/metrics/subjects.h"

namespace GuestAgent {
namespace {

// The kernel's unit, whatever the disk's own one is.
constexpr std::uint64_t kSectorBytes = 512;

constexpr std::array<MetricFamily, 5> kDiskFamilies{{
    {"node_disk_reads_completed", MetricKind::Counter},
    {"node_disk_read_bytes", MetricKind::Counter},
    {"node_disk_writes_completed", MetricKind::Counter},
    {"node_disk_written_bytes", MetricKind::Counter},
    {"node_disk_io_time_seconds", MetricKind::Counter},
}};

// A disk has a device behind it. Partitions have no folder here, and what is built on disks (dm, md, loop,
// zram) has no device: its bytes are counted with those of its disks.
bool IsDisk(const std::string& sys, std::string name) {
  std::replace(name.begin(), name.end(), '/', '!');
  return access((sys + "/block/" + name + "/device").c_str(), F_OK) == 0;
}

// The columns of /proc/diskstats are numbered as in the kernel's iostats.rst, with the name in the third one.
std::vector<std::string> DiskNumbers(const std::vector<std::string_view>& words) {
  const auto number = [&](std::size_t column) { return ToNumber(words[column]).value_or(0); };
  return {WholeNumber(number(3)), WholeNumber(number(5) * kSectorBytes), WholeNumber(number(7)),
          WholeNumber(number(9) * kSectorBytes), DecimalNumber(number(12), 3)};
}

}  // namespace

void AddDisks(const std::string& proc, const std::string& sys, MetricText& text) {
  const std::string file = ReadKernelFile(proc + "/diskstats");
  std::string_view rest = file;
  std::vector<MetricRow> rows;
  while (!rest.empty()) {
    const auto words = Words(TakeLine(rest));
    if (words.size() < 13 || !IsDisk(sys, std::string(words[2]))) continue;
    rows.push_back({MetricLabel("device", words[2]), DiskNumbers(words)});
  }
  text.Add(kDiskFamilies, rows);
}

}  // namespace GuestAgent
