// Buffers for the units of a stream, used again when downstream is done with them: to make
// and free a buffer with its memory costs more than to take a small unit apart.
//
// A buffer that comes back as it went out waits for the next unit of about its size. One
// that was changed (other memory, metadata) or whose memory somebody still holds is freed,
// and so is what comes back when enough are waiting. Memory: the units in flight, each in
// less than twice what it needs or in 256 bytes, and at most half a MiB that waits.
#ifndef QO_GST_UNITBUFFERS_H
#define QO_GST_UNITBUFFERS_H

#include <gst/gst.h>

#include <cstddef>

struct UnitAllocator;

class UnitBuffers {
 public:
  UnitBuffers();
  // Buffers may still be out: they are freed as they come back.
  ~UnitBuffers();
  UnitBuffers(const UnitBuffers&) = delete;
  UnitBuffers& operator=(const UnitBuffers&) = delete;

  // A buffer of the caller's with a copy of `size` bytes at `data`, and nothing set.
  GstBuffer* Make(const void* data, std::size_t size);

 private:
  UnitAllocator* const allocator_;
};

#endif  // QO_GST_UNITBUFFERS_H
