// What upstream pushes, as a byte source: reads wait for the bytes, and pushes wait where
// they are far ahead of the reads.
//
// What has been read stays for a while, since streams read the same region one after the
// other, and what opens the file reads its beginning several times. What lies further
// back is gone: a read there brings nothing. The end is not known before it is reached.
#ifndef QO_GST_QUEUESOURCE_H
#define QO_GST_QUEUESOURCE_H

#include <gst/gst.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>

#include "qo_parser_asf/IDataSource.h"

class QueueSource final : public IDataSource {
 public:
  // `*flow` (not null, must outlive this) becomes GST_FLOW_FLUSHING where a flush ends a
  // read.
  explicit QueueSource(std::atomic<GstFlowReturn>* flow);
  ~QueueSource() override;

  // By the thread that pushes. Takes `buffer`, which follows what came before. What Close
  // says, otherwise GST_FLOW_OK, or GST_FLOW_FLUSHING.
  GstFlowReturn Push(GstBuffer* buffer);
  // Nothing more comes.
  void End();

  // From any thread: ends what waits, now and from here on.
  void Flush();
  // Nothing more is read: each push returns `flow`.
  void Close(GstFlowReturn flow);

  int Open() override;
  int Close() override;
  int GetSize(unsigned long long* size) override;  // fails
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override;
  int Read(void* buffer, unsigned long long* size) override;
  int SeekTo(unsigned long long offset, int whence) override;
  int GetPosition(unsigned long long* position) override;

 private:
  unsigned long long Copy(unsigned long long offset, unsigned char* out, unsigned long long size);
  void DropOld();

  std::atomic<GstFlowReturn>* const flow_;
  unsigned long long position_ = 0;  // of the reader

  std::mutex lock_;
  std::condition_variable changed_;
  // Under lock_.
  std::deque<GstBuffer*> buffers_;
  unsigned long long start_ = 0;     // of the first of them, bytes from the file's first
  unsigned long long end_ = 0;       // of the last
  unsigned long long furthest_ = 0;  // that a read came to, or waits for
  bool isEnded_ = false;
  bool isFlushing_ = false;
  GstFlowReturn closed_ = GST_FLOW_OK;
};

#endif  // QO_GST_QUEUESOURCE_H
