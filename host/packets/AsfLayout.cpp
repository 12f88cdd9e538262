// AsfLayout: a walk over the file's objects by their sizes. It owns no state
// beyond the record that it fills.
#include "qo_host/AsfLayout.h"

#include <algorithm>
#include <limits>

#include "asf/format/Arithmetic.h"
#include "asf/format/ByteReader.h"
#include "asf/format/PacketFields.h"
#include "asf/format/Records.h"
#include "asf/format/SourceReader.h"
#include "asf/format/guid.h"
#include "host/header/KnownGuid.h"
#include "qo_host/BorrowedSource.h"

namespace qo_host {
namespace {

// An object in the file.
struct Object {
  std::optional<AsfObjectId> id;
  unsigned long long offset = 0;
  unsigned long long size = 0;
};

// Stream properties and what tells a codec behind them: up to a video stream's
// FourCC.
struct StreamRecord {
  asf_stream_properties_image properties;
  unsigned char typeSpecific[offsetof(video_specific_data, compression) + sizeof(unsigned int)];
};
static_assert(sizeof(StreamRecord) == sizeof(asf_stream_properties_image) + 31, "no gap");

// The two kinds of entries behind the fixed part of extended stream properties.
struct EntryShape {
  unsigned int bytes;        // in front of what its length counts
  unsigned int lengthAt;     //
  unsigned int lengthBytes;  // 2 or 4
};
constexpr EntryShape kStreamName = {4, 2, 2};          // language, length
constexpr EntryShape kPayloadExtension = {22, 18, 4};  // GUID, size, length

// What a walk over objects may meet.
struct WalkProblems {
  LayoutProblem cut;
  LayoutProblem objectSize;
};
constexpr WalkProblems kHeaderProblems = {LayoutProblem::kHeaderCut,
                                          LayoutProblem::kHeaderObjectSize};
constexpr WalkProblems kExtensionProblems = {LayoutProblem::kExtensionCut,
                                             LayoutProblem::kExtensionObjectSize};
constexpr WalkProblems kTrailingProblems = {LayoutProblem::kTrailingCut,
                                            LayoutProblem::kTrailingObjectSize};

class LayoutReader {
 public:
  LayoutReader(IDataSource* source, AsfLayout* layout)
      : source_(source), reader_(source), layout_(layout) {}

  int Read() {
    unsigned long long size = 0;
    if (source_->GetSize(&size) == 0) layout_->fileSize = size;
    if (ReadHeader()) {
      ReadDataObject();
      ReadTrailingObjects();
    }
    return status_ < 0 ? status_ : 0;
  }

 private:
  // Reads the record at `offset`, what is missing of it as 0. False when the source
  // failed or brought fewer than `needed` bytes; a failure is kept in status_.
  template <typename Record>
  bool ReadRecord(unsigned long long offset, Record* record, unsigned long long needed) {
    unsigned long long got = 0;
    if (status_ >= 0) status_ = reader_.ReadAt(offset, record, sizeof(*record), &got);
    return status_ >= 0 && got >= needed;
  }
  template <typename Record>
  bool ReadWhole(unsigned long long offset, Record* record) {
    return ReadRecord(offset, record, sizeof(*record));
  }

  bool ReadObject(unsigned long long offset, Object* object) {
    asf_object_header header;
    if (!ReadWhole(offset, &header)) return false;
    *object = {LookupGuid(header.objectId), offset, header.objectSize};
    return true;
  }

  // Visits the objects between two offsets, `count` at most.
  template <typename Visit>
  void WalkObjects(unsigned long long begin, unsigned long long end, unsigned int count,
                   const WalkProblems& problems, Visit visit) {
    for (unsigned long long offset = begin; count != 0 && sizeof(asf_object_header) <= end - offset;
         --count) {
      Object object;
      if (!ReadObject(offset, &object)) {
        Problem(problems.cut);
        return;
      }
      if (object.size < sizeof(asf_object_header) || object.size > end - offset) {
        Problem(problems.objectSize);
        return;
      }
      visit(object);
      offset += object.size;
    }
  }

  void Problem(LayoutProblem problem) {
    if (layout_->problem == LayoutProblem::kNone) layout_->problem = problem;
  }

  // False when there is no header to go by.
  bool ReadHeader() {
    asf_header_object header;
    if (!ReadWhole(0, &header) || header.header.objectId != GuidOf(ID_HEADER_OBJECT)) {
      Problem(LayoutProblem::kNotAsf);
      return false;
    }
    layout_->isAsf = true;
    layout_->headerSize = header.header.objectSize;
    if (layout_->headerSize < sizeof(header)) {
      Problem(LayoutProblem::kHeaderSize);
      return false;
    }
    WalkObjects(sizeof(header), layout_->headerSize, header.headerObjects, kHeaderProblems,
                [this](const Object& object) { ReadHeaderObject(object); });
    MarkTrack(StreamKind::kAudio);
    MarkTrack(StreamKind::kVideo);
    return true;
  }

