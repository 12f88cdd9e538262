// The objects that a FileHeader has nothing of: what ties streams to each other, indexes and
// what says how they were made.
#include <algorithm>
#include <iterator>
#include <string>

#include "host/header/HeaderParts.h"
#include "host/header/KnownGuid.h"
#include "host/tree/ObjectFields.h"

namespace qo_host {
namespace {

// Of the entries of an index, which may be many.
constexpr unsigned long long kEntriesShown = 16;

std::string EntryName(const char* what, unsigned long long index) {
  return what + (" " + std::to_string(index));
}

void AddStreams(RangeReader* reader, const std::string& name, FieldList* fields) {
  std::string list;
  for (unsigned int count = reader->U16(); count != 0; --count) {
    const unsigned short stream = reader->U16();
    if (!reader->fits()) break;
    list += (list.empty() ? "" : ", ") + std::to_string(stream);
  }
  fields->Text(name, list.empty() ? "none" : list);
}

void AddFurther(unsigned long long count, FieldList* fields) {
  if (count > kEntriesShown) fields->Number("further entries", count - kEntriesShown);
}

void DescribeSimpleIndex(RangeReader* reader, FieldList* fields) {
  fields->Id("file ID", reader->Id());
  fields->Time("interval", reader->U64());
  fields->Number("largest packet count", reader->U32());
  const unsigned int count = reader->U32();
  fields->Number("entries", count);
  for (unsigned int i = 0; i < count && i < kEntriesShown; ++i) {
    const unsigned int packet = reader->U32();
    const unsigned short packets = reader->U16();
    if (!reader->fits()) return;
    fields->Named(EntryName("entry", i), packet,
                  "packet " + std::to_string(packet) + ", " + std::to_string(packets) +
                      (packets == 1 ? " packet" : " packets") + " of the key frame");
  }
  AddFurther(count, fields);
}

void AddSpecifiers(RangeReader* reader, unsigned int count, FieldList* fields) {
  static constexpr const char* kTypes[] = {"nearest past data packet", "nearest past media object",
                                           "nearest past cleanpoint"};
  for (unsigned int i = 0; i < count; ++i) {
    const unsigned short stream = reader->U16();
    const unsigned short type = reader->U16();
    if (!reader->fits()) return;
    const bool isKnown = type >= 1 && type <= std::size(kTypes);
    fields->Text(
        EntryName("specifier", i),
        StreamText(stream) + ", " + (isKnown ? kTypes[type - 1] : "type " + std::to_string(type)));
  }
}

void AddBlocks(RangeReader* reader, unsigned int blocks, FieldList* fields) {
  fields->Number("blocks", blocks);
  if (blocks == 0) return;
  const unsigned int entries = reader->U32();
  if (reader->fits()) fields->Number("entries of the first block", entries);
}

void DescribeEntries(RangeReader* reader, FieldList* fields) {
  const unsigned short specifiers = reader->U16();
  const unsigned int blocks = reader->U32();
  AddSpecifiers(reader, specifiers, fields);
  AddBlocks(reader, blocks, fields);
}

void DescribeIndex(RangeReader* reader, FieldList* fields) {
  fields->Number("interval", reader->U32(), "ms");
  DescribeEntries(reader, fields);
}

void DescribeObjectIndex(RangeReader* reader, FieldList* fields) {
  fields->Number("interval", reader->U32(), "media objects");
  DescribeEntries(reader, fields);
}

void DescribeTimecodeIndex(RangeReader* reader, FieldList* fields) {
  (void)reader->U32();
  DescribeEntries(reader, fields);
}

void DescribeTimecodeParameters(RangeReader* reader, FieldList* fields) {
  AddSpecifiers(reader, reader->U16(), fields);
}

void DescribeIndexParameters(RangeReader* reader, FieldList* fields) {
  fields->Number("interval", reader->U32(), "ms");
  DescribeTimecodeParameters(reader, fields);
}

void DescribeObjectParameters(RangeReader* reader, FieldList* fields) {
  fields->Number("interval", reader->U32(), "media objects");
  DescribeTimecodeParameters(reader, fields);
}

void DescribeExclusion(RangeReader* reader, FieldList* fields) {
  fields->Id("exclusion", reader->Id());
  AddStreams(reader, "streams", fields);
}

void DescribeGroups(RangeReader* reader, FieldList* fields) {
  fields->Id("exclusion", reader->Id());
  const unsigned short count = reader->U16();
  for (unsigned int i = 0; i < count && reader->fits() && reader->remaining() != 0; ++i) {
    AddStreams(reader, EntryName("group", i), fields);
  }
}

void DescribePriorities(RangeReader* reader, FieldList* fields) {
  const unsigned short count = reader->U16();
  for (unsigned int i = 0; i < count; ++i) {
    const unsigned short stream = reader->U16();
    const unsigned short flags = reader->U16();
    if (!reader->fits()) return;
    fields->Text(EntryName("priority", i),
                 StreamText(stream) + ((flags & 1) != 0 ? ", mandatory" : ""));
  }
}

void DescribeSharing(RangeReader* reader, FieldList* fields) {
  fields->Id("sharing", reader->Id());
  fields->Number("bitrate", reader->U32(), "bit/s");
  fields->Number("buffer size", reader->U32(), "ms");
  AddStreams(reader, "streams", fields);
}

void DescribeErrorCorrection(RangeReader* reader, FieldList* fields) {
  fields->Id("type", reader->Id());
  fields->Number("data size", reader->U32(), "bytes");
}

void DescribeBranding(RangeReader* reader, FieldList* fields) {
  static constexpr const char* kTypes[] = {"none", "bitmap", "JPEG", "GIF"};
  const unsigned int type = reader->U32();
  fields->Named("banner", type, type < std::size(kTypes) ? kTypes[type] : std::to_string(type));
  const unsigned int size = reader->U32();
  fields->Number("banner size", size, "bytes");
  (void)reader->Take(size);
  fields->Text("banner URL", reader->Ascii(reader->U32()));
  fields->Text("copyright URL", reader->Ascii(reader->U32()));
}

void DescribeData(RangeReader* reader, FieldList* fields) {
  fields->Id("file ID", reader->Id());
  fields->Number("packets", reader->U64());
}

void DescribeCompatibility(RangeReader* reader, FieldList* fields) {
  fields->Number("profile", reader->U8());
  fields->Number("mode", reader->U8());
}

struct RareKind {
  AsfObjectId id;
  std::size_t fixedBytes;  // behind its header
  void (*describe)(RangeReader* reader, FieldList* fields);
};

constexpr RareKind kRareKinds[] = {
    {ID_DATA_OBJECT, 26, DescribeData},
    {ID_SIMPLE_INDEX_OBJECT, 32, DescribeSimpleIndex},
    {ID_INDEX_OBJECT, 10, DescribeIndex},
    {ID_MEDIA_OBJECT_INDEX_OBJECT, 10, DescribeObjectIndex},
    {ID_TIMECODE_INDEX_OBJECT, 10, DescribeTimecodeIndex},
    {ID_INDEX_PARAMETERS_OBJECT, 6, DescribeIndexParameters},
    {ID_MEDIA_OBJECT_INDEX_PARAMETERS_OBJECT, 6, DescribeObjectParameters},
    {ID_TIMECODE_INDEX_PARAMETERS_OBJECT, 2, DescribeTimecodeParameters},
    {ID_BITRATE_MUTUAL_EXCLUSION_OBJECT, 18, DescribeExclusion},
    {ID_ADVANCED_MUTUAL_EXCLUSION_OBJECT, 18, DescribeExclusion},
    {ID_GROUP_MUTUAL_EXCLUSION_OBJECT, 18, DescribeGroups},
    {ID_STREAM_PRIORITIZATION_OBJECT, 2, DescribePriorities},
    {ID_BANDWIDTH_SHARING_OBJECT, 26, DescribeSharing},
    {ID_ERROR_CORRECTION_OBJECT, 20, DescribeErrorCorrection},
    {ID_CONTENT_BRANDING_OBJECT, 16, DescribeBranding},
    {ID_COMPATIBILITY_OBJECT, 2, DescribeCompatibility},
};

}  // namespace

bool DescribeRareObject(const HeaderObject& object, HeaderFiller* filler, FieldList* fields) {
  const auto known = KnownGuid(object.id);
  const auto* const kind = std::find_if(std::begin(kRareKinds), std::end(kRareKinds),
                                        [&](const RareKind& row) { return known == row.id; });
  if (kind == std::end(kRareKinds)) return false;
  RangeReader reader(**filler, object.range);
  (void)reader.Take(sizeof(asf_object_header));
  const bool isCut = reader.remaining() < kind->fixedBytes;
  if (!isCut) kind->describe(&reader, fields);
  if (isCut || !reader.fits()) filler->Note(HeaderProblem::kRecordCut, object.range.position);
  return true;
}

}  // namespace qo_host
