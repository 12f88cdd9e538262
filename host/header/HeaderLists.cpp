// The lists of a header, and what it says about encryption.
#include <algorithm>

#include "host/header/HeaderParts.h"

namespace qo_host {
namespace {

// Text whose length counts UTF-16 code units.
std::string ReadUnits(RangeReader* reader, unsigned int units) {
  return reader->Utf16(2ull * units);
}

Encryption ReadContentEncryption(RangeReader* reader) {
  Encryption encryption = {};
  encryption.kind = EncryptionKind::kContent;
  encryption.data = reader->Take(reader->U32());
  encryption.scheme = reader->Ascii(reader->U32());
  encryption.keyId = reader->Ascii(reader->U32());
  encryption.licenseUrl = reader->Ascii(reader->U32());
  return encryption;
}

// The rights header is XML in UTF-16LE, from its first "<" on; what may stand in front
// of it depends on the system.
std::string RightsText(const FileHeader& header, ByteRange data) {
  static constexpr unsigned char kBegin[] = {'<', 0};
  const unsigned char* const first = header.Data(data);
  const unsigned char* const last = first + data.size;
  const unsigned char* const begin = std::search(first, last, kBegin, std::end(kBegin));
  return Utf16ToUtf8(begin, static_cast<std::size_t>(last - begin));
}

Encryption ReadExtendedEncryption(const FileHeader& header, RangeReader* reader) {
  Encryption encryption = {};
  encryption.kind = EncryptionKind::kExtended;
  encryption.data = reader->Take(reader->U32());
  encryption.text = RightsText(header, encryption.data);
  return encryption;
}

Encryption ReadAdvancedEncryption(const FileHeader& header, RangeReader* reader) {
  constexpr unsigned short kStreamObject = 1;  // what is encrypted is a stream
  Encryption encryption = {};
  encryption.kind = EncryptionKind::kAdvanced;
  encryption.scheme = GuidString(reader->Id());
  encryption.type = reader->U32();
  for (unsigned int count = reader->U16(); count != 0 && reader->fits(); --count) {
    const unsigned short type = reader->U16();
    const ByteRange object = reader->Take(reader->U16());
    if (type != kStreamObject || object.size == 0) continue;
    encryption.streams.push_back(header.Data(object)[0] & kStreamNumberMask);
  }
  encryption.data = reader->Take(reader->U32());
  return encryption;
}

Encryption ReadSignature(RangeReader* reader) {
  Encryption encryption = {};
  encryption.kind = EncryptionKind::kSignature;
  encryption.type = reader->U32();
  encryption.data = reader->Take(reader->U32());
  return encryption;
}

CodecEntry ReadCodec(RangeReader* reader) {
  CodecEntry codec;
  codec.type = reader->U16();
  codec.name = ReadUnits(reader, reader->U16());
  codec.description = ReadUnits(reader, reader->U16());
  codec.info = reader->Take(reader->U16());
  return codec;
}

Marker ReadMarker(RangeReader* reader) {
  constexpr std::size_t kEntryLengthBytes = 2, kFlagBytes = 4;
  Marker marker;
  marker.offset = reader->U64();
  marker.time = reader->U64();
  // The entry's length is off by its padding in some files: the description says.
  (void)reader->Take(kEntryLengthBytes);
  marker.sendTimeMs = reader->U32();
  (void)reader->Take(kFlagBytes);
  marker.description = ReadUnits(reader, reader->U32());
  return marker;
}

}  // namespace

void ReadLanguages(HeaderFiller* filler, ByteRange body) {
  RangeReader reader(**filler, body);
  const unsigned short count = reader.U16();
  ReadRecords(filler, &reader, count, &(*filler)->languages,
              [](RangeReader* language) { return language->Utf16(language->U8()); });
}

void ReadCodecs(HeaderFiller* filler, ByteRange body) {
  RangeReader reader(**filler, body);
  (void)reader.Id();
  const unsigned int count = reader.U32();
  ReadRecords(filler, &reader, count, &(*filler)->codecs, ReadCodec);
}

void ReadMarkers(HeaderFiller* filler, ByteRange body) {
  constexpr std::size_t kReservedBytes = 2;
  RangeReader reader(**filler, body);
  (void)reader.Id();
  const unsigned int count = reader.U32();
  (void)reader.Take(kReservedBytes);
  const std::string name = reader.Utf16(reader.U16());
  if (reader.fits()) (*filler)->markersName = name;
  ReadRecords(filler, &reader, count, &(*filler)->markers, ReadMarker);
}

void ReadCommands(HeaderFiller* filler, ByteRange body) {
  RangeReader reader(**filler, body);
  (void)reader.Id();
  const unsigned short count = reader.U16();
  const unsigned short typeCount = reader.U16();
  std::vector<std::string>* const types = &(*filler)->commandTypes;
  const std::size_t firstType = types->size();
  ReadRecords(filler, &reader, typeCount, types,
              [](RangeReader* type) { return ReadUnits(type, type->U16()); });
  if (types->size() - firstType < typeCount) return;
  ReadRecords(filler, &reader, count, &(*filler)->commands, [=](RangeReader* record) {
    ScriptCommand command;
    command.timeMs = record->U32();
    const unsigned short type = record->U16();
    command.type = type < typeCount ? firstType + type : types->size();
    command.text = ReadUnits(record, record->U16());
    return command;
  });
}

void ReadEncryption(HeaderFiller* filler, AsfObjectId id, ByteRange body) {
  RangeReader reader(**filler, body);
  std::vector<Encryption>* const list = &(*filler)->encryptions;
  const FileHeader& header = **filler;
  const unsigned int count = id == ID_ADVANCED_CONTENT_ENCRYPTION_OBJECT ? reader.U16() : 1;
  ReadRecords(filler, &reader, count, list, [id, &header](RangeReader* record) {
    switch (id) {
      case ID_CONTENT_ENCRYPTION_OBJECT:
        return ReadContentEncryption(record);
      case ID_EXTENDED_CONTENT_ENCRYPTION_OBJECT:
        return ReadExtendedEncryption(header, record);
      case ID_ADVANCED_CONTENT_ENCRYPTION_OBJECT:
        return ReadAdvancedEncryption(header, record);
      default:
        return ReadSignature(record);
    }
  });
}

}  // namespace qo_host