  void ReadHeaderObject(const Object& object) {
    if (!object.id) return;
    switch (*object.id) {
      case ID_FILE_PROPERTIES_OBJECT:
        ReadFileProperties(object);
        break;
      case ID_STREAM_PROPERTIES_OBJECT:
        ReadStream(object, false);
        break;
      case ID_HEADER_EXTENSION_OBJECT:
        WalkObjects(object.offset + std::min<unsigned long long>(sizeof(asf_header_extension_image),
                                                                 object.size),
                    object.offset + object.size, std::numeric_limits<unsigned int>::max(),
                    kExtensionProblems,
                    [this](const Object& inner) { ReadExtensionObject(inner); });
        break;
      default:
        NoteEncryption(*object.id);
    }
  }

  void ReadExtensionObject(const Object& object) {
    if (!object.id) return;
    NoteEncryption(*object.id);
    if (*object.id == ID_EXTENDED_STREAM_PROPERTIES_OBJECT) ReadHiddenStream(object);
  }

  void NoteEncryption(AsfObjectId id) {
    layout_->contentEncryption |= id == ID_CONTENT_ENCRYPTION_OBJECT;
    layout_->extendedContentEncryption |= id == ID_EXTENDED_CONTENT_ENCRYPTION_OBJECT;
    layout_->advancedContentEncryption |= id == ID_ADVANCED_CONTENT_ENCRYPTION_OBJECT;
  }

  void ReadFileProperties(const Object& object) {
    asf_file_properties_object properties;
    if (!ReadRecord(object.offset, &properties, 1)) return;
    layout_->prerollMs = properties.preroll;
    layout_->minPacketLength = properties.minPacketSize;
    layout_->maxPacketLength = properties.maxPacketSize;
  }

  void ReadStream(const Object& object, bool hidden) {
    StreamRecord record;
    if (!ReadRecord(object.offset, &record, sizeof(record.properties))) return;
    const asf_stream_properties_image& properties = record.properties;
    StreamLayout stream = {};
    stream.kind = KindOfStream(KitGuid(properties.streamType));
    stream.hidden = hidden;
    stream.number = properties.flags & kStreamNumberMask;
    stream.encrypted = (properties.flags & kStreamEncrypted) != 0;
    stream.codecTag = CodecTag(stream.kind, record);
    layout_->streams.push_back(stream);
  }

  // 0 where the type-specific data does not reach so far.
  static unsigned int CodecTag(StreamKind kind, const StreamRecord& record) {
    const unsigned char* data = record.typeSpecific;
    constexpr std::size_t kTagEnd = sizeof(audio_specific_data::formatTag);
    constexpr std::size_t kFourCcEnd = sizeof(record.typeSpecific);
    const unsigned int length = record.properties.typeSpecificLength;
    if (kind == StreamKind::kAudio && length >= kTagEnd) return LoadLe16(data);
    if (kind == StreamKind::kVideo && length >= kFourCcEnd) return LoadLe32(data + kFourCcEnd - 4);
    return 0;
  }

  // An extended stream properties object may end in the stream properties of a
  // stream that the header itself doesn't list.
  void ReadHiddenStream(const Object& object) {
    asf_extended_stream_properties_image fixed;
    if (!ReadWhole(object.offset, &fixed)) return;
    const unsigned long long end = object.offset + object.size;
    unsigned long long offset = object.offset + sizeof(fixed);
    offset = SkipEntries(offset, end, fixed.nameCount, kStreamName);
    offset = SkipEntries(offset, end, fixed.payloadExtensionCount, kPayloadExtension);
    Object inner;
    if (offset < end && sizeof(asf_object_header) <= end - offset && ReadObject(offset, &inner) &&
        inner.id == ID_STREAM_PROPERTIES_OBJECT) {
      ReadStream(inner, true);
    }
  }

  // The offset behind `count` entries, or one where they end or cannot be read.
  unsigned long long SkipEntries(unsigned long long offset, unsigned long long end,
                                 unsigned int count, const EntryShape& shape) {
    unsigned char entry[kPayloadExtension.bytes];
    for (; count != 0 && offset < end; --count) {
      if (!ReadRecord(offset, &entry, shape.bytes)) return offset;
      const unsigned char* length = entry + shape.lengthAt;
      offset += shape.bytes;
      offset += shape.lengthBytes == 2 ? LoadLe16(length) : LoadLe32(length);
    }
    return offset;
  }

