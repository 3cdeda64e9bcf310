#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace GuestAgent {

// A line of /proc/PID/mountinfo (proc(5)). The views are into its text, where blanks and the like are
// escaped.
struct Mount {
  std::string_view device;  // MAJOR:MINOR
  std::string_view root;    // what of the filesystem is seen there
  std::string_view point;
  std::string_view type;
  std::string_view source;
  std::string_view options;  // the filesystem's own, not those of this mount of it
};

// In the order of the text, which is that of mounting. Faulty lines are left out.
std::vector<Mount> ReadMounts(std::string_view mountInfo);

// One mount of each filesystem that a disk of this VM keeps and whose figures can be had without waiting: the
// one that shows the whole of it, if there is such a mount, at the shortest path.
std::vector<Mount> ChooseDiskMounts(const std::vector<Mount>& mounts);

bool IsReadOnly(const Mount& mount);

// A field of the text with its escapes (\040) undone.
std::string DecodeMountField(std::string_view field);

}  // namespace GuestAgent
