#pragma once

#include <cstddef>

namespace Routing {

// The setting that all tests run with; not the built-in one.
inline constexpr std::size_t kQueueLimit = 4;

}  // namespace Routing
