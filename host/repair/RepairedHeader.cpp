// RepairHeader: one pass over the header's objects, each of which is copied, written
// anew from its whole records, or left out.
#include "host/repair/RepairedHeader.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <optional>

#include "asf/format/ByteReader.h"
#include "asf/format/Limits.h"
#include "host/header/FileProperties.h"
#include "host/header/KnownGuid.h"

namespace qo_host {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kHead = sizeof(asf_object_header);
constexpr std::size_t kTextsOfContentDescription = 5;
constexpr unsigned int kMaxRecords = 0xFFFF;

void Append(const void* from, std::size_t size, Bytes* out) {
  const auto* const bytes = static_cast<const unsigned char*>(from);
  out->insert(out->end(), bytes, bytes + size);
}

Bytes MakeObject(const guid& id, const Bytes& body) {
  const asf_object_header head = {id, kHead + body.size()};
  Bytes object;
  Append(&head, sizeof(head), &object);
  Append(body.data(), body.size(), &object);
  return object;
}

// Whole records of one object or several, behind their 16-bit count.
class Records {
 public:
  void AddMetadata(ByteReader reader) {
    asf_description_record_image record;
    while (reader.ReadBytes(&record, sizeof(record))) {
      const std::size_t size = std::size_t{record.nameLength} + record.dataLength;
      const unsigned char* const rest = reader.View(size);
      if (rest == nullptr || !TakeRoom()) return;
      Append(&record, sizeof(record), &bytes_);
      Append(rest, size, &bytes_);
    }
  }

  // A number gets the width in which it is read.
  void AddContent(ByteReader reader) {
    unsigned short nameSize = 0, type = 0, size = 0;
    while (reader.ReadU16(&nameSize)) {
      const unsigned char* const name = reader.View(nameSize);
      if (name == nullptr || !reader.ReadU16(&type) || !reader.ReadU16(&size)) return;
      const unsigned char* const value = reader.View(size);
      if (value == nullptr || !TakeRoom()) return;
      const std::size_t number = NumberBytes(type);
      const auto width = static_cast<unsigned short>(number != 0 ? number : size);
      Append(&nameSize, sizeof(nameSize), &bytes_);
      Append(name, nameSize, &bytes_);
      Append(&type, sizeof(type), &bytes_);
      Append(&width, sizeof(width), &bytes_);
      const std::size_t end = bytes_.size() + width;
      Append(value, std::min(size, width), &bytes_);
      bytes_.resize(end);
    }
  }

  // Nothing where there are none: an empty one would end a walk.
  std::optional<Bytes> Make(AsfObjectId id) const {
    if (count_ == 0) return std::nullopt;
    Bytes body;
    Append(&count_, sizeof(unsigned short), &body);
    Append(bytes_.data(), bytes_.size(), &body);
    return MakeObject(GuidOf(id), body);
  }

 private:
  bool TakeRoom() { return count_ < kMaxRecords && ++count_ != 0; }

  Bytes bytes_;
  unsigned int count_ = 0;
};

class HeaderRepair {
 public:
  explicit HeaderRepair(const FileHeader& header) : header_(header) {}

  Bytes Make(const HeaderFacts& facts) {
    asf_header_object fixed = {};
    std::memcpy(&fixed, header_.bytes.data(), sizeof(fixed));
    out_.resize(sizeof(fixed));
    for (const HeaderObject& object : header_.objects) {
      if (object.depth == 0) Add(object);
    }
    fixed.header.objectSize = out_.size();
    fixed.headerObjects = count_;
    std::memcpy(out_.data(), &fixed, sizeof(fixed));
    PutProperties(facts);
    return std::move(out_);
  }

 private:
  void Add(const HeaderObject& object) {
    switch (KnownGuid(object.id).value_or(ID_PADDING_OBJECT)) {
      case ID_FILE_PROPERTIES_OBJECT:
        if (!IsFirst(object)) return;
        propertiesAt_ = out_.size();
        return Put(Bytes(sizeof(asf_file_properties_object)));
      case ID_STREAM_PROPERTIES_OBJECT:
        return PutIfAny(StreamOf(object));
      case ID_HEADER_EXTENSION_OBJECT:
        return IsFirst(object) ? AddExtension(object) : void();
      case ID_CONTENT_DESCRIPTION_OBJECT:
        return IsFirst(object) ? PutIfAny(ContentDescriptionOf(object)) : void();
      case ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT:
        return PutIfAny(RecordsOf(object));
      default:
        return Put(Copy(object));
    }
  }

