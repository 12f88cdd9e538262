// Reading of payload fields, shared by all that walk a packet.
#include "asf/PacketFields.h"

#include <memory>

#include "asf/AsfRecords.h"
#include "asf/ExceptionBarrier.h"

namespace {

// Length type of a one-byte field, and the one-byte replicated data length that
// marks a compressed payload.
constexpr unsigned char kOneByteField = 1;
constexpr unsigned int kCompressedMark = 1;

// Replicated data is 8 bytes in most files; up to here it needs no allocation.
constexpr unsigned int kReplicatedOnStack = 256;

int ReadTime(SourceReader* reader, unsigned char* data, unsigned int length, unsigned int* timeMs) {
  const int status = reader->Read(data, length);
  if (status < 0) return status;
  replicated_data fields;
  parseReplicatedData(data, &fields);
  *timeMs = fields.PresentationTime;
  return status;
}

}  // namespace

int setCodedTypeData(IDataSource* src, unsigned char type, coded_type* out) {
  ExceptionBarrier barrier;
  out->Value = 0;  // should the source throw
  return barrier.Run([=] {
    SourceReader reader(src);
    out->Value = reader.ReadCoded(type);
    return type == kOneByteField && out->Value == kCompressedMark ? 1 : 0;
  });
}

int parseReplicatedData(unsigned char* data, replicated_data* out) {
  out->MediaObjectSize = LoadLe32(data);
  out->PresentationTime = LoadLe32(data + 4);
  return 0;
}

bool ReadPayloadFields(SourceReader* reader, unsigned char propertyFlags, payload_header* header) {
  header->MediaObjectNumber = reader->ReadCoded(propertyFlags >> 4 & 3);
  header->OffsetIntoMediaObject = reader->ReadCoded(propertyFlags >> 2 & 3);
  const unsigned int lengthType = propertyFlags & 3;
  header->ReplicatedDataLength = reader->ReadCoded(lengthType);
  return lengthType == kOneByteField && header->ReplicatedDataLength == kCompressedMark;
}

int ReadPresentationTime(SourceReader* reader, unsigned int length, unsigned int* timeMs) {
  if (length <= kReplicatedOnStack) {
    unsigned char data[kReplicatedOnStack];
    std::memset(data, 0, sizeof(replicated_data));
    return ReadTime(reader, data, length, timeMs);
  }
  const ByteBuffer data = AllocateBytes(length);
  return ReadTime(reader, data.get(), length, timeMs);
}
