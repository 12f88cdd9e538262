// Copying of access units.
#ifndef QO_ASF_UNITCOPY_H
#define QO_ASF_UNITCOPY_H

#include <algorithm>
#include <cstddef>

// Bytes. From about here on the C library hands a copy to the processor's string
// instruction, which at some distances of source and destination moves a byte at
// a time, ten times slower than the loop that shorter copies take.
constexpr std::size_t kCopyPieceBytes = 2048;

// memcpy in pieces that stay below that.
inline void CopyUnit(unsigned char* to, const unsigned char* from, std::size_t size) {
  while (size != 0) {
    const std::size_t piece = std::min(size, kCopyPieceBytes);
    std::copy_n(from, piece, to);
    to += piece;
    from += piece;
    size -= piece;
  }
}

#endif  // QO_ASF_UNITCOPY_H
