// What byte sources over a pad share: opening costs nothing, and a position of their own
// from which Read goes on.
#ifndef QO_GST_POSITIONEDSOURCE_H
#define QO_GST_POSITIONEDSOURCE_H

#include <cerrno>

#include "qo_parser_asf/IDataSource.h"

class PositionedSource : public IDataSource {
 public:
  int Open() final { return 0; }
  int Close() final { return 0; }
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) final {
    const int status = Fetch(offset, buffer, size);
    if (status >= 0) position_ = offset + *size;
    return status;
  }
  int Read(void* buffer, unsigned long long* size) final { return ReadAt(position_, buffer, size); }
  int SeekTo(unsigned long long offset, int whence) final {
    if (whence != 0 && whence != 1) return -EINVAL;
    position_ = whence == 1 ? position_ + offset : offset;
    return 0;
  }
  int GetPosition(unsigned long long* position) final {
    *position = position_;
    return 0;
  }

 protected:
  // Reads up to `*size` bytes at `offset`; stores how many there are, fewer only at the
  // end. Negative, and `*size` 0, on failure.
  virtual int Fetch(unsigned long long offset, void* buffer, unsigned long long* size) = 0;

 private:
  unsigned long long position_ = 0;
};

#endif  // QO_GST_POSITIONEDSOURCE_H
