// AsfLayout: a walk over the file's objects by their sizes. It owns no state
// beyond the record that it fills.
#include "host/AsfLayout.h"

#include <algorithm>
#include <limits>

#include "asf/format/ByteReader.h"
#include "asf/format/SourceReader.h"
#include "asf/format/guid.h"

namespace host {
namespace {

constexpr unsigned long long kNoLimit = std::numeric_limits<unsigned long long>::max();
constexpr unsigned int kObjectHeaderBytes = 24;
constexpr unsigned int kHeaderObjectBytes = 30;
constexpr unsigned int kHeaderExtensionBytes = 46;
constexpr unsigned int kDataObjectBytes = 50;

unsigned long long SaturatingAdd(unsigned long long a, unsigned long long b) {
  return b <= kNoLimit - a ? a + b : kNoLimit;
}

// An object in the file.
struct Object {
  std::optional<AsfObjectId> id;
  unsigned long long offset = 0;
  unsigned long long size = 0;
};

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
  // Reads `size` bytes at `offset`, what is missing as 0. False when the source
  // failed or brought fewer than `needed`; a failure is kept in status_.
  bool ReadBytes(unsigned long long offset, unsigned char* out, unsigned int size,
                 unsigned int needed) {
    unsigned long long got = 0;
    if (status_ >= 0) status_ = reader_.ReadAt(offset, out, size, &got);
    return status_ >= 0 && got >= needed;
  }

  bool ReadObject(unsigned long long offset, Object* object) {
    unsigned char bytes[kObjectHeaderBytes];
    if (!ReadBytes(offset, bytes, sizeof(bytes), sizeof(bytes))) return false;
    guid id;
    std::copy(bytes, bytes + sizeof(id.bytes), id.bytes);
    object->id = LookupGuid(id);
    object->offset = offset;
    object->size = LoadLe64(bytes + sizeof(id.bytes));
    return true;
  }

  // Visits the objects between two offsets, `count` at most.
  template <typename Visit>
  void WalkObjects(unsigned long long begin, unsigned long long end, unsigned int count,
                   const char* where, Visit visit) {
    for (unsigned long long offset = begin; count != 0 && kObjectHeaderBytes <= end - offset;
         --count) {
      Object object;
      if (!ReadObject(offset, &object)) {
        Problem("the file ends in " + std::string(where));
        return;
      }
      if (object.size < kObjectHeaderBytes || object.size > end - offset) {
        Problem("an object of impossible size in " + std::string(where));
        return;
      }
      visit(object);
      offset += object.size;
    }
  }

  void Problem(const std::string& text) {
    if (layout_->problem.empty()) layout_->problem = text;
  }

