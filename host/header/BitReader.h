// Bits of a NAL unit, the highest of each byte first; bytes that only keep start codes
// from arising are passed over. Behind the end all bits are 0, and ok() is false.
#ifndef QO_HOST_HEADER_BITREADER_H
#define QO_HOST_HEADER_BITREADER_H

#include <cstddef>

namespace qo_host {

class BitReader {
 public:
  // `size` bytes at `data`, which must outlive this.
  BitReader(const unsigned char* data, std::size_t size) : next_(data), end_(data + size) {}

  // Whether all that was read was there, and no number was too large.
  bool ok() const { return ok_; }

  bool Flag() { return Bit() != 0; }

  // `count` bits, 32 at most.
  unsigned int Bits(unsigned int count) {
    unsigned int value = 0;
    for (; count != 0; --count) value = value << 1 | Bit();
    return value;
  }

  // Exponential Golomb codes of 32 bits. Above `largest` a number is too large.
  unsigned int Golomb(unsigned int largest = ~0u) {
    unsigned int zeros = 0;
    while (ok_ && Bit() == 0) ++zeros;
    if (zeros > kMaxZeros) ok_ = false;
    const unsigned int value = ok_ ? (1u << zeros) - 1 + Bits(zeros) : 0;
    if (value > largest) ok_ = false;
    return ok_ ? value : 0;
  }
  int SignedGolomb() {
    const unsigned int code = Golomb();
    const int half = static_cast<int>(code / 2);
    return code % 2 != 0 ? half + 1 : -half;
  }

 private:
  static constexpr unsigned int kMaxZeros = 31;

  unsigned int Bit() {
    if (left_ == 0 && !NextByte()) return 0;
    return byte_ >> --left_ & 1u;
  }

  bool NextByte() {
    constexpr unsigned char kEscape = 3;
    constexpr unsigned int kZerosInFront = 2;
    if (next_ != end_ && zeros_ == kZerosInFront && *next_ == kEscape) {
      ++next_;
      zeros_ = 0;
    }
    ok_ = ok_ && next_ != end_;
    if (!ok_) return false;
    byte_ = *next_++;
    zeros_ = byte_ == 0 ? zeros_ + 1 : 0;
    left_ = 8;
    return true;
  }

  const unsigned char* next_;
  const unsigned char* const end_;
  unsigned int byte_ = 0;   // being read
  unsigned int left_ = 0;   // of its bits
  unsigned int zeros_ = 0;  // zero bytes in a row in front of `next_`
  bool ok_ = true;
};

}  // namespace qo_host

#endif  // QO_HOST_HEADER_BITREADER_H
