// The fields of a data packet and its payloads, and their reading.
//
// The packet header, the demultiplexer and the packet time probe read them
// through the functions here, so that all three walk a packet in the same words.
#ifndef QO_ASF_PACKETFIELDS_H
#define QO_ASF_PACKETFIELDS_H

#include "asf/Export.h"
#include "asf/SourceReader.h"

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

inline unsigned char StreamOf(const payload_header& header) { return header.StreamNumber & 0x7F; }
inline bool IsKeyFrame(const payload_header& header) { return (header.StreamNumber & 0x80) != 0; }

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

// Reads a field of length type `type` (0, or anything above 3: absent) at the
// source's position. Neither pointer may be null. Returns 0; but for `type` 1 the
// result is 1 when the byte read is 1, the mark of a compressed payload.
QO_EXPORT int setCodedTypeData(IDataSource* src, unsigned char type, coded_type* out);

// Splits replicated data; `data` holds at least 8 bytes. Returns 0.
QO_EXPORT int parseReplicatedData(unsigned char* data, replicated_data* out);

// Reads the three coded fields behind a payload's stream number. True: the
// payload is compressed. Only a one-byte length field can say so.
bool ReadPayloadFields(SourceReader* reader, unsigned char propertyFlags, payload_header* header);

// Reads replicated data of `length` bytes (1 to kMaxAllocBytes) and takes the
// presentation time from it; bytes that it doesn't have count as 0. Negative on
// a failed read.
int ReadPresentationTime(SourceReader* reader, unsigned int length, unsigned int* timeMs);

#endif  // QO_ASF_PACKETFIELDS_H
