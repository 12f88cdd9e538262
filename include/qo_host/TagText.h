// Tags as a person reads them: UTF-8 text, numbers, and cover art taken apart.
#ifndef QO_HOST_TAGTEXT_H
#define QO_HOST_TAGTEXT_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "qo_parser_asf/IParser.h"

namespace qo_host {

// `bytes` bytes of UTF-16LE at `text` (null only when `bytes` is 0) as UTF-8, up
// to the first NUL or the end, whichever comes first. Surrogates are paired; one
// without its partner becomes U+FFFD. An odd last byte is left out.
std::string Utf16ToUtf8(const unsigned char* text, std::size_t bytes);

constexpr unsigned short kMetaGuid = 6;  // a value's type beside those of MetaInfo.h: 16 bytes

// A value as it is read.
struct TagValue {
  std::string text;  // kMetaString: the text. Numbers: decimal; kMetaBool: "true" or "false";
                     // kMetaGuid: as above. kMetaBytes and unknown types: empty
  unsigned long long number;  // numbers and kMetaBool: the value; otherwise 0
};

// `size` bytes at `data` (null only when `size` is 0). A number has as many bytes as its
// type has, or fewer where there are fewer.
TagValue DecodeTagValue(unsigned short type, const unsigned char* data, std::size_t size);

// One tag, independent of the parser.
struct Tag {
  MetaDataType key;           // neither parser nor kit brings META_AUTHOR
  unsigned short type;        // kMetaString ... kMetaWord, or what else the file says
  std::string text;           // as in TagValue
  unsigned long long number;  // as in TagValue
  unsigned int length;        // of the value in the file, bytes; not 0
};

// The key's name: "title", "album", "album artist", "composer", "track number",
// "genre", "genre id", "year", "picture", "author"; "tag" for any other.
const char* TagName(MetaDataType key);

// The tag that `descriptor` holds; nothing when the file has no such tag.
std::optional<Tag> MakeTag(const meta_descriptor& descriptor);

// Cover art.
struct Picture {
  unsigned char type = 0;            // as in ID3v2's APIC: 0 = other, 3 = front cover, ...
  std::string mimeType;              // UTF-8, as the file says it; may be empty
  std::string description;           // UTF-8; mostly empty
  std::vector<unsigned char> bytes;  // of the image file
};

// Takes a picture attribute apart: type, length of the image, MIME type and
// description as terminated UTF-16LE, image. Nothing when a part is missing or
// the image is longer than the attribute.
std::optional<Picture> ParsePicture(const unsigned char* data, std::size_t size);

// The picture that `descriptor` holds; nothing when it is no byte array or
// cannot be taken apart.
std::optional<Picture> MakePicture(const meta_descriptor& descriptor);

}  // namespace qo_host

#endif  // QO_HOST_TAGTEXT_H
