// Start codes of MPEG and VC-1: 00 00 01 and a code byte.
#ifndef QO_ASF_FORMAT_STARTCODE_H
#define QO_ASF_FORMAT_STARTCODE_H

#include <cstddef>
#include <cstring>

constexpr std::size_t kStartCodeBytes = 4;

constexpr unsigned char kMpegPicture = 0x00;
constexpr unsigned char kVc1Frame = 0x0D;
constexpr unsigned char kVc1SequenceHeader = 0x0F;

// Whether 4 bytes at `p` are the start code of `code`.
inline bool IsStartCode(const unsigned char* p, unsigned char code) {
  return p[0] == 0 && p[1] == 0 && p[2] == 1 && p[3] == code;
}

// The first position in [begin, end) at which the start code of `code` begins, or
// `end`. 3 bytes behind position end - 1 must be readable.
inline std::size_t FindStartCode(const unsigned char* data, std::size_t begin, std::size_t end,
                                 unsigned char code) {
  for (std::size_t i = begin; i < end; ++i) {
    // The third byte decides most positions.
    if (data[i + 2] > 1) {
      i += 2;
    } else if (IsStartCode(data + i, code)) {
      return i;
    }
  }
  return end;
}

// How many positions a search over `len` bytes may look at when a start code in
// the very last 4 bytes is not to be found; 0 when there are none.
constexpr std::size_t PositionsBeforeLast(std::size_t len) {
  return len > kStartCodeBytes ? len - kStartCodeBytes : 0;
}

// Copies the first `Size` of `length` bytes; bytes beyond them are 0. For tests
// of fixed header bytes that a short buffer may lack.
template <std::size_t Size>
struct HeadBytes {
  HeadBytes(const unsigned char* data, std::size_t length) {
    if (length >= Size) {
      std::memcpy(bytes, data, Size);
    } else if (length != 0) {
      std::memcpy(bytes, data, length);
    }
  }
  unsigned char bytes[Size] = {};
};

#endif  // QO_ASF_FORMAT_STARTCODE_H
