#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace GuestAgent {

// What changes with a file. The change of its state is there for one that we may read only now.
struct FileVersion {
  explicit FileVersion(const struct stat& status);
  bool operator==(const FileVersion&) const = default;

  ino_t inode;
  off_t size;
  std::chrono::nanoseconds modified;
  std::chrono::nanoseconds stateChanged;
};

// Metrics that other programs drop into a folder, a file NAME.prom each, in the text form of Prometheus or
// OpenMetrics. Hostile files are the normal case: links, pipes, long, half or faulty ones are left out, and
// each fault is told once. There are sixteen files at most, of 32 KiB each, the first ones by name; a
// folder's entries beyond the thousandth aren't looked at. One thread.
class TextFiles final {
 public:
  using Tell = std::function<void(const std::string&)>;
  struct File {
    std::string name;  // NAME: 1 to 64 letters, digits, '_' and '-'
    std::string text;
  };

  // The folder needn't be there. `tell` gets sixteen lines in five minutes at most.
  TextFiles(std::string folder, Tell tell);

  // The files that have changed since they were given last, or were given five minutes ago.
  std::vector<File> Due(std::chrono::milliseconds bootTime);

 private:
  struct Known {
    FileVersion version;
    std::optional<std::chrono::milliseconds> given;  // nothing for a faulty one
  };

  void TellFaultsOfFolder(std::set<std::string> faults);
  void Look(int folder, const std::string& name, std::vector<File>& due);
  bool IsDue(const std::string& name, const FileVersion& version) const;
  void TellFault(const std::string& what, const std::string& fault);

  std::string folder_;
  Tell tell_;
  std::chrono::milliseconds now_{};
  std::map<std::string, Known> known_;
  std::set<std::string> faultsOfFolder_;
  std::chrono::milliseconds tellingSince_{};
  std::size_t told_ = 0;
};

}  // namespace GuestAgent
