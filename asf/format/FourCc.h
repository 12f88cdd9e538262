// Four-character codes, as the little-endian number that a bitmap header holds.
#ifndef QO_ASF_FORMAT_FOURCC_H
#define QO_ASF_FORMAT_FOURCC_H

constexpr unsigned int FourCc(const char (&text)[5]) {
  return static_cast<unsigned char>(text[0]) |
         static_cast<unsigned int>(static_cast<unsigned char>(text[1])) << 8 |
         static_cast<unsigned int>(static_cast<unsigned char>(text[2])) << 16 |
         static_cast<unsigned int>(static_cast<unsigned char>(text[3])) << 24;
}

#endif  // QO_ASF_FORMAT_FOURCC_H
