// QueueSource: owns the buffers that upstream pushed, the oldest first.
#include "gst/QueueSource.h"

#include <algorithm>
#include <cerrno>

#include "gst/PositionedSource.h"

namespace {

// How far pushes may be ahead of reads. Further ahead than that is nearer by a seek.
constexpr unsigned long long kAhead = 1ull << 20;
// The most that is kept, where upstream can be sought in and where not.
constexpr unsigned long long kKeptWithSeeks = 16ull << 20;
constexpr unsigned long long kKeptWithout = 128ull << 20;
// A reader that looks further ahead, for something behind the data, doesn't get it: all
// in between would have to come first. No further than pushes are, where a seek will do.
constexpr unsigned long long kLongestWait = 16ull << 20;
// A parser goes back a little.
constexpr unsigned long long kStepBack = 1ull << 20;

unsigned long long Add(unsigned long long a, unsigned long long b) {
  return b > ~a ? ~0ull : a + b;
}

}  // namespace

class QueueSource::Reader final : public PositionedSource {
 public:
  explicit Reader(QueueSource* queue) : queue_(queue) {
    const std::lock_guard<std::mutex> lock(queue_->lock_);
    queue_->readers_.push_back(this);
  }
  ~Reader() override {
    const std::lock_guard<std::mutex> lock(queue_->lock_);
    queue_->readers_.erase(std::find(queue_->readers_.begin(), queue_->readers_.end(), this));
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  int GetSize(unsigned long long* size) override {
    if (queue_->size_ < 0) return -ESPIPE;
    *size = static_cast<unsigned long long>(queue_->size_);
    return 0;
  }
  unsigned long long reached() const { return reached_; }

 private:
  int Fetch(unsigned long long offset, void* buffer, unsigned long long* size) override {
    {
      const std::lock_guard<std::mutex> lock(queue_->lock_);
      reached_ = offset;
    }
    return queue_->ReadAt(offset, buffer, size);
  }

  QueueSource* const queue_;
  unsigned long long reached_ = 0;  // by the last read; under the queue's lock
};

QueueSource::QueueSource(GstPad* sink, std::atomic<GstFlowReturn>* flow)
    : sink_(sink), flow_(flow) {}

QueueSource::~QueueSource() { DropAll(); }

std::unique_ptr<IDataSource> QueueSource::MakeReader() { return std::make_unique<Reader>(this); }

void QueueSource::LearnUpstream() {
  GstQuery* const query = gst_query_new_seeking(GST_FORMAT_BYTES);
  gboolean canSeek = FALSE;
  if (gst_pad_peer_query(sink_, query))
    gst_query_parse_seeking(query, nullptr, &canSeek, nullptr, nullptr);
  gst_query_unref(query);
  gint64 bytes = -1;
  const bool isKnown =
      canSeek && gst_pad_peer_query_duration(sink_, GST_FORMAT_BYTES, &bytes) && bytes >= 0;
  if (isKnown) size_ = bytes;
  canSeek_ = isKnown;
}

GstFlowReturn QueueSource::Push(GstBuffer* buffer) {
  Lock lock(lock_);
  changed_.wait(lock, [this] {
    return isShut_ || isFlushing_ || closed_ != GST_FLOW_OK || end_ < Add(furthest_, kAhead);
  });
  if (isShut_ || isFlushing_ || closed_ != GST_FLOW_OK) {
    gst_buffer_unref(buffer);
    hasRefused_ = true;
    return isShut_ || isFlushing_ ? GST_FLOW_FLUSHING : closed_;
  }
  // Without a segment behind a flush.
  if (isMoving_) BeginAt(GST_BUFFER_OFFSET_IS_VALID(buffer) ? GST_BUFFER_OFFSET(buffer) : end_);
  buffers_.push_back(buffer);
  end_ += gst_buffer_get_size(buffer);
  DropOld();
  changed_.notify_all();
  return GST_FLOW_OK;
}

void QueueSource::DropOld() {
  const unsigned long long kept = mayJump_ ? kKeptWithSeeks : kKeptWithout;
  const unsigned long long slowest = Slowest();
  const unsigned long long needed = std::max(slowest > kStepBack ? slowest - kStepBack : 0,
                                             furthest_ > kept ? furthest_ - kept : 0);
  while (!buffers_.empty()) {
    const gsize size = gst_buffer_get_size(buffers_.front());
    if (start_ + size > needed) return;
    start_ += size;
    gst_buffer_unref(buffers_.front());
    buffers_.pop_front();
  }
}

void QueueSource::DropAll() {
  for (GstBuffer* const buffer : buffers_) gst_buffer_unref(buffer);
  buffers_.clear();
}

// Where the reader is that has come least far. What is pushed may be here before the first
// reader is.
unsigned long long QueueSource::Slowest() const {
  unsigned long long slowest = readers_.empty() ? 0 : ~0ull;
  for (const Reader* reader : readers_) slowest = std::min(slowest, reader->reached());
  return slowest;
}

void QueueSource::End() {
  const std::lock_guard<std::mutex> lock(lock_);
  isEnded_ = true;
  isMoving_ = false;
  changed_.notify_all();
}

void QueueSource::Restart(unsigned long long offset) {
  const std::lock_guard<std::mutex> lock(lock_);
  // The first segment, and one that goes on where the last one ended, drop nothing.
  if (offset != end_ || hasRefused_ || isMoving_) BeginAt(offset);
}

void QueueSource::BeginAt(unsigned long long offset) {
  DropAll();
  start_ = end_ = furthest_ = offset;
  isEnded_ = isMoving_ = hasRefused_ = false;
  changed_.notify_all();
}

void QueueSource::BeginFlush() {
  const std::lock_guard<std::mutex> lock(lock_);
  isFlushing_ = true;
  changed_.notify_all();
}

void QueueSource::EndFlush() {
  const std::lock_guard<std::mutex> lock(lock_);
  isFlushing_ = isEnded_ = false;
  isMoving_ = true;
}

void QueueSource::Shut() {
  const std::lock_guard<std::mutex> lock(lock_);
  isShut_ = true;
  changed_.notify_all();
}

void QueueSource::Interrupt() {
  const std::lock_guard<std::mutex> lock(lock_);
  isInterrupted_ = true;
  changed_.notify_all();
}

void QueueSource::Continue() {
  const std::lock_guard<std::mutex> lock(lock_);
  isInterrupted_ = false;
  closed_ = GST_FLOW_OK;
}

void QueueSource::Close(GstFlowReturn flow) {
  const std::lock_guard<std::mutex> lock(lock_);
  closed_ = flow;
  changed_.notify_all();
}

// Whether what is wanted of upstream, up to `last`, doesn't come by waiting.
bool QueueSource::IsOutOfReach(unsigned long long offset, unsigned long long last) const {
  const bool isCut = hasRefused_ && last > end_;
  return offset < start_ || offset > Add(end_, kAhead) || isCut;
}

// Sends upstream to `offset`. False where it doesn't go.
bool QueueSource::Jump(unsigned long long offset, Lock* lock) {
  isMoving_ = true;
  lock->unlock();
  // Upstream flushes, which comes back here, before this returns.
  const bool isSent = gst_pad_push_event(
      sink_, gst_event_new_seek(1, GST_FORMAT_BYTES, GST_SEEK_FLAG_FLUSH, GST_SEEK_TYPE_SET,
                                static_cast<gint64>(offset), GST_SEEK_TYPE_NONE, -1));
  lock->lock();
  if (!isSent) isMoving_ = false;
  return isSent;
}

// Waits for what is wanted, and has upstream go there where it doesn't come by itself. A
// negative status where that fails.
int QueueSource::Await(unsigned long long offset, unsigned long long last, Lock* lock) {
  constexpr int kJumps = 3;  // upstream may have been under way to somewhere else
  for (int jumps = 0; !IsStopped();) {
    if (isMoving_) {
      changed_.wait(*lock, [this] { return IsStopped() || !isMoving_; });
    } else if (mayJump_ && IsOutOfReach(offset, last)) {
      if (++jumps > kJumps || !Jump(offset, lock)) return -EIO;
    } else if (isEnded_ || end_ >= last || offset < start_) {
      return 0;
    } else {
      furthest_ = std::max(furthest_, last);
      changed_.notify_all();
      changed_.wait(*lock);
    }
  }
  return 0;
}

int QueueSource::ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) {
  const unsigned long long wanted = *size;
  *size = 0;
  Lock lock(lock_);
  const unsigned long long limit = canSeek_ ? static_cast<unsigned long long>(size_) : ~0ull;
  if (wanted == 0 || offset >= limit) return 0;
  const unsigned long long last = std::min(Add(offset, wanted), limit);
  if (!mayJump_ && offset > Add(furthest_, canSeek_ ? kAhead : kLongestWait)) return 0;
  if (!mayJump_ && last > Add(Slowest(), kKeptWithout)) AllowJumps();
  if (!mayJump_ && last > Add(Slowest(), kKeptWithout)) {
    isTooFarApart_ = true;
    return 0;
  }
  const int status = Await(offset, last, &lock);
  if (status < 0) {
    *flow_ = GST_FLOW_ERROR;
    return status;
  }
  if (IsStopped()) {
    *flow_ = GST_FLOW_FLUSHING;
    return -ECANCELED;
  }
  furthest_ = std::max(furthest_, last);
  changed_.notify_all();
  *size = Copy(offset, static_cast<unsigned char*>(buffer), wanted);
  return 0;
}

// Returns how many bytes there are.
unsigned long long QueueSource::Copy(unsigned long long offset, unsigned char* out,
                                     unsigned long long size) const {
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