  void Put(const Bytes& object) {
    Append(object.data(), object.size(), &out_);
    ++count_;
  }
  void PutIfAny(const std::optional<Bytes>& object) {
    if (object) Put(*object);
  }

  bool IsOfKind(const HeaderObject& a, const HeaderObject& b) const {
    return KnownGuid(a.id) && a.id == b.id && a.depth == b.depth;
  }
  bool IsFirst(const HeaderObject& object) const {
    const auto isOfKind = [&](const HeaderObject& other) { return IsOfKind(other, object); };
    const auto first = std::find_if(header_.objects.begin(), header_.objects.end(), isOfKind);
    return &*first == &object;
  }
  bool IsSingle(const HeaderObject& object) const {
    return std::count_if(header_.objects.begin(), header_.objects.end(),
                         [&](const auto& other) { return IsOfKind(other, object); }) == 1;
  }

  ByteReader BodyOf(const HeaderObject& object) const {
    return {header_.Data(object.range) + kHead,
            object.range.size - std::min(object.range.size, kHead)};
  }

  // As it stands; its size is what there is of it, and a count of records that are not
  // all there is that of those that are.
  Bytes Copy(const HeaderObject& object) const {
    const unsigned char* const bytes = header_.Data(object.range);
    Bytes copy(bytes, bytes + object.range.size);
    const unsigned long long size = copy.size();
    std::memcpy(copy.data() + offsetof(asf_object_header, objectSize), &size, sizeof(size));
    if (IsCut(object)) CorrectCount(object, &copy);
    return copy;
  }

  bool IsCut(const HeaderObject& object) const {
    return std::any_of(header_.problems.begin(), header_.problems.end(), [&](const auto& issue) {
      return issue.problem == HeaderProblem::kRecordCut &&
             issue.position - object.range.position <= object.range.size;
    });
  }

  // Only of a list that the header has one of: then its entries are known.
  void CorrectCount(const HeaderObject& object, Bytes* copy) const {
    struct Counted {
      AsfObjectId id;
      std::size_t position, width;
      std::size_t count;
    };
    constexpr std::size_t kBehindGuid = kHead + sizeof(guid);
    const Counted lists[] = {
        {ID_CODEC_LIST_OBJECT, kBehindGuid, 4, header_.codecs.size()},
        {ID_MARKER_OBJECT, kBehindGuid, 4, header_.markers.size()},
        {ID_SCRIPT_COMMAND_OBJECT, kBehindGuid, 2, header_.commands.size()},
        {ID_STREAM_BITRATE_PROPERTIES_OBJECT, kHead, 2, header_.bitrates.size()},
        {ID_LANGUAGE_LIST_OBJECT, kHead, 2, header_.languages.size()},
    };
    for (const Counted& list : lists) {
      const bool fits = list.position + list.width <= copy->size();
      if (KnownGuid(object.id) == list.id && fits && IsSingle(object)) {
        std::memcpy(copy->data() + list.position, &list.count, list.width);
      }
    }
  }

  std::optional<Bytes> StreamOf(const HeaderObject& object) const {
    if (IsReadAsMeant(header_, object)) return Copy(object);
    for (const StreamHeader& stream : header_.streams) {
      if (stream.position == object.range.position) return MakeStream(stream);
    }
    return std::nullopt;  // cut in its fixed fields
  }

  Bytes MakeStream(const StreamHeader& stream) const {
    const ByteRange specific = {stream.typeSpecific.position,
                                std::min<std::size_t>(stream.typeSpecific.size, kMaxAllocBytes)};
    const ByteRange correction = {
        stream.errorCorrection.position,
        std::min<std::size_t>(stream.errorCorrection.size, kMaxAllocBytes)};
    asf_stream_properties_image image;
    std::memcpy(&image, header_.bytes.data() + stream.position, sizeof(image));
    image.typeSpecificLength = static_cast<unsigned int>(specific.size);
    image.errorCorrectionLength = static_cast<unsigned int>(correction.size);
    const auto* const fields = reinterpret_cast<const unsigned char*>(&image);
    Bytes body(fields + kHead, fields + sizeof(image));
    Append(header_.Data(specific), specific.size, &body);
    Append(header_.Data(correction), correction.size, &body);
    return MakeObject(GuidOf(ID_STREAM_PROPERTIES_OBJECT), body);
  }

