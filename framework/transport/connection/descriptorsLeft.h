#pragma once

#include <cstddef>

namespace Mirel::Asio {

// How many descriptors this process can still open. Costs one system call, and some 20 us with a limit of
// 1024; counts no higher than 65536.
std::size_t DescriptorsLeft();
// How many it has open, counted in the same way and at the same cost.
std::size_t DescriptorsInUse();

}  // namespace Mirel::Asio
