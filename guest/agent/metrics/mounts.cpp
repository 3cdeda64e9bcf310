#include "guest/agent/metrics/mounts.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <tuple>

#include "guest/agent/metrics/kernelText.h"

namespace GuestAgent {
namespace {

// Those whose figures the kernel has at hand. One that another machine or a program answers for (NFS, CIFS,
// 9p, virtiofs, FUSE) could make the agent wait for ever, so what isn't known here is left out.
constexpr std::array<std::string_view, 14> kDiskTypes{"ext2",     "ext3",   "ext4",     "xfs", "btrfs",
                                                      "f2fs",     "vfat",   "exfat",    "jfs", "ntfs3",
                                                      "reiserfs", "nilfs2", "bcachefs", "zfs"};

// On the way to what is mounted below one of these, the kernel may ask and wait. One that is mounted on
// demand would stay mounted for ever if it were looked at every 15 seconds.
constexpr std::array<std::string_view, 14> kWaitingTypes{"nfs",  "nfs4",  "cifs",      "smb3",  "9p",
                                                         "ceph", "afs",   "virtiofs",  "fuse",  "fuseblk",
                                                         "gfs2", "ocfs2", "glusterfs", "autofs"};
constexpr std::string_view kLoopMajor = "7:";

// Each filesystem that is looked at is compared with all mounts, of which there can be thousands.
constexpr std::size_t kMaxTries = 64;

template <std::size_t kSize>
bool Has(const std::array<std::string_view, kSize>& list, std::string_view item) {
  return std::find(list.begin(), list.end(), item) != list.end();
}

bool MayWait(const Mount& mount) {
  return Has(kWaitingTypes, mount.type) || mount.type.starts_with("fuse.");
}

bool IsOnDisk(const Mount& mount) {
  return Has(kDiskTypes, mount.type) && !mount.device.starts_with(kLoopMajor) &&
         (mount.source.starts_with("/dev/") || mount.type == "zfs");
}

// Whether the path is that of the mount or below it. All is below "/", which can't hide what is seen.
bool IsWithin(std::string_view path, std::string_view point) {
  return point != "/" && path.starts_with(point) &&
         (path.size() == point.size() || path[point.size()] == '/');
}

// The figures at its path would be those of another mount, or would have to be waited for.
bool IsBehindAnother(const Mount& mount, const std::vector<Mount>& mounts) {
  return std::any_of(mounts.begin(), mounts.end(), [&](const Mount& other) {
    const bool isLater = other.point.data() > mount.point.data();
    return (isLater || MayWait(other)) && IsWithin(mount.point, other.point);
  });
}

}  // namespace

std::vector<Mount> ReadMounts(std::string_view mountInfo) {
  std::vector<Mount> mounts;
  while (!mountInfo.empty()) {
    const auto words = Words(TakeLine(mountInfo));
    // Behind the first six there are any number of optional fields, and then a dash.
    if (words.size() < 10) continue;
    const auto dash = std::find(words.begin() + 6, words.end(), "-");
    if (words.end() - dash < 4) continue;
    mounts.push_back({words[2], words[3], words[4], dash[1], dash[2], dash[3]});
  }
  return mounts;
}

std::vector<Mount> ChooseDiskMounts(const std::vector<Mount>& mounts) {
  std::vector<Mount> candidates;
  std::copy_if(mounts.begin(), mounts.end(), std::back_inserter(candidates), IsOnDisk);
  const auto rank = [](const Mount& mount) { return std::tuple(mount.root != "/", mount.point.size()); };
  std::stable_sort(candidates.begin(), candidates.end(),
                   [&](const Mount& left, const Mount& right) { return rank(left) < rank(right); });
  std::vector<Mount> chosen;
  std::size_t tries = 0;
  for (const auto& mount : candidates) {
    const auto isSame = [&](const Mount& other) { return other.device == mount.device; };
    if (std::any_of(chosen.begin(), chosen.end(), isSame)) continue;
    if (++tries > kMaxTries) break;
    if (!IsBehindAnother(mount, mounts)) chosen.push_back(mount);
  }
  return chosen;
}

// The options of a mount say "ro" too, of a filesystem that others write to; a sandbox does so for nearly
// all.
bool IsReadOnly(const Mount& mount) {
  std::string_view rest = mount.options;
  while (!rest.empty()) {
    const auto option = rest.substr(0, rest.find(','));
    if (option == "ro" || option == "emergency_ro") return true;
    rest.remove_prefix(std::min(option.size() + 1, rest.size()));
  }
  return false;
}

std::string DecodeMountField(std::string_view field) {
  const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
  std::string text;
  for (std::size_t at = 0; at < field.size(); ++at) {
    const auto code = field.substr(at, 4);
    if (code.size() < 4 || code[0] != '\\' || !std::all_of(code.begin() + 1, code.end(), isOctal)) {
      text.push_back(field[at]);
      continue;
    }
    text.push_back(static_cast<char>((code[1] - '0') * 64 + (code[2] - '0') * 8 + (code[3] - '0')));
    at += 3;
  }
  return text;
}

}  // namespace GuestAgent
