// The fields of a data packet and its payloads: their layout, the length types that
// say how wide they are, and their reading.
//
// Whoever walks a packet reads them through the functions here, from a byte source
// or from memory, so that every walk takes a packet in the same words.
#ifndef QO_ASF_FORMAT_PACKETFIELDS_H
#define QO_ASF_FORMAT_PACKETFIELDS_H

#include "asf/format/SourceReader.h"

// Bits of a packet's first byte, its error correction flags.
constexpr unsigned char kErrorCorrectionPresent = 0x80;
constexpr unsigned char kOpaqueDataPresent = 0x10;

// Bytes. The error correction flags and the data behind them: two bytes of data are
// taken for granted.
constexpr unsigned int kErrorCorrectionBytes = 3;

// Bytes. Send time and duration, behind the coded fields of a packet's header.
constexpr unsigned int kTimesBytes = 6;

#pragma pack(push, 1)

// A data packet's header behind its error correction data.
struct payload_parsing_info {
  unsigned char LengthTypeFlags;  // bit 0 multiple payloads, bits 1-2 sequence type,
                                  // bits 3-4 padding length type, bits 5-6 packet length type
  unsigned char PropertyFlags;    // bits 0-1 replicated data length type, bits 2-3 offset
                                  // type, bits 4-5 media object number type
  unsigned int PacketLength;      // bytes; 0 when absent
  unsigned int Sequence;          // 0 when absent
  unsigned int PaddingLength;     // bytes; 0 when absent
  unsigned int SendTime;          // ms
  unsigned short Duration;        // ms
};

// A payload's header.
struct payload_header {
  unsigned char StreamNumber;  // bits 0-6 stream number, bit 7 key frame
  unsigned int MediaObjectNumber;
  unsigned int OffsetIntoMediaObject;  // bytes; a compressed payload's presentation time, ms
  unsigned int ReplicatedDataLength;   // bytes
};

// The two standard fields of a payload's replicated data.
struct replicated_data {
  unsigned int MediaObjectSize;   // bytes
  unsigned int PresentationTime;  // ms, preroll included
};

// One field of variable width.
struct coded_type {
  unsigned int Value;
};

#pragma pack(pop)

// Length types say how wide a field is: 0 = absent, 1, 2 or 3 = one, two or four
// bytes. Each pair of bits in a flags byte is one.
constexpr unsigned int kOneByteField = 1;
constexpr unsigned int LengthTypeAt(unsigned int flags, unsigned int bit) {
  return flags >> bit & 3;
}
constexpr unsigned int FieldBytes(unsigned int lengthType) {
  return lengthType == 3 ? 4 : lengthType;
}
constexpr unsigned int PacketLengthType(unsigned char lengthTypeFlags) {
  return LengthTypeAt(lengthTypeFlags, 5);
}
constexpr unsigned int PaddingLengthType(unsigned char lengthTypeFlags) {
  return LengthTypeAt(lengthTypeFlags, 3);
}
constexpr unsigned int SequenceType(unsigned char lengthTypeFlags) {
  return LengthTypeAt(lengthTypeFlags, 1);
}
constexpr bool HasMultiplePayloads(unsigned char lengthTypeFlags) {
  return (lengthTypeFlags & 1) != 0;
}

// The payload flags byte of a packet with multiple payloads.
constexpr unsigned int PayloadCount(unsigned char payloadFlags) { return payloadFlags & 0x3F; }
constexpr unsigned int PayloadLengthType(unsigned char payloadFlags) {
  return LengthTypeAt(payloadFlags, 6);
}

constexpr unsigned char StreamOf(const payload_header& header) {
  return header.StreamNumber & 0x7F;
}
constexpr bool IsKeyFrame(const payload_header& header) {
  return (header.StreamNumber & 0x80) != 0;
}

// A replicated data length of 1, in a one-byte field, marks a compressed payload.
constexpr bool IsCompressedMark(unsigned int lengthType, unsigned int length) {
  return lengthType == kOneByteField && length == 1;
}

// What nearly all writers set: fields of 1, 4 and 1 bytes in front of a payload.
constexpr unsigned char kUsualPropertyFlags = 0x5D;

template <typename Reader>
[[gnu::always_inline]] inline bool ReadFieldsAsFlagged(Reader* reader, unsigned char propertyFlags,
                                                       payload_header* header) {
  header->MediaObjectNumber = reader->ReadCoded(LengthTypeAt(propertyFlags, 4));
  header->OffsetIntoMediaObject = reader->ReadCoded(LengthTypeAt(propertyFlags, 2));
  const unsigned int lengthType = LengthTypeAt(propertyFlags, 0);
  header->ReplicatedDataLength = reader->ReadCoded(lengthType);
  return IsCompressedMark(lengthType, header->ReplicatedDataLength);
}

// Reads the three coded fields behind a payload's stream number, from a SourceReader
// or a ByteReader. True: the payload is compressed. Flags that the compiler knows cost
// nothing to take apart.
template <typename Reader>
bool ReadPayloadFields(Reader* reader, unsigned char propertyFlags, payload_header* header) {
  return propertyFlags == kUsualPropertyFlags
             ? ReadFieldsAsFlagged(reader, kUsualPropertyFlags, header)
             : ReadFieldsAsFlagged(reader, propertyFlags, header);
}

// Splits replicated data; `data` holds at least 8 bytes.
inline replicated_data SplitReplicatedData(const unsigned char* data) {
  return {LoadLe32(data), LoadLe32(data + 4)};
}

// Reads replicated data of `length` bytes (1 to kMaxAllocBytes) and takes the
// presentation time from it; bytes that it doesn't have count as 0. Negative on
// a failed read.
int ReadPresentationTime(SourceReader* reader, unsigned int length, unsigned int* timeMs);

// A presentation time without the file's preroll; 0 for a time within it.
constexpr unsigned int WithoutPreroll(unsigned int presentationTime, unsigned long long prerollMs) {
  return presentationTime > prerollMs ? static_cast<unsigned int>(presentationTime - prerollMs) : 0;
}

// The packet length that a file's bounds allow for a packet that declares `declared`
// bytes (0: none): the lower bound counts first, and where none is declared.
constexpr unsigned int BoundedPacketLength(unsigned int declared, unsigned int min,
                                           unsigned int max) {
  if (declared == 0 || declared < min) return min;
  return declared > max ? max : declared;
}

#endif  // QO_ASF_FORMAT_PACKETFIELDS_H
