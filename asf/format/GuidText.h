// How a GUID is written in the messages about objects that are not handled.
#ifndef QO_ASF_FORMAT_GUIDTEXT_H
#define QO_ASF_FORMAT_GUIDTEXT_H

#include "asf/format/ByteReader.h"
#include "asf/format/guid.h"

// The three leading fields as numbers, and the last eight bytes as 16 lower-case
// hexadecimal digits.
struct GuidText {
  explicit GuidText(const guid& g)
      : data1(LoadLe32(g.bytes)), data2(LoadLe16(g.bytes + 4)), data3(LoadLe16(g.bytes + 6)) {
    static constexpr char kDigits[] = "0123456789abcdef";
    for (int k = 0; k < 8; ++k) {
      data4[2 * k] = kDigits[g.bytes[8 + k] >> 4];
      data4[2 * k + 1] = kDigits[g.bytes[8 + k] & 0x0F];
    }
  }
  unsigned int data1;
  unsigned int data2;
  unsigned int data3;
  char data4[17] = {};
};

#endif  // QO_ASF_FORMAT_GUIDTEXT_H
