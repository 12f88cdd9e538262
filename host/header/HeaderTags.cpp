// The tags of a header: content description, extended content description, metadata
// and metadata library.
#include <utility>

#include "host/header/HeaderParts.h"

namespace qo_host {
namespace {

// Reads the value, `size` bytes, of a tag that has the rest.
void ReadValue(RangeReader* reader, const FileHeader& header, unsigned int size, HeaderTag* tag) {
  tag->value = reader->Take(size);
  TagValue value = DecodeTagValue(tag->type, header.Data(tag->value), tag->value.size);
  tag->text = std::move(value.text);
  tag->number = value.number;
}

}  // namespace

void ReadContentDescription(HeaderFiller* filler, ByteRange body) {
  static constexpr const char* kNames[] = {"Title", "Author", "Copyright", "Description", "Rating"};
  RangeReader reader(**filler, body);
  unsigned short sizes[std::size(kNames)];
  for (unsigned short& size : sizes) size = reader.U16();
  std::vector<HeaderTag> all;
  std::size_t next = 0;
  ReadRecords(filler, &reader, std::size(kNames), &all, [&](RangeReader* value) {
    HeaderTag tag = {};
    tag.origin = TagOrigin::kContentDescription;
    tag.type = kMetaString;
    tag.name = kNames[next];
    ReadValue(value, **filler, sizes[next++], &tag);
    return tag;
  });
  // All five are always there, whether they say something or not.
  for (HeaderTag& tag : all) {
    if (!tag.text.empty()) (*filler)->tags.push_back(std::move(tag));
  }
}

void ReadExtendedContentDescription(HeaderFiller* filler, ByteRange body) {
  RangeReader reader(**filler, body);
  const unsigned short count = reader.U16();
  ReadRecords(filler, &reader, count, &(*filler)->tags, [filler](RangeReader* record) {
    HeaderTag tag = {};
    tag.origin = TagOrigin::kExtendedContentDescription;
    tag.name = record->Utf16(record->U16());
    tag.type = record->U16();
    ReadValue(record, **filler, record->U16(), &tag);
    return tag;
  });
}

void ReadMetadata(HeaderFiller* filler, ByteRange body, TagOrigin origin) {
  RangeReader reader(**filler, body);
  const unsigned short count = reader.U16();
  ReadRecords(filler, &reader, count, &(*filler)->tags, [filler, origin](RangeReader* record) {
    asf_description_record_image fixed = {};
    (void)record->Read(&fixed, sizeof(fixed));
    HeaderTag tag = {};
    tag.origin = origin;
    tag.type = fixed.dataType;
    tag.stream = fixed.streamNumber;
    tag.language = origin == TagOrigin::kMetadataLibrary ? fixed.languageIndex : 0;
    tag.name = record->Utf16(fixed.nameLength);
    ReadValue(record, **filler, fixed.dataLength, &tag);
    return tag;
  });
}

}  // namespace qo_host
