// UnitBuffers: the allocator owns the buffers that wait. Each memory holds a reference to
// it, by which a buffer finds its way back.
#include "gst/UnitBuffers.h"

#include <array>
#include <cstring>
#include <mutex>
#include <vector>

namespace {

// Sizes from 256 bytes to 16 KiB, each twice the one before. Of larger units the bytes
// cost more than the buffer.
constexpr std::size_t kSmallest = 256;
constexpr std::size_t kSizes = 7;
constexpr std::size_t kWaiting = 16;  // of each size, at most

struct Idle {
  std::mutex lock;
  bool isOver = false;  // nothing waits any more
  std::array<std::vector<GstBuffer*>, kSizes> buffers;
};

struct alignas(16) UnitMemory {
  GstMemory memory;
  unsigned char* bytes;  // behind this; of a part of another memory, in that
};

std::size_t SizeIndex(std::size_t size) {
  std::size_t index = 0;
  while (index < kSizes && size > kSmallest << index) ++index;
  return index;
}

}  // namespace

struct UnitAllocator {
  GstAllocator parent;
  Idle* idle;
};

namespace {

struct UnitAllocatorClass {
  GstAllocatorClass parent;
};

UnitAllocator* AllocatorOf(GstMemory* memory) {
  return reinterpret_cast<UnitAllocator*>(memory->allocator);
}

gpointer Map(GstMemory* memory, gsize, GstMapFlags) {
  return reinterpret_cast<UnitMemory*>(memory)->bytes;
}

void Unmap(GstMemory*) {}

GstMemory* Share(GstMemory* memory, gssize offset, gssize size) {
  GstMemory* const parent = memory->parent != nullptr ? memory->parent : memory;
  if (size < 0) size = static_cast<gssize>(memory->size) - offset;
  auto* const part = g_new(UnitMemory, 1);
  part->bytes = reinterpret_cast<UnitMemory*>(memory)->bytes;
  gst_memory_init(&part->memory,
                  static_cast<GstMemoryFlags>(GST_MINI_OBJECT_FLAGS(parent) |
                                              GST_MINI_OBJECT_FLAG_LOCK_READONLY),
                  memory->allocator, parent, memory->maxsize, memory->align,
                  memory->offset + static_cast<gsize>(offset), static_cast<gsize>(size));
  return &part->memory;
}

void FreeMemory(GstAllocator*, GstMemory* memory) { g_free(memory); }

void FinalizeAllocator(GObject* object) {
  delete reinterpret_cast<UnitAllocator*>(object)->idle;
  G_OBJECT_CLASS(g_type_class_peek(GST_TYPE_ALLOCATOR))->finalize(object);
}

void InitClass(void* type, void*) {
  static_cast<GObjectClass*>(type)->finalize = FinalizeAllocator;
  static_cast<GstAllocatorClass*>(type)->free = FreeMemory;
}

void InitInstance(GTypeInstance* instance, void*) {
  auto* const allocator = reinterpret_cast<GstAllocator*>(instance);
  allocator->mem_type = "QoUnitMemory";
  allocator->mem_map = Map;
  allocator->mem_unmap = Unmap;
  allocator->mem_share = Share;
  GST_OBJECT_FLAG_SET(allocator, GST_ALLOCATOR_FLAG_CUSTOM_ALLOC);
  reinterpret_cast<UnitAllocator*>(instance)->idle = new Idle;
}

GType AllocatorType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_ALLOCATOR, "QoUnitAllocator", sizeof(UnitAllocatorClass), InitClass,
      sizeof(UnitAllocator), InitInstance, static_cast<GTypeFlags>(0));
  return type;
}

