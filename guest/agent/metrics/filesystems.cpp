#include <sys/statfs.h>

#include <array>

#include "guest/agent/metrics/kernelText.h"
#include "guest/agent/metrics/mounts.h"
#include "guest/agent/metrics/subjects.h"

namespace GuestAgent {
namespace {

constexpr std::array<MetricFamily, 5> kFilesystemFamilies{{
    {"node_filesystem_size_bytes", MetricKind::Gauge},
    {"node_filesystem_avail_bytes", MetricKind::Gauge},
    {"node_filesystem_files", MetricKind::Gauge},
    {"node_filesystem_files_free", MetricKind::Gauge},
    {"node_filesystem_readonly", MetricKind::Gauge},
}};

std::string FilesystemLabels(const Mount& mount, const std::string& point) {
  return MetricLabel("device", DecodeMountField(mount.source)) + "," + MetricLabel("fstype", mount.type) +
         "," + MetricLabel("mountpoint", point);
}

std::vector<std::string> FilesystemNumbers(const struct statfs& figures, bool isReadOnly) {
  const auto bytes = [&](std::uint64_t blocks) {
    return WholeNumber(blocks * static_cast<std::uint64_t>(figures.f_frsize));
  };
  return {bytes(figures.f_blocks), bytes(figures.f_bavail), WholeNumber(figures.f_files),
          WholeNumber(figures.f_ffree), isReadOnly ? "1" : "0"};
}

}  // namespace

void AddFilesystems(const std::string& proc, MetricText& text) {
  const std::string file = ReadKernelFile(proc + "/self/mountinfo");
  std::vector<MetricRow> rows;
  for (const auto& mount : ChooseDiskMounts(ReadMounts(file))) {
    const std::string point = DecodeMountField(mount.point);
    struct statfs figures;
    if (statfs(point.c_str(), &figures) != 0) continue;
    rows.push_back({FilesystemLabels(mount, point), FilesystemNumbers(figures, IsReadOnly(mount))});
  }
  text.Add(kFilesystemFamilies, rows);
}

}  // namespace GuestAgent
