// The records of an ASF file, laid out as the file has them.
//
// Packed, little-endian, fields in file order: a record is read from the byte
// source, or copied from memory, as it stands. Records that own what a field points
// at are the parser's, not the format's.
#ifndef QO_ASF_FORMAT_RECORDS_H
#define QO_ASF_FORMAT_RECORDS_H

#include <cstddef>
#include <cstring>

#include "asf/format/guid.h"

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "records are images of file bytes");

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

// The fixed part of extended stream properties: names and payload extension systems
// follow, then perhaps stream properties.
struct asf_extended_stream_properties_image {
  asf_object_header header;
  unsigned long long startTime;                 // ms
  unsigned long long endTime;                   // ms
  unsigned int dataBitrate;                     // bits per second
  unsigned int bufferSize;                      // ms
  unsigned int initialBufferFullness;           // ms
  unsigned int alternateDataBitrate;            // bits per second
  unsigned int alternateBufferSize;             // ms
  unsigned int alternateInitialBufferFullness;  // ms
  unsigned int maximumObjectSize;               // bytes; 0 = unknown
  unsigned int flags;  // bit 0 reliable, 1 seekable, 2 no cleanpoints, 3 resend live cleanpoints
  unsigned short streamNumber;
  unsigned short languageIndex;
  unsigned long long averageTimePerFrame;  // 100 ns
  unsigned short nameCount;
  unsigned short payloadExtensionCount;
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

#pragma pack(pop)

// Bits of asf_stream_properties_image::flags.
constexpr unsigned int kStreamNumberMask = 0x7F;
constexpr unsigned int kStreamEncrypted = 0x8000;

static_assert(sizeof(asf_object_header) == 24 && sizeof(asf_header_object) == 30 &&
                  sizeof(asf_file_properties_object) == 104 &&
                  sizeof(asf_stream_properties_image) == 78 &&
                  sizeof(asf_header_extension_image) == 46 && sizeof(asf_data_object) == 50 &&
                  sizeof(asf_extended_stream_properties_image) == 88 &&
                  sizeof(asf_simple_index_image) == 56 && sizeof(asf_simple_index_entry) == 6 &&
                  sizeof(audio_specific_data) == 18 && sizeof(video_specific_data) == 51 &&
                  sizeof(asf_description_record_image) == 12,
              "images of file bytes");

#endif  // QO_ASF_FORMAT_RECORDS_H
