// See HeapMeter.h.
#include "testing/HeapMeter.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "asf/AsfRecords.h"
#include "testing/Check.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QO_CLANG_ADDRESS_SANITIZER 1
#endif
#endif
#if (defined(__SANITIZE_ADDRESS__) || defined(QO_CLANG_ADDRESS_SANITIZER)) && \
    !defined(QO_METER_REPLACES_NEW)
#define QO_METER_LISTENS 1
#endif

namespace {

std::atomic<std::size_t> heapBytes{0};
std::atomic<std::size_t> heapPeak{0};
std::atomic<std::size_t> heapTotal{0};
std::atomic<unsigned long long> allocations{0};
long untilFailure = 0;
std::size_t keptBytes = 0;            // that the parser left on purpose
unsigned char* keptBlocks = nullptr;  // those of them that are freed; each begins with the next

void CountNew(std::size_t bytes) {
  ++allocations;
  heapTotal += bytes;
  heapBytes += bytes;
  if (heapBytes > heapPeak) heapPeak = heapBytes.load();
}

}  // namespace

#ifdef QO_METER_LISTENS

// As <sanitizer/allocator_interface.h> declares them, which g++ comes without.
extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void* block);
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onNew)(const volatile void*,
                                                                       std::size_t),
                                                         void (*onFree)(const volatile void*));

namespace {

constexpr bool kKnowsWhatIsKept = true;

const int hooked = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, std::size_t size) { CountNew(size); },
    [](const volatile void* block) { heapBytes -= __sanitizer_get_allocated_size(block); });

}  // namespace

// The link options put this in the place of what the parser calls. Arrays are
// chained, to be freed at the session's end: left alone they would fill the
// memory of a long run.
extern "C" void __real___lsan_ignore_object(const void* block);
extern "C" void __wrap___lsan_ignore_object(const void* block) {
  const std::size_t size = __sanitizer_get_allocated_size(block);
  keptBytes += size;
  // Too small for the chain, or the one record that is not an array.
  if (size < sizeof(keptBlocks) || size == sizeof(asf_content_description_object)) {
    __real___lsan_ignore_object(block);
    return;
  }
  auto* kept = static_cast<unsigned char*>(const_cast<void*>(block));
  std::memcpy(kept, &keptBlocks, sizeof(keptBlocks));
  keptBlocks = kept;
}

#else

namespace {

constexpr bool kKnowsWhatIsKept = false;

void* Allocate(std::size_t size) {
  if (untilFailure > 0 && --untilFailure == 0) return nullptr;
  void* block = std::malloc(size != 0 ? size : 1);
  if (block != nullptr) CountNew(malloc_usable_size(block));
  return block;
}

}  // namespace

void* operator new(std::size_t size) {
  if (void* block = Allocate(size)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* block) noexcept {
  if (block != nullptr) heapBytes -= malloc_usable_size(block);
  std::free(block);
}
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { operator delete(block); }

#endif

std::size_t HeapBytes() { return heapBytes; }
std::size_t HeapPeak() { return heapPeak; }
std::size_t HeapTotal() { return heapTotal; }
void ResetHeapPeak() { heapPeak = heapBytes.load(); }
unsigned long long HeapAllocations() { return allocations; }
void FailAllocation(long count) { untilFailure = count; }
long AllocationsUntilFailure() { return untilFailure; }

LeakCheck::LeakCheck() : before_(heapBytes - keptBytes) {}

LeakCheck::~LeakCheck() {
  CHECK(!kKnowsWhatIsKept || heapBytes - keptBytes == before_);
  while (keptBlocks != nullptr) {
    unsigned char* const block = keptBlocks;
    std::memcpy(&keptBlocks, block, sizeof(keptBlocks));
    const std::size_t with = heapBytes;
    delete[] block;
    keptBytes -= with - heapBytes;
  }
}
