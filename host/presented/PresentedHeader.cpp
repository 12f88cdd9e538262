// Checks a header by walking it as the parser does, and writes the least one that the
// parser needs.
#include "host/presented/PresentedHeader.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

#include "asf/format/Arithmetic.h"
#include "asf/format/ByteReader.h"
#include "asf/format/Limits.h"
#include "host/header/FileProperties.h"
#include "host/header/KnownGuid.h"
#include "qo_host/AsfLayout.h"
#include "qo_parser_asf/MetaInfo.h"

namespace qo_host {
namespace {

constexpr unsigned int kTextsOfContentDescription = 5;

// One object, from behind its object header on. Each check tells whether the parser,
// reading field by field, comes out at the object's end.
class ObjectCheck {
 public:
  ObjectCheck(const FileHeader& header, const HeaderObject& object)
      : reader_(header.Data(object.range) + sizeof(asf_object_header),
                object.range.size - sizeof(asf_object_header)) {}

  bool Stream() {
    unsigned int typeSpecific = 0, errorCorrection = 0;
    return Skip(offsetof(asf_stream_properties_image, typeSpecificLength) - kHead) &&
           reader_.ReadU32(&typeSpecific) && reader_.ReadU32(&errorCorrection) &&
           Skip(sizeof(asf_stream_properties_image::flags) +
                sizeof(asf_stream_properties_image::reserved)) &&
           typeSpecific <= kMaxAllocBytes && errorCorrection <= kMaxAllocBytes &&
           Skip(typeSpecific) && Skip(errorCorrection) && AtEnd();
  }

  bool Extension() {
    unsigned int size = 0;
    return Skip(offsetof(asf_header_extension_image, dataSize) - kHead) && reader_.ReadU32(&size) &&
           size <= kMaxAllocBytes && Skip(size) && AtEnd();
  }

  bool ContentDescription() {
    unsigned short lengths[kTextsOfContentDescription];
    if (!reader_.ReadBytes(lengths, sizeof(lengths))) return false;
    return std::all_of(std::begin(lengths), std::end(lengths),
                       [this](unsigned short length) { return Skip(length); }) &&
           AtEnd();
  }

  // Numbers are read in their natural width, whatever length is stated.
  bool ExtendedContent() {
    unsigned short count = 0;
    if (!reader_.ReadU16(&count)) return false;
    for (; count != 0; --count) {
      unsigned short name = 0, type = 0, size = 0;
      if (!reader_.ReadU16(&name) || !Skip(name) || !reader_.ReadU16(&type) ||
          !reader_.ReadU16(&size) || size > reader_.remaining()) {
        return false;
      }
      const std::size_t number = NumberBytes(type);
      if (!Skip(number != 0 ? number : size)) return false;
    }
    return AtEnd();
  }

  // A metadata object without records ends the walk over the extension.
  bool Metadata() {
    unsigned short count = 0;
    if (!reader_.ReadU16(&count) || count == 0) return false;
    for (; count != 0; --count) {
      asf_description_record_image record;
      if (!reader_.ReadBytes(&record, sizeof(record)) || !Skip(record.nameLength) ||
          !Skip(record.dataLength)) {
        return false;
      }
    }
    return AtEnd();
  }

 private:
  static constexpr std::size_t kHead = sizeof(asf_object_header);

  bool Skip(std::size_t size) { return reader_.Skip(size); }
  bool AtEnd() const { return reader_.remaining() == 0; }

