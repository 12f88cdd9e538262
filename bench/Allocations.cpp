// Replaces operator new and its counterpart; the array and non-throwing forms of
// the standard library end in these.
#include "bench/Allocations.h"

#include <cstdlib>
#include <new>

namespace {
unsigned long long allocations = 0;
}  // namespace

unsigned long long bench::Allocations() { return allocations; }

void* operator new(std::size_t size) {
  ++allocations;
  if (void* block = std::malloc(size != 0 ? size : 1)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
