// The records that the parser keeps of a file's objects, and their release.
//
// Packed records are images of file bytes, little-endian, fields in file order;
// they are read from the byte source as they stand. A pointer field owns a plain
// new[] block; the one Release function of its kind frees a record with all that
// it owns, null and half-filled records included.
#ifndef QO_ASF_ASFRECORDS_H
#define QO_ASF_ASFRECORDS_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "MetaInfo.h"
#include "asf/guid.h"

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "records are images of file bytes");

// Owns a plain new[] block until it is handed over to a record's field.
using ByteBuffer = std::unique_ptr<unsigned char[]>;

// `size` bytes, not filled; never null, also for a size of 0.
inline ByteBuffer AllocateBytes(std::size_t size) { return ByteBuffer(new unsigned char[size]); }

#pragma pack(push, 1)

struct asf_object_header {
  guid objectId;
  unsigned long long objectSize;  // bytes, this header included
};

struct asf_header_object {
  asf_object_header header;  // its size is also the file offset of the data object
  unsigned int headerObjects;
  unsigned char reserved1;
  unsigned char reserved2;
};

struct asf_file_properties_object {
  asf_object_header header;
  guid fileId;
  unsigned long long fileSize;  // bytes
  unsigned long long creationDate;
  unsigned long long dataPackets;
  unsigned long long playDuration;  // 100 ns, preroll included
  unsigned long long sendDuration;  // 100 ns
  unsigned long long preroll;       // ms
  unsigned int flags;               // bit 0 broadcast, bit 1 seekable
  unsigned int minPacketSize;       // bytes
  unsigned int maxPacketSize;       // bytes
  unsigned int maxBitrate;          // bits per second
};

struct asf_stream_properties_image {
  asf_object_header header;
  guid streamType;
  guid errorCorrectionType;
  unsigned long long timeOffset;  // 100 ns
  unsigned int typeSpecificLength;
  unsigned int errorCorrectionLength;
  unsigned short flags;  // bits 0-6 stream number, bit 15 encrypted
  unsigned int reserved;
};

struct asf_header_extension_image {
  asf_object_header header;
  guid reserved1;
  unsigned short reserved2;
  unsigned int dataSize;  // bytes
};

struct asf_data_object {
  asf_object_header header;
  guid fileId;
  unsigned long long dataPackets;
  unsigned short reserved;
};

struct asf_simple_index_image {
  asf_object_header header;  // not set; nothing reads it
  guid fileId;
  unsigned long long entryInterval;  // 100 ns
  unsigned int maxPacketCount;
  unsigned int entryCount;
};

struct asf_simple_index_entry {
  unsigned int packetNumber;
  unsigned short packetCount;
};

// The fixed part of an audio stream's type-specific data.
struct audio_specific_data {
  unsigned short formatTag;
  unsigned short channels;
  unsigned int samplesPerSecond;
  unsigned int averageBytesPerSecond;
  unsigned short blockAlign;  // bytes
  unsigned short bitsPerSample;
  unsigned short codecDataSize;  // bytes
};

// The fixed part of a video stream's type-specific data: from headerSize on it
// is the bitmap header.
struct video_specific_data {
  unsigned int encodedWidth;   // pixels
  unsigned int encodedHeight;  // pixels
  unsigned char reservedFlags;
  unsigned short formatDataSize;
  unsigned int headerSize;
  int width;
  int height;
  unsigned short planes;
  unsigned short bitCount;
  unsigned int compression;  // FourCC, first character in the lowest byte
  unsigned int imageSize;
  int xPelsPerMeter;
  int yPelsPerMeter;
  unsigned int colorsUsed;
  unsigned int colorsImportant;
};

// One record of a metadata or metadata library object.
struct asf_description_record_image {
  unsigned short languageIndex;
  unsigned short streamNumber;
  unsigned short nameLength;  // bytes
  unsigned short dataType;
  unsigned int dataLength;  // bytes
};

struct asf_description_record {
  asf_description_record_image image;
  unsigned char* name;  // UTF-16LE as stored; nameLength with its lowest bit cleared, bytes
  unsigned char* data;  // dataLength bytes
};

