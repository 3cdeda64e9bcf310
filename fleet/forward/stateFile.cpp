#include "fleet/forward/stateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/corvane/dateTime.h"
#include "platform/corvane/fileDescriptor.h"

namespace Fleet {
namespace {

using std::chrono::microseconds;

constexpr std::string_view kBegin = "stored until ";
constexpr std::size_t kLongest = 128;

[[noreturn]] void FailState(const std::string& action) {
  throw std::system_error(errno, std::generic_category(), action);
}

std::string StateText(WallTime storedUntil) {
  const auto since1970 = std::chrono::duration_cast<microseconds>(storedUntil.time_since_epoch());
  return std::string(kBegin) + Corvane::System::DateTime(since1970.count()).ToShortStringBias() + "\n";
}

std::optional<WallTime> ReadStateText(std::string_view text) {
  if (!text.starts_with(kBegin) || !text.ends_with('\n')) return std::nullopt;
  text.remove_prefix(kBegin.size());
  text.remove_suffix(1);
  try {
    return WallTime(microseconds(Corvane::System::DateTime::Parse(text).GetUtcTime()));
  } catch (const Corvane::DateTimeFormatException&) {
    return std::nullopt;
  }
}

}  // namespace

StateFile::Content StateFile::Read() const {
  const Corvane::FileDescriptor file(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (!file.IsOpen()) {
    if (errno == ENOENT) return {};
    FailState("cannot read " + path_);
  }
  char text[kLongest];
  const auto size = read(file.Get(), text, sizeof text);
  if (size < 0) FailState("cannot read " + path_);
  const auto time = ReadStateText({text, static_cast<std::size_t>(size)});
  if (!time) return {.found = Found::Garbage};
  return {.found = Found::Time, .storedUntil = *time};
}

void StateFile::Write(WallTime storedUntil) {
  const auto text = StateText(storedUntil);
  if (text == last_) return;
  const auto next = path_ + ".next";
  unlink(next.c_str());
  {
    const Corvane::FileDescriptor file(
        open(next.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file.IsOpen() || write(file.Get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
      FailState("cannot write " + next);
    }
  }
  if (rename(next.c_str(), path_.c_str()) != 0) FailState("cannot write " + path_);
  last_ = text;
}

}  // namespace Fleet