  void MarkTrack(StreamKind kind) {
    for (StreamLayout& stream : layout_->streams) {
      if (stream.kind != kind || stream.hidden) continue;
      stream.isTrack = true;
      return;
    }
  }

  void ReadDataObject() {
    asf_data_object data;
    if (!ReadWhole(layout_->headerSize, &data)) {
      Problem(LayoutProblem::kDataCut);
      return;
    }
    layout_->hasDataObject = data.header.objectId == GuidOf(ID_DATA_OBJECT);
    if (!layout_->hasDataObject) Problem(LayoutProblem::kNoDataObject);
    layout_->dataSize = data.header.objectSize;
    layout_->packetsStart = SaturatingAdd(layout_->headerSize, sizeof(data));
    if (layout_->dataSize > sizeof(asf_data_object)) {
      ReadPacketLength();
    } else if (layout_->fileSize > layout_->packetsStart) {
      Problem(LayoutProblem::kDataEmpty);
    }
  }

  // The length that packet 0 states, brought within the bounds of the header, or
  // the lower bound where it states none. Two bytes of error correction data are
  // taken for granted, as everywhere.
  void ReadPacketLength() {
    unsigned char packet[kErrorCorrectionBytes + 2 + sizeof(unsigned int)];
    if (!ReadRecord(layout_->packetsStart, &packet, 1)) return;
    const bool isGranted = (packet[0] & kErrorCorrectionPresent) != 0;
    const unsigned char* flags = packet + (isGranted ? kErrorCorrectionBytes : 1);
    const unsigned int stated =
        ByteReader(flags + 2, sizeof(unsigned int)).ReadCoded(PacketLengthType(*flags));
    layout_->packetLength =
        BoundedPacketLength(stated, layout_->minPacketLength, layout_->maxPacketLength);
  }

  // The parser finds an index only where the source knows its size.
  void ReadTrailingObjects() {
    const unsigned long long end = layout_->fileSize.value_or(0);
    const bool hasData = layout_->hasDataObject && layout_->dataSize > sizeof(asf_data_object);
    if (!hasData || layout_->DataEnd() >= end) return;
    WalkObjects(layout_->DataEnd(), end, std::numeric_limits<unsigned int>::max(),
                kTrailingProblems, [this](const Object& object) {
                  if (object.id == ID_SIMPLE_INDEX_OBJECT && !layout_->simpleIndex)
                    ReadIndex(object);
                });
  }

  void ReadIndex(const Object& object) {
    asf_simple_index_image index;
    if (!ReadWhole(object.offset, &index)) return;
    layout_->simpleIndex = IndexLayout{index.entryCount, index.entryInterval};
  }

  IDataSource* source_;
  SourceReader reader_;
  AsfLayout* layout_;
  int status_ = 0;
};

}  // namespace

unsigned long long AsfLayout::DataEnd() const { return SaturatingAdd(headerSize, dataSize); }

unsigned long long AsfLayout::PacketPosition(unsigned long long number) const {
  return SaturatingAdd(packetsStart, SaturatingMultiply(number, packetLength));
}

unsigned long long AsfLayout::PacketAt(unsigned long long offset) const {
  if (packetLength == 0 || offset < packetsStart) return 0;
  return (offset - packetsStart) / packetLength;
}

unsigned long long AsfLayout::PacketsInData() const {
  if (packetsStart == 0 || packetsStart >= DataEnd()) return 0;
  if (packetLength == 0) return 1;
  return (DataEnd() - packetsStart - 1) / packetLength + 1;
}

unsigned long long AsfLayout::PacketsInFile() const {
  const unsigned long long end = std::min(DataEnd(), fileSize.value_or(kNowhere));
  if (packetLength == 0 || end == kNowhere) return PacketsInData();
  return packetsStart == 0 || packetsStart >= end ? 0 : (end - packetsStart) / packetLength;
}

bool AsfLayout::IsTruncated() const {
  return isAsf && std::max(DataEnd(), SaturatingAdd(headerSize, sizeof(asf_data_object))) >
                      fileSize.value_or(kNowhere);
}

bool AsfLayout::IsEncrypted() const {
  return contentEncryption || extendedContentEncryption || advancedContentEncryption ||
         std::any_of(streams.begin(), streams.end(),
                     [](const StreamLayout& stream) { return stream.encrypted; });
}

int ReadLayout(IDataSource* source, AsfLayout* layout) {
  *layout = {};
  BorrowedSource borrowed(source);
  return LayoutReader(&borrowed, layout).Read();
}

}  // namespace qo_host
