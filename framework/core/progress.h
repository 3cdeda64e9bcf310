#pragma once

#include <cstdint>

namespace Mirel {

// How far a call has come. Every result of this system carries (0, 1, 1): there is one step, and it is done.
struct Progress {
  std::int64_t min = 0;
  std::int64_t max = 1;
  std::int64_t current = 1;
};

}  // namespace Mirel
