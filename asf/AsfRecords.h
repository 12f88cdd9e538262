// The records that the parser keeps of a file's objects, and their release.
//
// Each is the file's own record (asf/format/Records.h) and the blocks that belong
// to it. A pointer field owns a plain new[] block; the one Release function of its
// kind frees a record with all that it owns, null and half-filled records included.
#ifndef QO_ASF_ASFRECORDS_H
#define QO_ASF_ASFRECORDS_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "asf/format/Records.h"
#include "qo_parser_asf/MetaInfo.h"

// Owns a plain new[] block until it is handed over to a record's field.
using ByteBuffer = std::unique_ptr<unsigned char[]>;

// Behind every string of the file the parser puts the two zero bytes of a UTF-16
// terminator, which files leave out at will.
constexpr unsigned int kTerminatorBytes = 2;

// `size` bytes, not filled; never null, also for a size of 0.
inline ByteBuffer AllocateBytes(std::size_t size) { return ByteBuffer(new unsigned char[size]); }

#pragma pack(push, 1)

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
// purpose: replaced header extension data, a replaced content description, and the
// values of attributes with an unknown type. Tags may point at the texts of such a
// description; nothing points at the other two. Kept so: what Close frees, and what it
// leaves, would change.
void KeepLeaked(const void* block);

#endif  // QO_ASF_ASFRECORDS_H