  ByteReader reader_;
};

// Of these a second one leaves the first unread, or ends a walk.
bool IsSingle(const FileHeader& header, AsfObjectId id, unsigned char depth) {
  return std::count_if(header.objects.begin(), header.objects.end(), [=](const auto& object) {
           return KnownGuid(object.id) == id && object.depth == depth;
         }) <= 1;
}

void Append(const void* from, std::size_t size, std::vector<unsigned char>* out) {
  const auto* const bytes = static_cast<const unsigned char*>(from);
  out->insert(out->end(), bytes, bytes + size);
}

asf_object_header ObjectHeader(AsfObjectId id, unsigned long long size) {
  return {GuidOf(id), size};
}

// The type-specific data with the tag put in, long enough for its fixed part.
std::vector<unsigned char> TypeSpecificOf(const FileHeader& header,
                                          const PresentedStream& presented) {
  const ByteRange range = presented.stream->typeSpecific;
  const std::size_t size = std::min<std::size_t>(range.size, kMaxAllocBytes);
  std::vector<unsigned char> data(header.Data(range), header.Data(range) + size);
  const bool isAudio = presented.stream->kind == StreamKind::kAudio;
  const std::size_t fixed = isAudio ? sizeof(audio_specific_data) : sizeof(video_specific_data);
  data.resize(std::max(data.size(), fixed));
  if (isAudio) {
    std::memcpy(data.data(), &presented.codecTag, sizeof(audio_specific_data::formatTag));
  } else {
    std::memcpy(data.data() + offsetof(video_specific_data, compression), &presented.codecTag,
                sizeof(video_specific_data::compression));
  }
  return data;
}

void AppendStream(const FileHeader& header, const PresentedStream& presented,
                  std::vector<unsigned char>* out) {
  const std::vector<unsigned char> data = TypeSpecificOf(header, presented);
  const bool isAudio = presented.stream->kind == StreamKind::kAudio;
  asf_stream_properties_image image = {};
  image.header = ObjectHeader(ID_STREAM_PROPERTIES_OBJECT, sizeof(image) + data.size());
  image.streamType = GuidOf(isAudio ? ID_AUDIO_MEDIA : ID_VIDEO_MEDIA);
  image.errorCorrectionType = GuidOf(ID_NO_ERROR_CORRECTION);
  image.timeOffset = presented.stream->timeOffset;
  image.typeSpecificLength = static_cast<unsigned int>(data.size());
  image.flags = presented.stream->number;
  Append(&image, sizeof(image), out);
  Append(data.data(), data.size(), out);
}

// Seeks are estimated by the bit rate where there is no index.
unsigned int BitrateOf(const FileProperties& properties, const HeaderFacts& facts) {
  if (properties.maxBitrate != 0) return properties.maxBitrate;
  const unsigned long long total = facts.playDuration / 10000;
  if (total <= properties.prerollMs) return 0;
  const unsigned long long bits =
      SaturatingMultiply(SaturatingMultiply(facts.packetCount, facts.packetLength), 8000);
  return static_cast<unsigned int>(std::min<unsigned long long>(
      bits / (total - properties.prerollMs), std::numeric_limits<unsigned int>::max()));
}

}  // namespace

std::size_t NumberBytes(unsigned short type) {
  if (type < kMetaBool || type > kMetaWord) return 0;
  return type == kMetaQword ? 8 : type == kMetaWord ? 2 : 4;
}

bool IsReadAsMeant(const FileHeader& header, const HeaderObject& object) {
  const bool isInExtension = object.depth == 1;
  // In the extension a bare object header ends the parser's walk.
  if (isInExtension && object.size <= sizeof(asf_object_header)) return false;
  const auto known = KnownGuid(object.id);
  if (object.depth > 1 || !known) return true;
  ObjectCheck check(header, object);
  switch (*known) {
    case ID_FILE_PROPERTIES_OBJECT:
      return isInExtension || object.size == sizeof(asf_file_properties_object);
    case ID_STREAM_PROPERTIES_OBJECT:
      return isInExtension || check.Stream();
    case ID_HEADER_EXTENSION_OBJECT:
      return isInExtension || check.Extension();
    case ID_CONTENT_DESCRIPTION_OBJECT:
      return isInExtension || check.ContentDescription();
    case ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT:
      return isInExtension || check.ExtendedContent();
    case ID_METADATA_OBJECT:
    case ID_METADATA_LIBRARY_OBJECT:
      return !isInExtension || check.Metadata();
    default:
      return true;
  }
}

bool IsReadAsMeant(const FileHeader& header) {
  const auto isMeant = [&](const HeaderObject& object) { return IsReadAsMeant(header, object); };
  return header.problems.empty() && header.properties && header.bytes.size() <= kMaxHeaderBytes &&
         std::all_of(header.objects.begin(), header.objects.end(), isMeant) &&
         IsSingle(header, ID_FILE_PROPERTIES_OBJECT, 0) &&
         IsSingle(header, ID_HEADER_EXTENSION_OBJECT, 0) &&
         IsSingle(header, ID_CONTENT_DESCRIPTION_OBJECT, 0) &&
         IsSingle(header, ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT, 0) &&
         IsSingle(header, ID_METADATA_OBJECT, 1) && IsSingle(header, ID_METADATA_LIBRARY_OBJECT, 1);
}

asf_file_properties_object MakeProperties(const FileHeader& header, const HeaderFacts& facts) {
  const FileProperties own = header.properties.value_or(FileProperties{});
  asf_file_properties_object properties = {};
  properties.header = ObjectHeader(ID_FILE_PROPERTIES_OBJECT, sizeof(properties));
  properties.fileId = FormatGuid(own.fileId);
  properties.fileSize = own.fileSize;
  properties.creationDate = own.creationDate;
  properties.sendDuration = own.sendDuration;
  properties.preroll = own.prerollMs;
  properties.dataPackets = facts.packetCount;
  properties.playDuration = facts.playDuration;
  properties.flags = kSeekable;
  properties.minPacketSize = properties.maxPacketSize = facts.packetLength;
  properties.maxBitrate = BitrateOf(own, facts);
  return properties;
}

std::vector<unsigned char> MakeHeader(const FileHeader& header, const HeaderFacts& facts) {
  std::vector<unsigned char> bytes(sizeof(asf_header_object) + sizeof(asf_file_properties_object));
  for (const PresentedStream& stream : facts.streams) AppendStream(header, stream, &bytes);

  asf_header_object object = {};
  object.header = ObjectHeader(ID_HEADER_OBJECT, bytes.size());
  object.headerObjects = static_cast<unsigned int>(1 + facts.streams.size());
  object.reserved1 = 1;
  object.reserved2 = 2;
  std::memcpy(bytes.data(), &object, sizeof(object));

  asf_data_object data = {};
  data.header = ObjectHeader(ID_DATA_OBJECT, sizeof(data) + facts.packetCount * facts.packetLength);
  data.dataPackets = facts.packetCount;
  data.reserved = 0x101;
  asf_file_properties_object properties = MakeProperties(header, facts);
  data.fileId = properties.fileId;
  properties.fileSize = bytes.size() + data.header.objectSize + facts.tailSize;
  std::memcpy(bytes.data() + sizeof(object), &properties, sizeof(properties));
  Append(&data, sizeof(data), &bytes);
  return bytes;
}

}  // namespace qo_host