struct asf_metadata_object {
  asf_object_header header;
  unsigned short count;
  asf_description_record* records;
};

#pragma pack(pop)

static_assert(sizeof(asf_object_header) == 24 && sizeof(asf_header_object) == 30 &&
                  sizeof(asf_file_properties_object) == 104 &&
                  sizeof(asf_stream_properties_image) == 78 &&
                  sizeof(asf_header_extension_image) == 46 && sizeof(asf_data_object) == 50 &&
                  sizeof(asf_simple_index_image) == 56 && sizeof(asf_simple_index_entry) == 6 &&
                  sizeof(audio_specific_data) == 18 && sizeof(video_specific_data) == 51 &&
                  sizeof(asf_description_record_image) == 12,
              "images of file bytes");

struct asf_stream_properties_object {
  asf_stream_properties_image image;
  unsigned char* typeSpecificData;     // image.typeSpecificLength bytes
  unsigned char* errorCorrectionData;  // image.errorCorrectionLength bytes
};

struct asf_header_extension_object {
  asf_header_extension_image image;
  unsigned char* data;  // image.dataSize bytes; null when the file has no such object
};

struct asf_simple_index_object {
  asf_simple_index_image image;
  asf_simple_index_entry* entries;  // image.entryCount
};

// The strings of a content description, in file order.
enum ContentString { kTitle, kAuthor, kCopyright, kDescription, kRating, kContentStrings };

struct asf_content_description_object {
  asf_object_header header;
  unsigned short lengths[kContentStrings];  // bytes
  unsigned char* strings[kContentStrings];  // UTF-16LE with a terminator added; null for length 0
};

struct asf_content_descriptor {
  unsigned short nameLength;  // bytes
  unsigned char* name;        // UTF-16LE as stored
  unsigned short valueType;
  unsigned short valueLength;  // bytes
  union {
    unsigned long long number;  // types 2 to 5
    unsigned char* bytes;       // types 0, 1 and above 5
  } value;
};

struct asf_extended_content_description_object {
  asf_object_header header;
  unsigned short count;  // as the file says; the first of them were read, the others are empty
  std::vector<asf_content_descriptor> descriptors;
};

// An extension record that nothing fills; Close knows how to release it.
struct asf_extension_entry {
  unsigned char* buffers[3];
  unsigned long long number;
};
struct asf_extension_record {
  unsigned int count;
  asf_extension_entry* entries;
};

void Release(asf_stream_properties_object* record);
void Release(asf_simple_index_object* record);
void Release(asf_content_description_object* record);
void Release(asf_extended_content_description_object* record);
void Release(asf_metadata_object* record);
void Release(asf_extension_record* record);
void Release(meta_info* record);

// Frees the records of a metadata object and leaves it with none.
void ReleaseRecords(asf_metadata_object* object);

// Owns a record until it is handed over to the parser.
template <typename Record>
struct RecordReleaser {
  void operator()(Record* record) const { Release(record); }
};
template <typename Record>
using OwnedRecord = std::unique_ptr<Record, RecordReleaser<Record>>;

// A zero-filled record.
template <typename Record>
OwnedRecord<Record> MakeRecord() {
  return OwnedRecord<Record>(new Record());
}

// The fixed part of a stream's type-specific data; bytes that the file does not
// have are 0.
template <typename Fixed>
Fixed TypeSpecific(const asf_stream_properties_object& stream) {
  Fixed fixed{};
  const std::size_t length = stream.image.typeSpecificLength;
  if (length >= sizeof(fixed)) {
    std::memcpy(&fixed, stream.typeSpecificData, sizeof(fixed));
  } else if (length != 0) {
    std::memcpy(&fixed, stream.typeSpecificData, length);
  }
  return fixed;
}

// Tells the leak checker of a sanitizer build that `block` stays allocated on
// purpose: replaced header extension data, a replaced content description, and
// the values of attributes with an unknown type have always been left, and hosts
// may still hold their addresses.
void KeepLeaked(const void* block);

#endif  // QO_ASF_ASFRECORDS_H
