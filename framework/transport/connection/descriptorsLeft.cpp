#include "framework/transport/connection/descriptorsLeft.h"

#include <poll.h>
#include <sys/resource.h>

#include <algorithm>
#include <vector>

namespace Mirel::Asio {
namespace {

std::size_t CountDescriptors(bool open) {
  constexpr rlim_t kMost = 65536;
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
  // Asked about all at once, poll marks those that are not open; reading /proc would need a descriptor.
  std::vector<pollfd> descriptors(std::min(limit.rlim_cur, kMost));
  for (std::size_t i = 0; i < descriptors.size(); ++i) descriptors[i].fd = static_cast<int>(i);
  if (::poll(descriptors.data(), descriptors.size(), 0) < 0) return 0;
  return static_cast<std::size_t>(
      std::count_if(descriptors.begin(), descriptors.end(),
                    [open](const pollfd& one) { return ((one.revents & POLLNVAL) == 0) == open; }));
}

}  // namespace

std::size_t DescriptorsLeft() {
  return CountDescriptors(false);
}

std::size_t DescriptorsInUse() {
  return CountDescriptors(true);
}

}  // namespace Mirel::Asio
