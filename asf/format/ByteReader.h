// Reads little-endian values from memory, never beyond its end.
#ifndef QO_ASF_FORMAT_BYTEREADER_H
#define QO_ASF_FORMAT_BYTEREADER_H

#include <cstddef>
#include <cstring>

// Little-endian values at an address, assembled from bytes.
inline unsigned short LoadLe16(const unsigned char* p) {
  return static_cast<unsigned short>(p[0] | p[1] << 8);
}
inline unsigned int LoadLe32(const unsigned char* p) {
  return p[0] | static_cast<unsigned int>(p[1]) << 8 | static_cast<unsigned int>(p[2]) << 16 |
         static_cast<unsigned int>(p[3]) << 24;
}
inline unsigned long long LoadLe64(const unsigned char* p) {
  return LoadLe32(p) | static_cast<unsigned long long>(LoadLe32(p + 4)) << 32;
}

// A cursor over memory that it does not own. A read that does not fit changes
// nothing and returns false.
class ByteReader {
 public:
  ByteReader(const unsigned char* data, std::size_t size) : data_(data), size_(size) {}

  std::size_t position() const { return pos_; }
  std::size_t remaining() const { return size_ - pos_; }

  [[nodiscard]] bool ReadU8(unsigned char* out) { return Take(1) && (*out = At(1)[0], true); }
  [[nodiscard]] bool ReadU16(unsigned short* out) {
    return Take(2) && (*out = LoadLe16(At(2)), true);
  }
  [[nodiscard]] bool ReadU32(unsigned int* out) {
    return Take(4) && (*out = LoadLe32(At(4)), true);
  }
  // Reads a field whose width a 2-bit length type gives: 0 = absent, 1, 2 or 3 =
  // one, two or four bytes. An absent field and one that does not fit are 0.
  [[nodiscard]] unsigned int ReadCoded(unsigned int lengthType) {
    if (lengthType == 1) return Take(1) ? At(1)[0] : 0;
    if (lengthType == 2) return Take(2) ? LoadLe16(At(2)) : 0;
    if (lengthType == 3) return Take(4) ? LoadLe32(At(4)) : 0;
    return 0;
  }
  [[nodiscard]] bool ReadBytes(void* out, std::size_t n) {
    if (!Take(n)) return false;
    if (n != 0) std::memcpy(out, At(n), n);
    return true;
  }
  // The address of the next `n` bytes, which it passes over; null when they do
  // not fit.
  [[nodiscard]] const unsigned char* View(std::size_t n) { return Take(n) ? At(n) : nullptr; }
  [[nodiscard]] bool Skip(std::size_t n) { return Take(n); }

 private:
  bool Take(std::size_t n) {
    if (n > size_ - pos_) return false;
    pos_ += n;
    return true;
  }
  const unsigned char* At(std::size_t taken) const { return data_ + pos_ - taken; }

  // pos_ <= size_
  const unsigned char* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

#endif  // QO_ASF_FORMAT_BYTEREADER_H
