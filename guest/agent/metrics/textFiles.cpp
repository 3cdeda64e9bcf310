#include "guest/agent/metrics/textFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "guest/agent/metrics/metricLines.h"
#include "platform/corvane/fileDescriptor.h"
#include "platform/corvane/textEscape.h"

namespace GuestAgent {
namespace {

constexpr std::size_t kMaxFiles = 16;
constexpr std::size_t kMaxFileBytes = 32 << 10;
constexpr std::size_t kMaxNameBytes = 64;
constexpr int kMaxEntries = 1000;
constexpr std::size_t kMaxTold = 16;
constexpr std::chrono::minutes kTellingTime{5};
constexpr std::chrono::minutes kRepetition{5};
constexpr std::string_view kSuffix = ".prom";

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

struct FolderNames {
  std::set<std::string> chosen;
  std::set<std::string> faults;
  std::string strangest;  // the first entry, by name, that has the suffix and can't be chosen
};

struct FileContent {
  std::string text;
  std::string fault;  // what there is instead of a text
};

std::chrono::nanoseconds Nanoseconds(const timespec& time) {
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

bool IsChoosable(std::string_view name) {
  constexpr std::string_view kCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
  return !name.empty() && name.size() <= kMaxNameBytes &&
         name.find_first_not_of(kCharacters) == std::string_view::npos;
}

// What begins with a dot is hidden: a file that will get its name when it is whole.
void JudgeEntry(std::string_view entry, FolderNames& names) {
  if (!entry.ends_with(kSuffix) || entry.starts_with('.')) return;
  const auto name = entry.substr(0, entry.size() - kSuffix.size());
  if (!IsChoosable(name)) {
    if (names.strangest.empty() || entry < names.strangest) names.strangest = entry;
    return;
  }
  names.chosen.emplace(name);
  if (names.chosen.size() <= kMaxFiles) return;
  names.chosen.erase(std::prev(names.chosen.end()));
  names.faults.insert("it has more than 16 files, of which the first ones by name are taken");
}

FolderNames ReadNames(DIR* folder) {
  FolderNames names;
  int entries = 0;
  while (const dirent* entry = readdir(folder)) {
    if (++entries > kMaxEntries) {
      names.faults.insert("it has more than 1000 entries, and the rest isn't looked at");
      break;
    }
    JudgeEntry(entry->d_name, names);
  }
  if (!names.strangest.empty()) {
    names.faults.insert(
        "\"" + Corvane::Detail::EscapeName(names.strangest) +
        "\" is left out: a name has 1 to 64 letters, digits, '_' and '-' in front of \".prom\"");
  }
  return names;
}

std::string ReadAll(int file) {
  std::string text(kMaxFileBytes + 1, '\0');
  std::size_t size = 0;
  ssize_t more = 0;
  while (size < text.size() && (more = read(file, text.data() + size, text.size() - size)) > 0) {
    size += static_cast<std::size_t>(more);
  }
  text.resize(size);
  return text;
}

bool IsUnchanged(int file, const FileVersion& version) {
  struct stat status;
  return fstat(file, &status) == 0 && FileVersion(status) == version;
}

// Nothing when the file is changed or replaced meanwhile. Requires: it was a regular one.
std::optional<FileContent> ReadRegular(int folder, const std::string& file, const FileVersion& version) {
  const Corvane::FileDescriptor opened(
      openat(folder, file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  if (!opened.IsOpen()) {
    if (errno == ENOENT || errno == ELOOP || Corvane::IsShortage(errno)) return std::nullopt;
    return FileContent{"", std::strerror(errno)};
  }
  if (!IsUnchanged(opened.Get(), version)) return std::nullopt;
  FileContent content{ReadAll(opened.Get()), ""};
  const bool isWhole = content.text.size() == static_cast<std::size_t>(version.size);
  if (!isWhole || !IsUnchanged(opened.Get(), version)) return std::nullopt;
  content.fault = FaultOfMetrics(content.text);
  return content;
}

// Opening another kind of file can wait, or do something.
std::optional<FileContent> ReadFile(int folder, const std::string& file, const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return FileContent{"", "it is no regular file"};
  if (status.st_size > static_cast<off_t>(kMaxFileBytes)) return FileContent{"", "it has more than 32 KiB"};
  return ReadRegular(folder, file, FileVersion(status));
}

}  // namespace

FileVersion::FileVersion(const struct stat& status)
    : inode(status.st_ino),
      size(status.st_size),
      modified(Nanoseconds(status.st_mtim)),
      stateChanged(Nanoseconds(status.st_ctim)) {}

TextFiles::TextFiles(std::string folder, Tell tell) : folder_(std::move(folder)), tell_(std::move(tell)) {}

std::vector<TextFiles::File> TextFiles::Due(std::chrono::milliseconds bootTime) {
  now_ = bootTime;
  std::vector<File> due;
  const Folder folder(opendir(folder_.c_str()));
  if (!folder && Corvane::IsShortage(errno)) return due;
  auto names = folder || errno == ENOENT ? FolderNames{} : FolderNames{{}, {std::strerror(errno)}, ""};
  if (folder) names = ReadNames(folder.get());
  std::erase_if(known_, [&](const auto& known) { return !names.chosen.contains(known.first); });
  TellFaultsOfFolder(std::move(names.faults));
  for (const auto& name : names.chosen) Look(dirfd(folder.get()), name, due);
  return due;
}

void TextFiles::TellFaultsOfFolder(std::set<std::string> faults) {
  for (const auto& fault : faults) {
    if (!faultsOfFolder_.contains(fault)) TellFault(folder_, fault);
  }
  faultsOfFolder_ = std::move(faults);
}

void TextFiles::Look(int folder, const std::string& name, std::vector<File>& due) {
  const std::string file = name + std::string(kSuffix);
  struct stat status;
  if (fstatat(folder, file.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  const FileVersion version(status);
  if (!IsDue(name, version)) return;
  auto content = ReadFile(folder, file, status);
  if (!content) return;
  const bool isGood = content->fault.empty();
  known_.insert_or_assign(name, Known{version, isGood ? std::optional(now_) : std::nullopt});
  if (isGood) {
    due.push_back({name, std::move(content->text)});
  } else {
    TellFault(file + " is left out", content->fault);
  }
}

bool TextFiles::IsDue(const std::string& name, const FileVersion& version) const {
  const auto known = known_.find(name);
  if (known == known_.end() || known->second.version != version) return true;
  const auto& given = known->second.given;
  return given && now_ - *given >= kRepetition;
}

void TextFiles::TellFault(const std::string& what, const std::string& fault) {
  if (now_ - tellingSince_ >= kTellingTime) {
    tellingSince_ = now_;
    told_ = 0;
  }
  if (told_ == kMaxTold) return;
  const bool isLast = ++told_ == kMaxTold;
  tell_(isLast ? "textfile: there are many faults; the next ones aren't told for some minutes"
               : "textfile: " + what + ": " + fault);
}

}  // namespace GuestAgent
