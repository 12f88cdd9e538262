// Tags as the host receives them.
//
// The records belong to the parser and point into its copies of the file's
// header objects: the host copies what it wants to keep beyond Close.
#ifndef QO_METAINFO_H
#define QO_METAINFO_H

#include <cstddef>

// The key of a tag.
enum MetaDataType : unsigned int {
  META_TITLE = 0,
  META_AUTHOR = 1,  // not among the nine tags of GetMetaInfo
  META_GENRE = 8,
  META_GENRE_ID = 9,
  META_ARTIST = 13,  // the album artist
  META_ALBUM = 14,
  META_YEAR = 16,
  META_COMPOSER = 17,
  META_TRACK_NUM = 18,
  META_ALBUM_ART = 19,  // the raw picture attribute: type, MIME type, description, picture
};

// The type of a tag's value.
constexpr unsigned short kMetaString = 0;  // UTF-16LE; a terminator may be missing, a length odd
constexpr unsigned short kMetaBytes = 1;   // bytes of any kind
constexpr unsigned short kMetaBool = 2;    // 4 bytes (2 in the metadata objects): 0 or 1
constexpr unsigned short kMetaDword = 3;   // 4 bytes, unsigned
constexpr unsigned short kMetaQword = 4;   // 8 bytes, unsigned
constexpr unsigned short kMetaWord = 5;    // 2 bytes, unsigned

#pragma pack(push, 1)

// One tag.
struct meta_descriptor {
  unsigned int key;        // a MetaDataType
  unsigned short type;     // one of the above; a value above 5 comes with a length but no value
  unsigned int length;     // of the value in the file, bytes; 0 = the file has no such tag
  unsigned char value[8];  // kMetaString, kMetaBytes: the address of `length` bytes inside the
                           // parser, valid until Close. Other types: the little-endian scalar at
                           // the start of the field, whatever `length` says
};

// The tags of a file. Returned by IParser::GetMetaInfo; valid until Close.
struct meta_info {
  unsigned short count;          // always 9: title, album, album artist, composer, track number,
                                 // genre, genre id, year, picture, in this order
  meta_descriptor* descriptors;  // `count` records
};

#pragma pack(pop)

static_assert(sizeof(meta_descriptor) == 18 && offsetof(meta_descriptor, key) == 0 &&
                  offsetof(meta_descriptor, type) == 4 && offsetof(meta_descriptor, length) == 6 &&
                  offsetof(meta_descriptor, value) == 10,
              "meta_descriptor crosses the library boundary");
static_assert(sizeof(meta_info) == 10 && offsetof(meta_info, count) == 0 &&
                  offsetof(meta_info, descriptors) == 2,
              "meta_info crosses the library boundary");

#endif  // QO_METAINFO_H