// With memory of its own, in which nobody else has a part, and nothing else.
bool IsAsItWas(GstBuffer* buffer) {
  if (gst_buffer_n_memory(buffer) != 1) return false;
  GstMemory* const memory = gst_buffer_peek_memory(buffer, 0);
  gpointer meta = nullptr;
  return memory->allocator->mem_map == Map && memory->parent == nullptr &&
         GST_MINI_OBJECT_REFCOUNT_VALUE(memory) == 1 &&
         gst_buffer_iterate_meta(buffer, &meta) == nullptr;
}

// Called for a buffer that nobody refers to. False: it isn't to be freed.
gboolean TakeBack(GstMiniObject* object) {
  GstBuffer* const buffer = GST_BUFFER_CAST(object);
  if (!IsAsItWas(buffer)) return TRUE;
  GstMemory* const memory = gst_buffer_peek_memory(buffer, 0);
  Idle* const idle = AllocatorOf(memory)->idle;
  const std::lock_guard<std::mutex> lock(idle->lock);
  std::vector<GstBuffer*>& waiting = idle->buffers[SizeIndex(memory->maxsize)];
  if (idle->isOver || waiting.size() == kWaiting) return TRUE;
  waiting.push_back(gst_buffer_ref(buffer));
  return FALSE;
}

GstBuffer* MakeNew(UnitAllocator* allocator, std::size_t capacity) {
  auto* const unit = static_cast<UnitMemory*>(g_malloc(sizeof(UnitMemory) + capacity));
  unit->bytes = reinterpret_cast<unsigned char*>(unit + 1);
  gst_memory_init(&unit->memory, static_cast<GstMemoryFlags>(0), &allocator->parent, nullptr,
                  capacity, 0, 0, capacity);
  GstBuffer* const buffer = gst_buffer_new();
  gst_buffer_append_memory(buffer, &unit->memory);
  GST_MINI_OBJECT_CAST(buffer)->dispose = TakeBack;
  return buffer;
}

GstBuffer* TakeWaiting(Idle* idle, std::size_t index) {
  const std::lock_guard<std::mutex> lock(idle->lock);
  std::vector<GstBuffer*>& waiting = idle->buffers[index];
  if (waiting.empty()) return nullptr;
  GstBuffer* const buffer = waiting.back();
  waiting.pop_back();
  return buffer;
}

}  // namespace

UnitBuffers::UnitBuffers()
    : allocator_(static_cast<UnitAllocator*>(g_object_new(AllocatorType(), nullptr))) {
  gst_object_ref_sink(allocator_);
}

UnitBuffers::~UnitBuffers() {
  std::array<std::vector<GstBuffer*>, kSizes> waiting;
  {
    const std::lock_guard<std::mutex> lock(allocator_->idle->lock);
    allocator_->idle->isOver = true;
    waiting.swap(allocator_->idle->buffers);
  }
  for (const auto& buffers : waiting) {
    for (GstBuffer* const buffer : buffers) gst_buffer_unref(buffer);
  }
  gst_object_unref(allocator_);
}

GstBuffer* UnitBuffers::Make(const void* data, std::size_t size) {
  const std::size_t index = SizeIndex(size);
  if (index == kSizes) return gst_buffer_new_memdup(data, size);
  GstBuffer* buffer = TakeWaiting(allocator_->idle, index);
  if (buffer == nullptr) buffer = MakeNew(allocator_, kSmallest << index);
  GST_BUFFER_FLAGS(buffer) = 0;
  GST_BUFFER_PTS(buffer) = GST_BUFFER_DTS(buffer) = GST_CLOCK_TIME_NONE;
  GST_BUFFER_DURATION(buffer) = GST_CLOCK_TIME_NONE;
  GST_BUFFER_OFFSET(buffer) = GST_BUFFER_OFFSET_END(buffer) = GST_BUFFER_OFFSET_NONE;
  GstMemory* const memory = gst_buffer_peek_memory(buffer, 0);
  memory->offset = 0;
  memory->size = size;
  std::memcpy(reinterpret_cast<UnitMemory*>(memory)->bytes, data, size);
  return buffer;
}