  // False when there is no header to go by.
  bool ReadHeader() {
    unsigned char bytes[kHeaderObjectBytes];
    if (!ReadBytes(0, bytes, sizeof(bytes), sizeof(bytes)) ||
        !std::equal(bytes, bytes + sizeof(guid), GuidOf(ID_HEADER_OBJECT).bytes)) {
      Problem("the file does not begin with an ASF header");
      return false;
    }
    layout_->isAsf = true;
    layout_->headerSize = LoadLe64(bytes + 16);
    if (layout_->headerSize < kHeaderObjectBytes) {
      Problem("the header's size is impossible");
      return false;
    }
    WalkObjects(kHeaderObjectBytes, layout_->headerSize, LoadLe32(bytes + 24), "the header",
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
        WalkObjects(
            object.offset + std::min<unsigned long long>(kHeaderExtensionBytes, object.size),
            object.offset + object.size, std::numeric_limits<unsigned int>::max(),
            "the header extension", [this](const Object& inner) { ReadExtensionObject(inner); });
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
    unsigned char bytes[104];
    if (!ReadBytes(object.offset, bytes, sizeof(bytes), 1)) return;
    layout_->prerollMs = LoadLe64(bytes + 80);
    layout_->minPacketLength = LoadLe32(bytes + 92);
    layout_->maxPacketLength = LoadLe32(bytes + 96);
  }

  void ReadStream(const Object& object, bool hidden) {
    unsigned char bytes[78 + 31] = {};  // up to the FourCC of a video stream
    if (!ReadBytes(object.offset, bytes, sizeof(bytes), 78)) return;
    StreamLayout stream = {};
    guid type;
    std::copy(bytes + 24, bytes + 24 + sizeof(type.bytes), type.bytes);
    stream.kind = KindOf(LookupGuid(type));
    stream.hidden = hidden;
    stream.number = bytes[72] & 0x7F;
    stream.encrypted = (bytes[73] & 0x80) != 0;
    const unsigned int formatBytes = LoadLe32(bytes + 64);
    if (stream.kind == StreamKind::kAudio && formatBytes >= 2)
      stream.codecTag = LoadLe16(bytes + 78);
    if (stream.kind == StreamKind::kVideo && formatBytes >= 31) {
      stream.codecTag = LoadLe32(bytes + 78 + 27);
    }
    layout_->streams.push_back(stream);
  }

  // An extended stream properties object may end in the stream properties of a
  // stream that the header itself doesn't list.
  void ReadHiddenStream(const Object& object) {
    unsigned char bytes[88];
    if (!ReadBytes(object.offset, bytes, sizeof(bytes), sizeof(bytes))) return;
    const unsigned long long end = object.offset + object.size;
    unsigned long long offset = object.offset + sizeof(bytes);
    const auto skip = [&](unsigned int count, unsigned int fixedBytes, unsigned int lengthAt,
                          unsigned int lengthBytes) {
      for (; count != 0 && offset < end; --count) {
        unsigned char entry[22];
        if (!ReadBytes(offset, entry, fixedBytes, fixedBytes)) return;
        offset += fixedBytes;
        offset += lengthBytes == 2 ? LoadLe16(entry + lengthAt) : LoadLe32(entry + lengthAt);
      }
    };
    skip(LoadLe16(bytes + 84), 4, 2, 2);    // stream names: language, length
    skip(LoadLe16(bytes + 86), 22, 18, 4);  // payload extensions: GUID, size, length
    Object inner;
    if (offset < end && kObjectHeaderBytes <= end - offset && ReadObject(offset, &inner) &&
        inner.id == ID_STREAM_PROPERTIES_OBJECT) {
      ReadStream(inner, true);
    }
  }

  static StreamKind KindOf(std::optional<AsfObjectId> type) {
    switch (type.value_or(ID_HEADER_OBJECT)) {
      case ID_AUDIO_MEDIA:
        return StreamKind::kAudio;
      case ID_VIDEO_MEDIA:
        return StreamKind::kVideo;
      case ID_COMMAND_MEDIA:
        return StreamKind::kCommand;
      case ID_JFIF_MEDIA:
      case ID_DEGRADABLE_JPEG_MEDIA:
        return StreamKind::kImage;
      case ID_FILE_TRANSFER_MEDIA:
        return StreamKind::kFile;
      case ID_BINARY_MEDIA:
        return StreamKind::kBinary;
      default:
        return StreamKind::kOther;
    }
  }

  void MarkTrack(StreamKind kind) {
    for (StreamLayout& stream : layout_->streams) {
      if (stream.kind != kind || stream.hidden) continue;
      stream.isTrack = true;
      return;
    }
  }

  void ReadDataObject() {
    unsigned char bytes[kDataObjectBytes];
    if (!ReadBytes(layout_->headerSize, bytes, sizeof(bytes), sizeof(bytes))) {
      Problem("the file ends before its data");
      return;
    }
    layout_->hasDataObject = std::equal(bytes, bytes + sizeof(guid), GuidOf(ID_DATA_OBJECT).bytes);
    if (!layout_->hasDataObject) Problem("there is no data object behind the header");
    layout_->dataSize = LoadLe64(bytes + 16);
    layout_->packetsStart = SaturatingAdd(layout_->headerSize, kDataObjectBytes);
    if (layout_->dataSize > kDataObjectBytes) {
      ReadPacketLength();
    } else if (layout_->fileSize > layout_->packetsStart) {
      Problem("the data object says that it is empty, as in a live recording never finished");
    }
  }

  // The length that packet 0 states, brought within the bounds of the header, or
  // the lower bound where it states none. Two bytes of error correction data are
  // taken for granted, as everywhere.
  void ReadPacketLength() {
    unsigned char bytes[3 + 2];
    if (!ReadBytes(layout_->packetsStart, bytes, 1, 1)) return;
    const unsigned int skipped = (bytes[0] & 0x80) != 0 ? 3 : 1;
    if (!ReadBytes(layout_->packetsStart, bytes, skipped + 2, 0)) return;
    const unsigned int stated = reader_.ReadCoded(bytes[skipped] >> 5 & 3);
    layout_->packetLength = stated;
    if (stated > layout_->maxPacketLength) layout_->packetLength = layout_->maxPacketLength;
    if (stated < layout_->minPacketLength) layout_->packetLength = layout_->minPacketLength;
  }

  // The parser finds an index only where the source knows its size.
  void ReadTrailingObjects() {
    const unsigned long long end = layout_->fileSize.value_or(0);
    const bool hasData = layout_->hasDataObject && layout_->dataSize > kDataObjectBytes;
    if (!hasData || layout_->DataEnd() >= end) return;
    WalkObjects(layout_->DataEnd(), end, std::numeric_limits<unsigned int>::max(),
                "what lies behind the data", [this](const Object& object) {
                  if (object.id == ID_SIMPLE_INDEX_OBJECT && !layout_->simpleIndex)
                    ReadIndex(object);
                });
  }

  void ReadIndex(const Object& object) {
    unsigned char bytes[56];
    if (!ReadBytes(object.offset, bytes, sizeof(bytes), sizeof(bytes))) return;
    layout_->simpleIndex = IndexLayout{LoadLe32(bytes + 52), LoadLe64(bytes + 40)};
  }

  IDataSource* source_;
  SourceReader reader_;
  AsfLayout* layout_;
  int status_ = 0;
};

}  // namespace

const char* StreamKindName(StreamKind kind) {
  static constexpr const char* kNames[] = {"audio",         "video",  "command", "image",
                                           "file transfer", "binary", "other"};
  return kNames[static_cast<unsigned int>(kind)];
}

unsigned long long AsfLayout::DataEnd() const { return SaturatingAdd(headerSize, dataSize); }

unsigned long long AsfLayout::PacketsInData() const {
  if (packetsStart == 0 || packetsStart >= DataEnd()) return 0;
  if (packetLength == 0) return 1;
  return (DataEnd() - packetsStart - 1) / packetLength + 1;
}

unsigned long long AsfLayout::PacketsInFile() const {
  const unsigned long long end = std::min(DataEnd(), fileSize.value_or(kNoLimit));
  if (packetLength == 0 || end == kNoLimit) return PacketsInData();
  return packetsStart == 0 || packetsStart >= end ? 0 : (end - packetsStart) / packetLength;
}

bool AsfLayout::IsTruncated() const {
  return isAsf && std::max(DataEnd(), SaturatingAdd(headerSize, kDataObjectBytes)) >
                      fileSize.value_or(kNoLimit);
}

bool AsfLayout::IsEncrypted() const {
  return contentEncryption || extendedContentEncryption || advancedContentEncryption ||
         std::any_of(streams.begin(), streams.end(),
                     [](const StreamLayout& stream) { return stream.encrypted; });
}

int ReadLayout(IDataSource* source, AsfLayout* layout) {
  return LayoutReader(source, layout).Read();
}

}  // namespace host