  // Five lengths, then the texts; one that is not all there goes, and what follows it.
  std::optional<Bytes> ContentDescriptionOf(const HeaderObject& object) const {
    if (IsReadAsMeant(header_, object)) return Copy(object);
    ByteReader reader = BodyOf(object);
    std::array<unsigned short, kTextsOfContentDescription> lengths;
    if (!reader.ReadBytes(lengths.data(), sizeof(lengths))) return std::nullopt;
    Bytes texts;
    bool fits = true;
    for (unsigned short& length : lengths) {
      const unsigned char* const text = fits ? reader.View(length) : nullptr;
      fits = text != nullptr;
      if (!fits) length = 0;
      if (length != 0) Append(text, length, &texts);
    }
    Bytes body;
    Append(lengths.data(), sizeof(lengths), &body);
    Append(texts.data(), texts.size(), &body);
    return MakeObject(GuidOf(ID_CONTENT_DESCRIPTION_OBJECT), body);
  }

  // The object where it is right and the only one; otherwise, in the place of the first,
  // all records of its kind.
  std::optional<Bytes> RecordsOf(const HeaderObject& object) const {
    const bool isContent = KnownGuid(object.id) == ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT;
    if (IsSingle(object) && IsReadAsMeant(header_, object)) return Copy(object);
    if (!IsFirst(object)) return std::nullopt;
    Records records;
    for (const HeaderObject& other : header_.objects) {
      if (!IsOfKind(other, object)) continue;
      ByteReader reader = BodyOf(other);
      if (!reader.Skip(sizeof(unsigned short))) continue;  // the count
      isContent ? records.AddContent(reader) : records.AddMetadata(reader);
    }
    return records.Make(*KnownGuid(object.id));
  }

  void AddExtension(const HeaderObject& object) {
    std::vector<Bytes> parts;
    for (const HeaderObject& part : header_.objects) {
      if (part.depth == 1 && part.size > kHead) AddPart(part, &parts);
    }
    const std::vector<Bytes> moved = TakeExcess(&parts);
    asf_header_extension_image image = {};
    std::memcpy(&image, header_.Data(object.range), std::min(object.range.size, sizeof(image)));
    Bytes body;
    for (const Bytes& part : parts) Append(part.data(), part.size(), &body);
    image.dataSize = static_cast<unsigned int>(body.size());
    const auto* const fields = reinterpret_cast<const unsigned char*>(&image);
    body.insert(body.begin(), fields + kHead, fields + sizeof(image));
    Put(MakeObject(GuidOf(ID_HEADER_EXTENSION_OBJECT), body));
    for (const Bytes& part : moved) Put(part);
  }

  void AddPart(const HeaderObject& part, std::vector<Bytes>* parts) const {
    const bool hasRecords =
        IsOneOf(KnownGuid(part.id), {ID_METADATA_OBJECT, ID_METADATA_LIBRARY_OBJECT});
    const std::optional<Bytes> bytes = hasRecords ? RecordsOf(part) : Copy(part);
    if (bytes) parts->push_back(*bytes);
  }

  // Takes out what is too much for the parser, and returns what of it is to be kept.
  static std::vector<Bytes> TakeExcess(std::vector<Bytes>* parts) {
    const auto isTooLong = [parts] {
      std::size_t size = 0;
      for (const Bytes& part : *parts) size += part.size();
      return size > kMaxAllocBytes;
    };
    const auto isPadding = [](const Bytes& part) {
      return std::memcmp(part.data(), &GuidOf(ID_PADDING_OBJECT), sizeof(guid)) == 0;
    };
    std::vector<Bytes> moved;
    if (isTooLong())
      parts->erase(std::remove_if(parts->begin(), parts->end(), isPadding), parts->end());
    while (isTooLong()) {
      const auto largest =
          std::max_element(parts->begin(), parts->end(),
                           [](const Bytes& a, const Bytes& b) { return a.size() < b.size(); });
      moved.push_back(std::move(*largest));
      parts->erase(largest);
    }
    return moved;
  }

  // A recording that has ended is no broadcast.
  void PutProperties(const HeaderFacts& facts) {
    if (propertiesAt_ == 0) return;
    asf_file_properties_object properties = MakeProperties(header_, facts);
    properties.flags = header_.properties->flags;
    if ((properties.flags & kBroadcast) != 0) {
      properties.flags = (properties.flags & ~kBroadcast) | kSeekable;
    }
    properties.fileSize = out_.size() + facts.tailSize;
    std::memcpy(out_.data() + propertiesAt_, &properties, sizeof(properties));
  }

  const FileHeader& header_;
  Bytes out_;
  unsigned int count_ = 0;        // objects in it
  std::size_t propertiesAt_ = 0;  // position of the file properties in it; 0: none
};

}  // namespace

std::vector<unsigned char> RepairHeader(const FileHeader& header, const HeaderFacts& facts) {
  return HeaderRepair(header).Make(facts);
}

}  // namespace qo_host
