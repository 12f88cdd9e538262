// A byte source over a piece of an open file: what the system's picker hands to an
// app is a file descriptor, what lies uncompressed in an app's package is a piece
// of the package's file.
#ifndef QO_EXAMPLES_FDSOURCE_H
#define QO_EXAMPLES_FDSOURCE_H

#include <qo_parser_asf/IDataSource.h>
#include <unistd.h>

#include <algorithm>

class FdSource final : public IDataSource {
 public:
  // Bytes `start` to `start + length` of what `fd` has open. The descriptor is the
  // source's from here on.
  FdSource(int fd, unsigned long long start, unsigned long long length)
      : fd_(fd), start_(start), length_(length) {}
  ~FdSource() override { close(fd_); }
  FdSource(const FdSource&) = delete;
  FdSource& operator=(const FdSource&) = delete;

  int Open() override { return 0; }
  int Close() override { return 0; }
  int GetSize(unsigned long long* size) override {
    *size = length_;
    return 0;
  }
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override {
    position_ = offset;
    return Read(buffer, size);
  }
  // Fewer bytes than asked for would mean that the source ends: reads on until all are there.
  int Read(void* buffer, unsigned long long* size) override {
    const unsigned long long left = length_ - std::min(position_, length_);
    const unsigned long long wanted = std::min(*size, left);
    for (*size = 0; *size < wanted;) {
      const ssize_t got = pread64(fd_, static_cast<char*>(buffer) + *size, wanted - *size,
                                  static_cast<off64_t>(start_ + position_));
      if (got < 0) return -1;
      if (got == 0) break;
      *size += static_cast<unsigned long long>(got);
      position_ += static_cast<unsigned long long>(got);
    }
    return 0;
  }
  int SeekTo(unsigned long long offset, int whence) override {
    position_ = whence == 0 ? offset : position_ + offset;
    return 0;
  }
  int GetPosition(unsigned long long* position) override {
    *position = position_;
    return 0;
  }

 private:
  const int fd_;
  const unsigned long long start_;
  const unsigned long long length_;
  unsigned long long position_ = 0;  // from start_; beyond length_ is legal
};

#endif  // QO_EXAMPLES_FDSOURCE_H
