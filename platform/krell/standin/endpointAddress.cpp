#include "platform/krell/standin/endpointAddress.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Krell {
namespace {

constexpr std::size_t kLongestPath = sizeof sockaddr_un::sun_path;

// The folder's path as it is now, or nothing if it is not to be told or too long.
std::string PathOfFolder(int folder, const std::string& link) {
  char target[kLongestPath];
  const ssize_t length = readlink(link.c_str(), target, sizeof target);
  if (length <= 0 || static_cast<std::size_t>(length) == sizeof target) return {};
  const std::string path(target, static_cast<std::size_t>(length));
  struct stat named {};
  struct stat meant {};
  const bool leadsThere = stat(path.c_str(), &named) == 0 && fstat(folder, &meant) == 0 &&
                          named.st_dev == meant.st_dev && named.st_ino == meant.st_ino;
  return leadsThere ? path : std::string();
}

// The path itself is a shorter walk than the link of the descriptor, and as safe: a host directory can't be
// replaced by others. But it can be longer than a socket address holds.
std::string PathInFolder(int folder, const std::string& name) {
  const std::string link = "/proc/self/fd/" + std::to_string(folder);
  const std::string path = PathOfFolder(folder, link);
  const bool fits = !path.empty() && path.size() + 1 + name.size() < kLongestPath;
  return (fits ? path : link) + "/" + name;
}

}  // namespace

EndpointAddress::EndpointAddress(int folder, const std::string& name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = PathInFolder(folder, name);
  std::memcpy(address.sun_path, path.data(), std::min(path.size(), kLongestPath - 1));
  static_assert(sizeof address == sizeof bytes);
  std::memcpy(bytes, &address, sizeof bytes);
  length = static_cast<unsigned int>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
}

}  // namespace Krell
