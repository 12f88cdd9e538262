// Numbers as the bytes that formats hold.
#ifndef QO_TOOLS_EXTRACT_BYTES_H
#define QO_TOOLS_EXTRACT_BYTES_H

#include <cstdint>
#include <string_view>
#include <vector>

namespace tool {

using ByteVector = std::vector<unsigned char>;

// Adds the lower `width` bytes of `value`, the lowest first.
inline void PutLittle(std::uint64_t value, int width, ByteVector* out) {
  for (int i = 0; i < width; ++i) out->push_back(static_cast<unsigned char>(value >> 8 * i));
}

// The same, the lowest last.
inline void PutBig(std::uint64_t value, int width, ByteVector* out) {
  for (int i = width - 1; i >= 0; --i) out->push_back(static_cast<unsigned char>(value >> 8 * i));
}

inline void PutText(std::string_view text, ByteVector* out) {
  out->insert(out->end(), text.begin(), text.end());
}

}  // namespace tool

#endif  // QO_TOOLS_EXTRACT_BYTES_H
