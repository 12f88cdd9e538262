// A pipe, or whatever else can be read only once, as a byte source.
//
// What has been read is held, the last 16 MiB of it: a session's streams may lie that far
// apart in the file, and what opens a file reads its beginning several times. A stream that
// ends within 16 MiB is like a file. Of a longer one the size is not known, so that what
// stands behind its data (an index) is not either, and it can be played from the beginning
// to the end, not sought in.
#ifndef QO_HOST_PIPESOURCE_H
#define QO_HOST_PIPESOURCE_H

#include <cstddef>
#include <deque>
#include <memory>

#include "qo_host/CachedSource.h"

namespace qo_host {

// The bytes that come out of a descriptor, for one pass from the first to the last.
class PipeSource final : public CachedSource {
 public:
  static constexpr std::size_t kHeldBytes = std::size_t{16} << 20;  // 16 MiB, allocated as needed

  // Reads from `descriptor`, which stays its owner's and must stay open. A call waits for
  // the bytes that it needs, also where the descriptor is non-blocking; not where `stop`, a
  // descriptor as well unless it is negative, can be read from.
  explicit PipeSource(int descriptor, int stop = -1);
  ~PipeSource() override;

  // The first failure of a read; 0 when there was none. A parser takes a failing source for
  // the end of the data: to be asked behind a play-out. -ESPIPE: something was read again
  // that was no longer held. -EINTR: a signal came while a read waited, or it was stopped.
  // Otherwise -errno. Behind these two nothing more is read.
  int failure() const { return failure_; }

  int Open() override;   // rewinds; the rest of the beginning must still be held
  int Close() override;  // 0, and nothing else
  // Reads ahead as far as fits. 0 where the end has come in sight, otherwise -ESPIPE.
  int GetSize(unsigned long long* size) override;

 private:
  Extent PlaceWindow(unsigned long long offset, std::size_t size) const override;
  // Brings nothing, as beyond the end, for what lies so far ahead that bytes in front of it
  // would have to go unread.
  int Fetch(unsigned long long offset, void* buffer, unsigned long long* size) override;

  int FillTo(unsigned long long end);
  int FillOnce();
  int Wait() const;
  void Copy(unsigned long long offset, unsigned char* out, unsigned long long size) const;

  const int descriptor_;
  const int stop_;
  int failure_ = 0;
  int readFailure_ = 0;  // of the descriptor: the bytes end here
  bool isEnded_ = false;
  unsigned long long start_ = 0;  // of what is held, a multiple of a block; bytes of the stream
  unsigned long long end_ = 0;    // of it
  std::deque<std::unique_ptr<unsigned char[]>> blocks_;  // that hold it
};

}  // namespace qo_host

#endif  // QO_HOST_PIPESOURCE_H
