// QueueSource: owns the buffers that upstream pushed, the oldest first.
#include "gst/QueueSource.h"

#include <algorithm>
#include <cerrno>

namespace {

// How far pushes may be ahead of reads, and how much stays behind them.
constexpr unsigned long long kAhead = 1ull << 20;
constexpr unsigned long long kBehind = 16ull << 20;

}  // namespace

QueueSource::QueueSource(std::atomic<GstFlowReturn>* flow) : flow_(flow) {}

QueueSource::~QueueSource() {
  for (GstBuffer* const buffer : buffers_) gst_buffer_unref(buffer);
}

GstFlowReturn QueueSource::Push(GstBuffer* buffer) {
  std::unique_lock<std::mutex> lock(lock_);
  changed_.wait(
      lock, [this] { return isFlushing_ || closed_ != GST_FLOW_OK || end_ < furthest_ + kAhead; });
  if (isFlushing_ || closed_ != GST_FLOW_OK) {
    gst_buffer_unref(buffer);
    return isFlushing_ ? GST_FLOW_FLUSHING : closed_;
  }
  buffers_.push_back(buffer);
  end_ += gst_buffer_get_size(buffer);
  DropOld();
  changed_.notify_all();
  return GST_FLOW_OK;
}

void QueueSource::DropOld() {
  while (!buffers_.empty()) {
    const gsize size = gst_buffer_get_size(buffers_.front());
    if (start_ + size + kBehind > furthest_) return;
    start_ += size;
    gst_buffer_unref(buffers_.front());
    buffers_.pop_front();
  }
}

void QueueSource::End() {
  const std::lock_guard<std::mutex> lock(lock_);
  isEnded_ = true;
  changed_.notify_all();
}

void QueueSource::Flush() {
  const std::lock_guard<std::mutex> lock(lock_);
  isFlushing_ = true;
  changed_.notify_all();
}

void QueueSource::Close(GstFlowReturn flow) {
  const std::lock_guard<std::mutex> lock(lock_);
  closed_ = flow;
  changed_.notify_all();
}

int QueueSource::Open() { return 0; }

int QueueSource::Close() { return 0; }

int QueueSource::GetSize(unsigned long long*) { return -ESPIPE; }

int QueueSource::ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) {
  const unsigned long long wanted = *size;
  *size = 0;
  std::unique_lock<std::mutex> lock(lock_);
  const unsigned long long last = wanted > ~offset ? ~0ull : offset + wanted;
  // A reader that looks far ahead, for something behind the data, doesn't get it: all in
  // between would have to stay.
  if (offset > furthest_ + kBehind) return 0;
  furthest_ = std::max(furthest_, last);
  changed_.notify_all();
  changed_.wait(lock, [&] { return isFlushing_ || isEnded_ || end_ >= last; });
  if (isFlushing_) {
    *flow_ = GST_FLOW_FLUSHING;
    return -ECANCELED;
  }
  *size = Copy(offset, static_cast<unsigned char*>(buffer), wanted);
  position_ = offset + *size;
  return 0;
}

// Returns how many bytes there are.
unsigned long long QueueSource::Copy(unsigned long long offset, unsigned char* out,
                                     unsigned long long size) {
  unsigned long long at = start_, done = 0;
  if (offset < start_) return 0;
  for (GstBuffer* const buffer : buffers_) {
    const gsize length = gst_buffer_get_size(buffer);
    const unsigned long long from = offset + done;
    if (done == size) break;
    if (from < at + length) {
      const gsize part = static_cast<gsize>(std::min(size - done, at + length - from));
      done += gst_buffer_extract(buffer, static_cast<gsize>(from - at), out + done, part);
    }
    at += length;
  }
  return done;
}

int QueueSource::Read(void* buffer, unsigned long long* size) {
  return ReadAt(position_, buffer, size);
}

int QueueSource::SeekTo(unsigned long long offset, int whence) {
  if (whence != 0 && whence != 1) return -EINVAL;
  position_ = whence == 1 ? position_ + offset : offset;
  return 0;
}

int QueueSource::GetPosition(unsigned long long* position) {
  *position = position_;
  return 0;
}
