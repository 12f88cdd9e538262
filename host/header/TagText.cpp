// TagText: conversions without state. The parser's records are only looked at
// here, never kept.
#include "qo_host/TagText.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "asf/format/ByteReader.h"
#include "qo_host/Guid.h"

namespace qo_host {
namespace {

bool IsHighSurrogate(unsigned int unit) { return (unit & 0xFC00) == 0xD800; }
bool IsLowSurrogate(unsigned int unit) { return (unit & 0xFC00) == 0xDC00; }

void AppendUtf8(unsigned int point, std::string* out) {
  const auto put = [out](unsigned int byte) { out->push_back(static_cast<char>(byte)); };
  if (point < 0x80) {
    put(point);
  } else if (point < 0x800) {
    put(0xC0 | point >> 6);
    put(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    put(0xE0 | point >> 12);
    put(0x80 | (point >> 6 & 0x3F));
    put(0x80 | (point & 0x3F));
  } else {
    put(0xF0 | point >> 18);
    put(0x80 | (point >> 12 & 0x3F));
    put(0x80 | (point >> 6 & 0x3F));
    put(0x80 | (point & 0x3F));
  }
}

// Decodes up to the first NUL or the end of `reader`; false when there was no
// NUL.
bool ReadUtf16(ByteReader* reader, std::string* out) {
  unsigned short unit;
  unsigned int high = 0;  // a high surrogate that waits for its partner
  while (reader->ReadU16(&unit)) {
    if (high != 0 && IsLowSurrogate(unit)) {
      AppendUtf8(0x10000 + ((high & 0x3FF) << 10) + (unit & 0x3FFu), out);
      high = 0;
      continue;
    }
    if (high != 0) AppendUtf8(0xFFFD, out);
    high = IsHighSurrogate(unit) ? unit : 0;
    if (unit == 0) return true;
    if (high == 0) AppendUtf8(IsLowSurrogate(unit) ? 0xFFFD : unit, out);
  }
  if (high != 0) AppendUtf8(0xFFFD, out);
  return false;
}

// Bytes of a number; 0 for a type that is none.
std::size_t NumberWidth(unsigned short type) {
  switch (type) {
    case kMetaBool:
    case kMetaDword:
      return 4;
    case kMetaQword:
      return 8;
    case kMetaWord:
      return 2;
    default:
      return 0;
  }
}

// The bytes that a descriptor of type kMetaString or kMetaBytes points at.
const unsigned char* ValueBytes(const meta_descriptor& descriptor) {
  const unsigned char* address;
  static_assert(sizeof(address) <= sizeof(descriptor.value), "the field holds an address");
  std::memcpy(&address, descriptor.value, sizeof(address));
  return address;
}

}  // namespace

std::string Utf16ToUtf8(const unsigned char* text, std::size_t bytes) {
  ByteReader reader(text, bytes);
  std::string utf8;
  (void)ReadUtf16(&reader, &utf8);  // a missing terminator is no fault
  return utf8;
}

std::string GuidString(const Guid& id) {
  // Where the text takes its bytes from: the first three fields are little-endian.
  static constexpr unsigned char kOrder[] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const unsigned char at : kOrder) {
    text += kDigits[id.bytes[at] >> 4];
    text += kDigits[id.bytes[at] & 0x0F];
  }
  for (const std::size_t hyphen : {8, 13, 18, 23}) text.insert(hyphen, "-");
  return text;
}

const char* TagName(MetaDataType key) {
  switch (key) {
    case META_TITLE:
      return "title";
    case META_AUTHOR:
      return "author";
    case META_GENRE:
      return "genre";
    case META_GENRE_ID:
      return "genre id";
    case META_ARTIST:
      return "album artist";
    case META_ALBUM:
      return "album";
    case META_YEAR:
      return "year";
    case META_COMPOSER:
      return "composer";
    case META_TRACK_NUM:
      return "track number";
    case META_ALBUM_ART:
      return "picture";
  }
  return "tag";
}

TagValue DecodeTagValue(unsigned short type, const unsigned char* data, std::size_t size) {
  if (type == kMetaString) return {Utf16ToUtf8(data, size), 0};
  if (type == kMetaGuid && size == sizeof(Guid)) {
    Guid id;
    std::memcpy(&id, data, sizeof(id));
    return {GuidString(id), 0};
  }
  const std::size_t width = NumberWidth(type);
  unsigned char bytes[8] = {};
  (void)ByteReader(data, size).ReadBytes(bytes, std::min(width, size));
  const unsigned long long number = LoadLe64(bytes);
  if (type == kMetaBool) return {number != 0 ? "true" : "false", number != 0 ? 1u : 0u};
  return {width == 0 ? std::string() : std::to_string(number), number};
}

std::optional<Tag> MakeTag(const meta_descriptor& descriptor) {
  if (descriptor.length == 0) return std::nullopt;
  Tag tag{static_cast<MetaDataType>(descriptor.key), descriptor.type, "", 0, descriptor.length};
  TagValue value = {};
  if (const std::size_t width = NumberWidth(descriptor.type)) {
    value = DecodeTagValue(descriptor.type, descriptor.value, width);
  } else if (descriptor.type == kMetaString && ValueBytes(descriptor) != nullptr) {
    value = DecodeTagValue(descriptor.type, ValueBytes(descriptor), descriptor.length);
  }
  tag.text = std::move(value.text);
  tag.number = value.number;
  return tag;
}

std::optional<Picture> ParsePicture(const unsigned char* data, std::size_t size) {
  ByteReader reader(data, size);
  Picture picture;
  unsigned int length;
  if (!reader.ReadU8(&picture.type) || !reader.ReadU32(&length) ||
      !ReadUtf16(&reader, &picture.mimeType) || !ReadUtf16(&reader, &picture.description)) {
    return std::nullopt;
  }
  const unsigned char* image = reader.View(length);
  if (image == nullptr) return std::nullopt;
  picture.bytes.assign(image, image + length);
  return picture;
}

std::optional<Picture> MakePicture(const meta_descriptor& descriptor) {
  const bool isBytes = descriptor.type == kMetaBytes && descriptor.length != 0;
  const unsigned char* data = isBytes ? ValueBytes(descriptor) : nullptr;
  if (data == nullptr) return std::nullopt;
  return ParsePicture(data, descriptor.length);
}

}  // namespace qo_host
