#pragma once

#include <cstddef>

namespace Testing {

// What this program has asked the operator new for.
struct Allocations {
  std::size_t calls = 0;
  // Not given back so far.
  std::size_t bytes = 0;
};
Allocations CountAllocations();

}  // namespace Testing
