// A GUID as a file holds it.
#ifndef QO_HOST_GUID_H
#define QO_HOST_GUID_H

#include <cstring>
#include <string>

namespace qo_host {

// The first three fields little-endian, then eight bytes as they stand.
struct Guid {
  unsigned char bytes[16];  // in the order of the file
};

// Byte for byte.
inline bool operator==(const Guid& a, const Guid& b) {
  return std::memcmp(a.bytes, b.bytes, sizeof(a.bytes)) == 0;
}
// The opposite.
inline bool operator!=(const Guid& a, const Guid& b) { return !(a == b); }

// "75B22630-668E-11CF-A6D9-00AA0062CE6C": the first three fields as numbers, the rest as
// bytes.
std::string GuidString(const Guid& id);

}  // namespace qo_host

#endif  // QO_HOST_GUID_H
