// What single header objects hold, by their kind; objects nested in one are left to its
// caller.
#include "asf/format/Arithmetic.h"
#include "host/header/HeaderParts.h"
#include "host/header/KnownGuid.h"

namespace qo_host {
namespace {

// An object that holds no other one. Those not named here say nothing that a FileHeader has.
void ReadFlatObject(HeaderFiller* filler, std::optional<AsfObjectId> known, ByteRange body) {
  switch (known.value_or(ID_PADDING_OBJECT)) {
    case ID_STREAM_BITRATE_PROPERTIES_OBJECT:
      return ReadStreamBitrates(filler, body);
    case ID_CONTENT_DESCRIPTION_OBJECT:
      return ReadContentDescription(filler, body);
    case ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT:
      return ReadExtendedContentDescription(filler, body);
    case ID_METADATA_OBJECT:
      return ReadMetadata(filler, body, TagOrigin::kMetadata);
    case ID_METADATA_LIBRARY_OBJECT:
      return ReadMetadata(filler, body, TagOrigin::kMetadataLibrary);
    case ID_LANGUAGE_LIST_OBJECT:
      return ReadLanguages(filler, body);
    case ID_CODEC_LIST_OBJECT:
      return ReadCodecs(filler, body);
    case ID_MARKER_OBJECT:
      return ReadMarkers(filler, body);
    case ID_SCRIPT_COMMAND_OBJECT:
      return ReadCommands(filler, body);
    case ID_CONTENT_ENCRYPTION_OBJECT:
    case ID_EXTENDED_CONTENT_ENCRYPTION_OBJECT:
    case ID_ADVANCED_CONTENT_ENCRYPTION_OBJECT:
    case ID_DIGITAL_SIGNATURE_OBJECT:
      return ReadEncryption(filler, *known, body);
    default:
      return;
  }
}

void ReadFileProperties(HeaderFiller* filler, const HeaderObject& object) {
  asf_file_properties_object properties;
  if (!RangeReader(**filler, object.range).Read(&properties, sizeof(properties))) {
    filler->Note(HeaderProblem::kRecordCut, object.range.position);
    return;
  }
  (*filler)->properties =
      FileProperties{KitGuid(properties.fileId), properties.fileSize,     properties.creationDate,
                     properties.dataPackets,     properties.playDuration, properties.sendDuration,
                     properties.preroll,         properties.flags,        properties.minPacketSize,
                     properties.maxPacketSize,   properties.maxBitrate};
}

std::size_t ReadExtension(HeaderFiller* filler, const HeaderObject& object) {
  asf_header_extension_image fixed;
  if (!RangeReader(**filler, object.range).Read(&fixed, sizeof(fixed))) {
    filler->Note(HeaderProblem::kRecordCut, object.range.position);
    return 0;
  }
  if (SaturatingAdd(sizeof(fixed), fixed.dataSize) != object.size) {
    filler->Note(HeaderProblem::kExtensionSize, object.range.position);
  }
  return object.range.position + sizeof(fixed);
}

}  // namespace

std::size_t ReadOwnContents(HeaderFiller* filler, const HeaderObject& object) {
  const ByteRange body = {object.range.position + sizeof(asf_object_header),
                          object.range.size - sizeof(asf_object_header)};
  const auto known = KnownGuid(object.id);
  switch (known.value_or(ID_PADDING_OBJECT)) {
    case ID_FILE_PROPERTIES_OBJECT:
      ReadFileProperties(filler, object);
      return 0;
    case ID_STREAM_PROPERTIES_OBJECT:
      ReadStreamProperties(filler, object.range, object.depth != 0);
      return 0;
    case ID_HEADER_EXTENSION_OBJECT:
      return object.depth == 0 ? ReadExtension(filler, object) : 0;
    case ID_EXTENDED_STREAM_PROPERTIES_OBJECT: {
      const std::size_t nested = ReadExtendedStream(filler, object.range);
      return object.depth <= 1 ? nested : 0;
    }
    default:
      ReadFlatObject(filler, known, body);
      return 0;
  }
}

}  // namespace qo_host
