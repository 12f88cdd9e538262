// MemorySource: the byte source contract in its plainest form.
#include "qo_host/MemorySource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace qo_host {

MemorySource::MemorySource(const void* data, std::size_t size)
    : data_(static_cast<const unsigned char*>(data)), size_(size) {}

int MemorySource::Open() { return SeekTo(0, 0); }

int MemorySource::Close() { return 0; }

int MemorySource::GetSize(unsigned long long* size) {
  *size = size_;
  return 0;
}

int MemorySource::ReadAt(unsigned long long offset, void* buffer, unsigned long long* size) {
  *size = std::min(*size, offset < size_ ? size_ - offset : 0);
  if (*size != 0) std::memcpy(buffer, data_ + offset, *size);
  position_ = offset + *size;
  return 0;
}

int MemorySource::Read(void* buffer, unsigned long long* size) {
  return ReadAt(position_, buffer, size);
}

int MemorySource::SeekTo(unsigned long long offset, int whence) {
  if (whence != 0 && whence != 1) return -EINVAL;
  position_ = whence == 0 ? offset : position_ + offset;
  return 0;
}

int MemorySource::GetPosition(unsigned long long* position) {
  *position = position_;
  return 0;
}

}  // namespace qo_host
