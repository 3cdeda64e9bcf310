#include "testing/memoryScan.h"

#include <sys/uio.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>

namespace Testing {
namespace {

// Above the text's last place, so that a text that spans two pieces is seen.
constexpr std::size_t kPiece = 1 << 20;
// A sanitizer's shadow.
constexpr std::size_t kLargestRegion = std::size_t{1} << 32;

// Static, so that the scan leaves no copies on the heap that it scans.
char piece[kPiece];

int CountInRegion(pid_t process, std::size_t begin, std::size_t end, std::string_view text) {
  int count = 0;
  const auto own = reinterpret_cast<std::size_t>(piece);
  for (auto at = begin; at < end; at += kPiece - text.size()) {
    const iovec local{piece, std::min(kPiece, end - at)};
    const iovec remote{reinterpret_cast<void*>(at), local.iov_len};
    const auto read = process_vm_readv(process, &local, 1, &remote, 1, 0);
    if (read <= 0) continue;
    const std::string_view bytes(piece, static_cast<std::size_t>(read));
    for (auto found = bytes.find(text); found != std::string_view::npos;
         found = bytes.find(text, found + 1)) {
      const auto place = at + found;
      if (place < own || place >= own + kPiece) ++count;
    }
  }
  std::fill(std::begin(piece), std::end(piece), '\0');
  return count;
}

}  // namespace

int CountInMemory(pid_t process, std::string_view text) {
  std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
  int count = 0;
  for (std::string line; std::getline(maps, line);) {
    std::istringstream fields(line);
    std::size_t begin = 0;
    std::size_t end = 0;
    char dash = 0;
    std::string rights;
    fields >> std::hex >> begin >> dash >> end >> rights;
    if (rights.starts_with("rw") && end - begin < kLargestRegion) {
      count += CountInRegion(process, begin, end, text);
    }
  }
  return count;
}

}  // namespace Testing
