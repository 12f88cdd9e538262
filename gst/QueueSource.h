// What upstream pushes, for any number of readers: reads wait for the bytes, and pushes
// wait where they are far ahead of the reads.
//
// Bytes stay until the last reader has passed them, for streams don't stand at the same
// place of a file. How many at most depends on upstream. Where it can be sought in, and has
// been once, a read of what is gone, or lies far ahead, has it go there, and few are kept.
// Otherwise more are kept, and a reader that gets too far ahead of another comes to its end,
// which is better than to lose what the other needs.
#ifndef QO_GST_QUEUESOURCE_H
#define QO_GST_QUEUESOURCE_H

#include <gst/gst.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "qo_parser_asf/IDataSource.h"

class QueueSource {
 public:
  // Both are not null and must outlive this. `*flow` becomes GST_FLOW_FLUSHING where Shut
  // or Interrupt ends a read, GST_FLOW_ERROR where upstream doesn't go where it should.
  QueueSource(GstPad* sink, std::atomic<GstFlowReturn>* flow);
  ~QueueSource();
  QueueSource(const QueueSource&) = delete;
  QueueSource& operator=(const QueueSource&) = delete;

  // A reader of its own position, for one thread at a time, which must not outlive this.
  // Its source's size is not known before LearnUpstream.
  std::unique_ptr<IDataSource> MakeReader();
  // Asks upstream for its size, and whether it can be sought in. Once, by the readers'
  // thread, when bytes have come: some don't know earlier, or are still being started.
  void LearnUpstream();
  bool canSeek() const { return canSeek_; }
  // From here on reads may send upstream elsewhere, if it can be sought in. Not before there is
  // a need: some servers say that they can, and fail.
  void AllowJumps() { mayJump_ = canSeek_.load(); }
  bool mayJump() const { return mayJump_; }
  // A reader came to its end because another one is too far behind it.
  bool isTooFarApart() const { return isTooFarApart_; }

  // By the thread that pushes. Takes `buffer`, which follows what came before. What Close
  // says, otherwise GST_FLOW_OK, or GST_FLOW_FLUSHING.
  GstFlowReturn Push(GstBuffer* buffer);
  // Nothing more comes.
  void End();
  // The next byte pushed is that at `offset`.
  void Restart(unsigned long long offset);
  // Upstream drops what it has pushed.
  void BeginFlush();
  void EndFlush();

  // From any thread. Ends what waits, now and from here on.
  void Shut();
  // Ends the reads that wait, now and until Continue, which opens again what Close has
  // closed.
  void Interrupt();
  void Continue();
  // Nothing more is read: each push returns `flow`.
  void Close(GstFlowReturn flow);

 private:
  class Reader;

  using Lock = std::unique_lock<std::mutex>;
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size);
  bool IsStopped() const { return isShut_ || isInterrupted_; }
  bool IsOutOfReach(unsigned long long offset, unsigned long long last) const;
  int Await(unsigned long long offset, unsigned long long last, Lock* lock);
  bool Jump(unsigned long long offset, Lock* lock);
  unsigned long long Copy(unsigned long long offset, unsigned char* out,
                          unsigned long long size) const;
  unsigned long long Slowest() const;
  void BeginAt(unsigned long long offset);
  void DropOld();
  void DropAll();

  GstPad* const sink_;
  std::atomic<GstFlowReturn>* const flow_;
  // By LearnUpstream.
  std::atomic<bool> canSeek_{false};
  std::atomic<bool> mayJump_{false};
  std::atomic<bool> isTooFarApart_{false};
  long long size_ = -1;  // bytes; negative: not known

  std::mutex lock_;
  std::condition_variable changed_;
  // Under lock_.
  std::vector<Reader*> readers_;
  std::deque<GstBuffer*> buffers_;
  unsigned long long start_ = 0;     // of the first of them, bytes from the file's first
  unsigned long long end_ = 0;       // of the last
  unsigned long long furthest_ = 0;  // that a read came to, or waits for
  bool isEnded_ = false;
  bool isMoving_ = false;    // upstream has been sent elsewhere, and hasn't said where it is
  bool hasRefused_ = false;  // a buffer: what comes next doesn't follow
  bool isFlushing_ = false;  // upstream
  bool isShut_ = false;
  bool isInterrupted_ = false;
  GstFlowReturn closed_ = GST_FLOW_OK;
};

#endif  // QO_GST_QUEUESOURCE_H
