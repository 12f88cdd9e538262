// FileHeader: reads a header's bytes and walks its objects and those of its extension.
// What single objects hold is read in HeaderObjects.cpp.
#include "qo_host/FileHeader.h"

#include <algorithm>
#include <array>

#include "asf/format/Arithmetic.h"
#include "asf/format/SourceReader.h"
#include "host/header/HeaderParts.h"
#include "host/header/KnownGuid.h"
#include "qo_host/BorrowedSource.h"

namespace qo_host {
namespace {

// Bytes. Most headers are read at once, a longer one by as much as is there already:
// so memory stays in proportion to what the file has.
constexpr std::size_t kFirstRead = 64 << 10;

// Where a walk over objects ends, and how deep they lie.
struct Area {
  unsigned long long end;  // file offset, as stated: there may be less
  unsigned char depth;
};

class HeaderReader {
 public:
  HeaderReader(IDataSource* source, FileHeader* header)
      : source_(source), header_(header), filler_(header) {}

  int Read() {
    if (ReadBeginning()) WalkHeader();
    header_->bytes.resize(std::min<unsigned long long>(header_->bytes.size(), end_));
    header_->bytes.shrink_to_fit();
    DropShadowedStreams();
    return status_;
  }

 private:
  // False when there is no header to walk.
  bool ReadBeginning() {
    asf_header_object fixed;
    const bool isThere = LoadRecord(0, &fixed);
    header_->isAsf = isThere && fixed.header.objectId == GuidOf(ID_HEADER_OBJECT);
    if (!header_->isAsf) {
      if (status_ >= 0) filler_.Note(HeaderProblem::kNotAsf, 0);
      return false;
    }
    header_->statedSize = fixed.header.objectSize;
    header_->statedCount = fixed.headerObjects;
    hasSize_ = header_->statedSize >= sizeof(fixed);
    if (!hasSize_) filler_.Note(HeaderProblem::kHeaderSize, 0);
    end_ = hasSize_ ? std::min(header_->statedSize, kMaxFileHeaderBytes) : kMaxFileHeaderBytes;
    return true;
  }

  void WalkHeader() {
    const std::size_t stopped = WalkObjects(sizeof(asf_header_object), {end_, 0});
    if (!hasSize_) end_ = stopped;
    if (stopped < end_) return;
    if (end_ == kMaxFileHeaderBytes) filler_.Note(HeaderProblem::kHeaderTooLong, end_);
    if (counted_ < header_->statedCount) filler_.Note(HeaderProblem::kCountTooLarge, 0);
  }

  // Up to the area's end, which it then returns, or to where it makes no sense to go
  // on.
  std::size_t WalkObjects(std::size_t position, const Area& area) {
    while (sizeof(asf_object_header) <= area.end - position) {
      const std::size_t next = ReadObject(position, area);
      if (next == position) return position;
      position = next;
    }
    if (position < area.end && area.end < kMaxFileHeaderBytes) {
      filler_.Note(HeaderProblem::kLooseBytes, position);
    }
    return area.end;
  }

  // The position behind the object, or its own where nothing behind it can be read.
  std::size_t ReadObject(std::size_t position, const Area& area) {
    asf_object_header fixed;
    if (!LoadRecord(position, &fixed)) {
      if (status_ >= 0) NoteCut();
      return position;
    }
    if (area.depth == 0 && EndsAtData(position, fixed)) return position;
    if (fixed.objectSize < sizeof(fixed)) {
      filler_.Note(HeaderProblem::kObjectSize, position);
      return position;
    }
    if (area.depth == 0) Count(position);
    if (!filler_.TakeRoom(position)) return position;

    const unsigned long long end = SaturatingAdd(position, fixed.objectSize);
    const Area inner = {std::min(end, area.end), static_cast<unsigned char>(area.depth + 1)};
    if (end > area.end && area.end < kMaxFileHeaderBytes) {
      filler_.Note(HeaderProblem::kObjectTooLong, position);
    }
    const bool whole = Load(inner.end);
    if (status_ < 0) return position;
    if (!whole) NoteCut();
    const std::size_t there = std::min<unsigned long long>(header_->bytes.size(), inner.end);
    const HeaderObject object = {
        KitGuid(fixed.objectId), fixed.objectSize, {position, there - position}, area.depth};
    header_->objects.push_back(object);
    ReadContents(object, inner);
    return whole ? inner.end : position;
  }

  bool EndsAtData(std::size_t position, const asf_object_header& fixed) {
    if (fixed.objectId != GuidOf(ID_DATA_OBJECT)) return false;
    if (hasSize_) filler_.Note(HeaderProblem::kDataInHeader, position);
    end_ = position;
    return true;
  }

  void Count(std::size_t position) {
    if (counted_++ == header_->statedCount) {
      filler_.Note(HeaderProblem::kCountTooSmall, position);
    }
  }

  // Those within others of their kind are not looked into: there is no end to that.
  void ReadContents(const HeaderObject& object, const Area& inner) {
    const std::size_t nested = ReadOwnContents(&filler_, object);
    if (nested != 0) WalkObjects(nested, inner);
  }

