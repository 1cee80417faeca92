#include "bench/allocation_count.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t allocationCount = 0;

void* Allocate(std::size_t size) {
  ++allocationCount;
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

std::size_t bench::AllocationCount() noexcept {
  return allocationCount;
}

// Those of arrays as well: by default they call the others, but those of a sanitizer's runtime do not.

void* operator new(std::size_t size) {
  return Allocate(size);
}

void* operator new[](std::size_t size) {
  return Allocate(size);
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete[](void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
