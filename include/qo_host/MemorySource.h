// Plain memory as a byte source.
#ifndef QO_HOST_MEMORYSOURCE_H
#define QO_HOST_MEMORYSOURCE_H

#include <cstddef>

#include "qo_parser_asf/IDataSource.h"

namespace qo_host {

// Reads `size` bytes at `data`, which it does not own and which must outlive it.
// No operation fails, but SeekTo with a `whence` other than 0 and 1 (-EINVAL).
// Read goes through ReadAt, which a derived source may replace.
class MemorySource : public IDataSource {
 public:
  // `data` may be null where `size`, in bytes, is 0.
  MemorySource(const void* data, std::size_t size);

  int Open() override;  // rewinds
  int Close() override;
  int GetSize(unsigned long long* size) override;
  int ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) override;
  int Read(void* buffer, unsigned long long* size) override;
  int SeekTo(unsigned long long offset, int whence) override;
  int GetPosition(unsigned long long* position) override;

 private:
  const unsigned char* data_;
  unsigned long long size_;
  unsigned long long position_ = 0;
};

}  // namespace qo_host

#endif  // QO_HOST_MEMORYSOURCE_H