  // A stream of the header may be described in its extended stream properties as well.
  void DropShadowedStreams() {
    std::array<bool, kStreamNumberMask + 1> listed = {};
    for (const StreamHeader& stream : header_->streams) {
      if (!stream.hidden) listed[stream.number] = true;
    }
    std::vector<StreamHeader>& streams = header_->streams;
    streams.erase(std::remove_if(streams.begin(), streams.end(),
                                 [&listed](const StreamHeader& stream) {
                                   return stream.hidden && listed[stream.number];
                                 }),
                  streams.end());
  }

  // Once, for all that it cuts.
  void NoteCut() {
    if (!cut_) filler_.Note(HeaderProblem::kHeaderCut, header_->bytes.size());
    cut_ = true;
  }

  // Whether the file reaches to `end`; if so, its bytes are there afterwards.
  bool Load(unsigned long long end) {
    std::vector<unsigned char>& bytes = header_->bytes;
    while (bytes.size() < end && !ended_) {
      const std::size_t had = bytes.size();
      const std::size_t step =
          std::min<unsigned long long>(std::max(had, kFirstRead), kMaxFileHeaderBytes - had);
      bytes.resize(had + step);
      unsigned long long got = 0;
      status_ = source_.ReadAt(had, bytes.data() + had, step, &got);
      ended_ = status_ < 0 || got < step;
      bytes.resize(had + (status_ < 0 ? 0 : got));
    }
    return bytes.size() >= end;
  }

  template <typename Record>
  bool LoadRecord(std::size_t position, Record* record) {
    if (!Load(position + sizeof(*record))) return false;
    return RangeReader(*header_, {position, sizeof(*record)}).Read(record, sizeof(*record));
  }

  SourceReader source_;
  FileHeader* header_;
  HeaderFiller filler_;
  int status_ = 0;
  bool ended_ = false;  // there is nothing to be read behind the bytes so far
  bool cut_ = false;
  bool hasSize_ = false;            // the stated size is one that a header can have
  unsigned long long end_ = 0;      // of the header: its stated one, if that holds
  unsigned long long counted_ = 0;  // objects of the header itself
};

}  // namespace

void HeaderFiller::Note(HeaderProblem problem, std::size_t position) {
  header_->problems.push_back({problem, position});
}

bool HeaderFiller::TakeRoom(std::size_t position) {
  if (entries_ < kMaxHeaderEntries) {
    ++entries_;
    return true;
  }
  if (!full_) Note(HeaderProblem::kTooMany, position);
  full_ = true;
  return false;
}

ByteRange RangeReader::Take(unsigned long long size) {
  const ByteRange range = {position(), static_cast<std::size_t>(size)};
  return Keep(reader_.Skip(range.size)) ? range : ByteRange{range.position, 0};
}

ByteRange RangeReader::TakeUpTo(unsigned long long size) {
  return Take(std::min<unsigned long long>(size, remaining()));
}

std::string RangeReader::Utf16(unsigned long long bytes) {
  const ByteRange text = Take(bytes);
  return Utf16ToUtf8(header_.Data(text), text.size);
}

std::string RangeReader::Ascii(unsigned long long bytes) {
  const ByteRange text = Take(bytes);
  std::string out;
  for (std::size_t k = 0; k < text.size; ++k) {
    const unsigned char byte = header_.Data(text)[k];
    if (byte == 0) break;
    if (byte < 0x80) {
      out.push_back(static_cast<char>(byte));
    } else {
      out += "\xEF\xBF\xBD";
    }
  }
  return out;
}

const StreamHeader* FileHeader::Stream(unsigned char number) const {
  const auto found = std::find_if(streams.begin(), streams.end(),
                                  [number](const auto& stream) { return stream.number == number; });
  return found == streams.end() ? nullptr : &*found;
}

const ExtendedStream* FileHeader::Extended(unsigned char number) const {
  const auto found = std::find_if(extendedStreams.begin(), extendedStreams.end(),
                                  [number](const auto& stream) { return stream.number == number; });
  return found == extendedStreams.end() ? nullptr : &*found;
}

std::optional<unsigned int> FileHeader::Bitrate(unsigned char number) const {
  for (const StreamBitrate& bitrate : bitrates) {
    if (bitrate.stream == number) return bitrate.bitsPerSecond;
  }
  return std::nullopt;
}

unsigned long long FileHeader::TagNumber(unsigned char stream, const char* name) const {
  for (const unsigned char owner : {stream, static_cast<unsigned char>(0)}) {
    for (const HeaderTag& tag : tags) {
      if (tag.stream == owner && tag.name == name) return tag.number;
    }
  }
  return 0;
}

std::string FileHeader::Language(unsigned short index) const {
  return index < languages.size() ? languages[index] : std::string();
}

bool FileHeader::IsEncrypted() const {
  return std::any_of(encryptions.begin(), encryptions.end(),
                     [](const Encryption& encryption) {
                       return encryption.kind != EncryptionKind::kSignature;
                     }) ||
         std::any_of(streams.begin(), streams.end(),
                     [](const StreamHeader& stream) { return stream.encrypted; });
}

std::optional<Picture> FileHeader::PictureOf(const HeaderTag& tag) const {
  if (tag.type != kMetaBytes || tag.name != "WM/Picture") return std::nullopt;
  return ParsePicture(Data(tag.value), tag.value.size);
}

int ReadFileHeader(IDataSource* source, FileHeader* header) {
  *header = {};
  BorrowedSource borrowed(source);
  return HeaderReader(&borrowed, header).Read();
}

}  // namespace qo_host
