// A byte source that answers from memory what it has read before, in windows.
//
// What lies below (a file, another source) is read in windows. A new one takes the
// place of one that both of two readers have passed, so that few are in use and stay in
// the processor's cache, or else of the oldest. A window that continues another is twice as long,
// up to a limit: reading on costs few calls below, a jump to one packet header brings little more
// than that. The demultiplexer makes a handful of reads of 1 to 8 bytes per payload and walks the
// packets once for audio and once for video: all but the first read of a region cost a copy.
//
// Every call has the result and leaves the position that the same call would
// have without the windows, as long as what lies below doesn't change: a request
// that they cannot answer whole (beyond the end, in a region that fails) is
// handed down as it is. Where what lies below shrinks or is overwritten, a
// window in memory keeps answering with what it held.
#ifndef QO_HOST_CACHEDSOURCE_H
#define QO_HOST_CACHEDSOURCE_H

#include <cstddef>
#include <memory>
#include <vector>

#include "qo_parser_asf/IDataSource.h"

namespace qo_host {

// The windows; what they are filled from, a derived class says.
class CachedSource : public IDataSource {
 public:
  ~CachedSource() override;
  CachedSource(const CachedSource&) = delete;
  CachedSource& operator=(const CachedSource&) = delete;

  // Both store the bytes brought in `*size` and return 0, or the failure of what
  // lies below; then `*size` is 0 and the position stays as it was.
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) final;
  int Read(void* buffer, unsigned long long* size) final;
  // Always 0, but for a `whence` other than 0 and 1: -EINVAL, nothing moves. A
  // relative move wraps at 2^64, so that 2^64 - n goes back by n.
  int SeekTo(unsigned long long offset, int whence) final;
  // Always 0.
  int GetPosition(unsigned long long* position) final;

 protected:
  // Windows are `minWindowBytes` long or a multiple of that, at most
  // `maxWindowBytes`. Memory: `windowCount` times the latter, allocated as it is
  // needed.
  CachedSource(std::size_t minWindowBytes, std::size_t maxWindowBytes, std::size_t windowCount);

  // Bytes of the source.
  struct Extent {
    unsigned long long offset;  // of the first, absolute
    std::size_t size;           // perhaps fewer than wanted
  };
  // What a window around `offset` holds when `size` bytes are wanted: `offset`
  // itself, and at most the longest window's bytes. By default `size` bytes from a
  // multiple of the shortest window's on.
  virtual Extent PlaceWindow(unsigned long long offset, std::size_t size) const;

  // Reads up to `*size` bytes at `offset`, straight from what lies below; stores
  // what it brought, which is less only at the end. Negative on failure.
  virtual int Fetch(unsigned long long offset, void* buffer, unsigned long long* size) = 0;

 private:
  static constexpr unsigned long long kNoReader = ~0ull;

  struct Window {
    unsigned long long offset = 0;  // in the source, bytes
    std::size_t span = 0;           // bytes asked for; 0: not in use
    std::size_t length = 0;         // bytes brought; less than `span` at the end or after a failure
    unsigned long long number = 0;  // of those opened, from 1 on
    std::unique_ptr<unsigned char[]> bytes;  // the largest size; null until first needed
  };

  unsigned long long Position() const;
  void MoveTo(unsigned long long position);
  int ReadSlow(unsigned long long offset, void* buffer, unsigned long long* size);
  bool CopyFromWindows(unsigned long long offset, unsigned char* out, unsigned long long size);
  const Window& WindowAt(unsigned long long offset);
  Window* OpenWindow(unsigned long long offset);
  Window& ReplacedWindow(unsigned long long offset);

  const std::size_t minWindowBytes_;
  const std::size_t maxWindowBytes_;
  std::vector<Window> windows_;
  unsigned long long opened_ = 0;  // windows
  // Where reading was when it last jumped to another window, for another reader may go on
  // from there; where it began anew, until it first jumps.
  unsigned long long otherReader_ = kNoReader;
  // The window used last: `length_` bytes at `bytes_`, from `start_` in the source.
  const unsigned char* bytes_ = nullptr;
  unsigned long long start_ = 0;
  unsigned long long length_ = 0;
  const unsigned char* limit_ = nullptr;  // their end
  // The current position: that of the byte at `cursor_`, or of `limit_`. Where it lies
  // outside the window it is `away_`, and `cursor_` is `limit_`: no read is answered.
  const unsigned char* cursor_ = nullptr;
  bool isAway_ = false;
  unsigned long long away_ = 0;
};

}  // namespace qo_host

#endif  // QO_HOST_CACHEDSOURCE_H
