#include "guest/agent/metrics/kernelText.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>

#include "platform/corvane/fileDescriptor.h"

namespace GuestAgent {
namespace {

// A VM with hundreds of processors or mounts has some ten thousand bytes.
constexpr std::size_t kMaxKernelFile = 256 << 10;

}  // namespace

// A file is opened each time: descriptors that stay open would save five microseconds a file, every 15
// seconds.
std::string ReadKernelFile(const std::string& path) {
  std::string text;
  const Corvane::FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!file.IsOpen()) return text;
  std::array<char, 8192> piece;
  ssize_t size = 0;
  while (text.size() < kMaxKernelFile && (size = read(file.Get(), piece.data(), piece.size())) > 0) {
    text.append(piece.data(), static_cast<std::size_t>(size));
  }
  return text.erase(text.rfind('\n') + 1);
}

std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const auto line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

std::vector<std::string_view> Words(std::string_view line) {
  std::vector<std::string_view> words;
  std::size_t begin = 0;
  while ((begin = line.find_first_not_of(' ', begin)) != std::string_view::npos) {
    const std::size_t end = std::min(line.find(' ', begin), line.size());
    words.push_back(line.substr(begin, end - begin));
    begin = end;
  }
  return words;
}

std::string_view AfterKey(std::string_view text, std::string_view key) {
  while (!text.empty()) {
    const auto line = TakeLine(text);
    if (line.starts_with(key)) return line.substr(key.size());
  }
  return {};
}

std::optional<std::uint64_t> ToNumber(std::string_view text) {
  std::uint64_t number = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (text.empty() || result.ec != std::errc{} || result.ptr != end) return std::nullopt;
  return number;
}

std::optional<std::uint64_t> FirstNumber(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return ToNumber(text.substr(0, text.find(' ')));
}

}  // namespace GuestAgent
