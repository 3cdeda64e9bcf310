#include "tests/guest/allocations.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> newCalls{0};
std::atomic<std::size_t> newBytes{0};

}  // namespace

void* operator new(std::size_t size) {
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  ++newCalls;
  newBytes += malloc_usable_size(memory);
  return memory;
}

void operator delete(void* memory) noexcept {
  newBytes -= malloc_usable_size(memory);
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

namespace Testing {

Allocations CountAllocations() {
  return {newCalls, newBytes};
}

}  // namespace Testing
