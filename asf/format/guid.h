// GUIDs, and the table that identifies ASF objects, stream types and the like.
#ifndef QO_ASF_FORMAT_GUID_H
#define QO_ASF_FORMAT_GUID_H

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <optional>

// 16 bytes exactly as the file holds them: Data1 to Data3 little-endian, then
// the eight bytes of Data4. Never converted to another representation.
struct guid {
  unsigned char bytes[16];
};

inline bool operator==(const guid& a, const guid& b) {
  return std::memcmp(a.bytes, b.bytes, sizeof(a.bytes)) == 0;
}
inline bool operator!=(const guid& a, const guid& b) { return !(a == b); }

// Row numbers of the identification table. Object ids, stream types and other
// GUIDs share the numbering.
enum AsfObjectId : unsigned char {
  ID_HEADER_OBJECT = 0,
  ID_DATA_OBJECT,
  ID_SIMPLE_INDEX_OBJECT,
  ID_INDEX_OBJECT,
  ID_MEDIA_OBJECT_INDEX_OBJECT,
  ID_TIMECODE_INDEX_OBJECT,
  ID_FILE_PROPERTIES_OBJECT,
  ID_STREAM_PROPERTIES_OBJECT,
  ID_HEADER_EXTENSION_OBJECT,
  ID_CODEC_LIST_OBJECT,
  ID_SCRIPT_COMMAND_OBJECT,
  ID_MARKER_OBJECT,
  ID_BITRATE_MUTUAL_EXCLUSION_OBJECT,
  ID_ERROR_CORRECTION_OBJECT,
  ID_CONTENT_DESCRIPTION_OBJECT,
  ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT,
  ID_CONTENT_BRANDING_OBJECT,
  ID_STREAM_BITRATE_PROPERTIES_OBJECT,
  ID_CONTENT_ENCRYPTION_OBJECT,
  ID_EXTENDED_CONTENT_ENCRYPTION_OBJECT,
  ID_DIGITAL_SIGNATURE_OBJECT,
  ID_PADDING_OBJECT,
  ID_EXTENDED_STREAM_PROPERTIES_OBJECT,
  ID_ADVANCED_MUTUAL_EXCLUSION_OBJECT,
  ID_GROUP_MUTUAL_EXCLUSION_OBJECT,
  ID_STREAM_PRIORITIZATION_OBJECT,
  ID_BANDWIDTH_SHARING_OBJECT,
  ID_LANGUAGE_LIST_OBJECT,
  ID_METADATA_OBJECT,
  ID_METADATA_LIBRARY_OBJECT,
  ID_INDEX_PARAMETERS_OBJECT,
  ID_MEDIA_OBJECT_INDEX_PARAMETERS_OBJECT,
  ID_TIMECODE_INDEX_PARAMETERS_OBJECT,
  ID_COMPATIBILITY_OBJECT,
  ID_ADVANCED_CONTENT_ENCRYPTION_OBJECT,
  ID_AUDIO_MEDIA,
  ID_VIDEO_MEDIA,
  ID_COMMAND_MEDIA,
  ID_JFIF_MEDIA,
  ID_DEGRADABLE_JPEG_MEDIA,
  ID_FILE_TRANSFER_MEDIA,
  ID_BINARY_MEDIA,
  ID_WEB_STREAM_MEDIA_SUBTYPE,
  ID_WEB_STREAM_FORMAT,
  ID_NO_ERROR_CORRECTION,
  ID_AUDIO_SPREAD,
  ID_RESERVED_1,
  ID_CONTENT_ENCRYPTION_SYSTEM_NETWORK_DEVICES,
  ID_RESERVED_2,
  ID_RESERVED_3,
  ID_RESERVED_4,
  ID_MUTEX_LANGUAGE,
  ID_MUTEX_BITRATE,
  ID_MUTEX_UNKNOWN,
  ID_BANDWIDTH_SHARING_EXCLUSIVE,
  ID_BANDWIDTH_SHARING_PARTIAL,
  ID_PAYLOAD_EXT_SYSTEM_TIMECODE,
  ID_PAYLOAD_EXT_SYSTEM_FILE_NAME,
  ID_PAYLOAD_EXT_SYSTEM_CONTENT_TYPE,
  ID_PAYLOAD_EXT_SYSTEM_PIXEL_ASPECT_RATIO,
  ID_PAYLOAD_EXT_SYSTEM_SAMPLE_DURATION,
  ID_PAYLOAD_EXT_SYSTEM_ENCRYPTION_SAMPLE_ID,
  ID_PAYLOAD_EXT_SYSTEM_DEGRADABLE_JPEG,
  kAsfObjectIdCount,
};

// The GUID of a table row.
const guid& GuidOf(AsfObjectId id);

// The first table row equal to `g`, or nothing.
std::optional<AsfObjectId> LookupGuid(const guid& g);

// Whether a row that was looked up is one of `ids`.
inline bool IsOneOf(std::optional<AsfObjectId> id, std::initializer_list<AsfObjectId> ids) {
  return id && std::find(ids.begin(), ids.end(), *id) != ids.end();
}

#endif  // QO_ASF_FORMAT_GUID_H
