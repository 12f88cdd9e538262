// The header object at the start of the file, and the objects in it.
//
// Reading is strictly sequential: an object that is handled is consumed by
// reading exactly its fields, and its declared size doesn't re-align the reader;
// only objects that are skipped are passed over by their size. Records stay
// attached to the parser as soon as they exist, so that Close finds them after a
// failure.
#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/GuidText.h"
#include "asf/format/Limits.h"

namespace {

// What it takes to turn a size into a relative seek that goes forward.
constexpr unsigned long long kSizeTooLargeToSkip = (1ull << 63) + sizeof(asf_object_header);

}  // namespace

// The header object, read once.
class ASFParser::HeaderWalk {
 public:
  explicit HeaderWalk(ASFParser& parser) : m_Parser(parser), m_Source(parser.Source()) {}

  // 0, or what ParseHeaderObjects says.
  int Run();

 private:
  int ParseObject(const asf_object_header& header);
  int ParseFileProperties(const asf_object_header& header);
  int ParseStreamProperties(const asf_object_header& header);
  int ParseHeaderExtension(const asf_object_header& header);
  int ParseContentDescription(const asf_object_header& header);
  int ParseExtendedContentDescription(const asf_object_header& header);
  void ReplaceExtendedContentDescription(const asf_object_header& header);
  int ParseContentDescriptor(asf_content_descriptor* descriptor);
  int ParseDescriptorHead(asf_content_descriptor* descriptor, unsigned short* valueLength);
  int ReadDescriptorValue(unsigned short length, asf_content_descriptor* descriptor);
  int SkipObject(const asf_object_header& header);
  int ReadBuffer(unsigned int size, unsigned int terminator, ByteBuffer* out);

  ASFParser& m_Parser;
  SourceReader m_Source;
  unsigned long long m_BufferBytes = 0;  // allocated so far; at most kMaxHeaderBytes
  // The extended content description in hand: the position of its last byte, and
  // whether a value would have run past it.
  unsigned long long m_DescriptionEnd = 0;
  bool m_Exceeded = false;
};

int ASFParser::ParseHeaderObjects() {
  return m_Barrier.Run([this] { return HeaderWalk(*this).Run(); });
}

int ASFParser::HeaderWalk::Run() {
  asf_header_object& header = m_Parser.m_objHeader;
  m_Parser.m_CurPos = 0;
  header = {};
  int status = m_Source.ReadAt(0, &header, sizeof(header));
  for (unsigned int k = 0; status >= 0 && k < header.headerObjects; ++k) {
    asf_object_header object;
    unsigned long long got;
    status = m_Source.Read(&object, sizeof(object), &got);
    if (status < 0) break;
    // The source ended: as if every object had been counted.
    if (got < sizeof(object)) return kParserOk;
    status = ParseObject(object);
  }
  return status < 0 ? status : kParserOk;
}

int ASFParser::HeaderWalk::ParseObject(const asf_object_header& header) {
  const unsigned long long size = header.objectSize;
  const std::optional<AsfObjectId> id = LookupGuid(header.objectId);
  if (!id) return SkipObject(header);
  switch (*id) {
    case ID_FILE_PROPERTIES_OBJECT:
      LOG_TRACE("ID_FILE_PROPERTIES_OBJECT size = %llu", size);
      return ParseFileProperties(header);
    case ID_STREAM_PROPERTIES_OBJECT:
      LOG_TRACE("ID_STREAM_PROPERTIES_OBJECT size = %llu", size);
      return ParseStreamProperties(header);
    case ID_HEADER_EXTENSION_OBJECT:
      LOG_TRACE("ID_HEADER_EXTENSION_OBJECT size = %llu", size);
      return ParseHeaderExtension(header);
    case ID_CONTENT_DESCRIPTION_OBJECT:
      LOG_TRACE("ID_CONTENT_DESCRIPTION_OBJECT size = %llu", size);
      return ParseContentDescription(header);
    case ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT:
      LOG_TRACE("ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT size = %llu", size);
      return ParseExtendedContentDescription(header);
    case ID_CONTENT_ENCRYPTION_OBJECT:
      LOG_TRACE("ID_CONTENT_ENCRYPTION_OBJECT size = %llu", size);
      LOG_ERROR("Microsoft WMDRM. not support.");
      return kParserUnsupported;
    default:
      return SkipObject(header);
  }
}

int ASFParser::HeaderWalk::ParseFileProperties(const asf_object_header& header) {
  m_Parser.m_objFileProperties.header = header;
  return m_Source.ReadBehindHeader(&m_Parser.m_objFileProperties);
}

int ASFParser::HeaderWalk::ParseStreamProperties(const asf_object_header& header) {
  auto stream = MakeRecord<asf_stream_properties_object>();
  stream->image.header = header;
  int status = m_Source.ReadBehindHeader(&stream->image);
  if (status < 0) return status;
  ByteBuffer data;
  status = ReadBuffer(stream->image.typeSpecificLength, 0, &data);
  if (status < 0) return status;
  stream->typeSpecificData = data.release();
  status = ReadBuffer(stream->image.errorCorrectionLength, 0, &data);
  if (status < 0) return status;
  stream->errorCorrectionData = data.release();
  m_Parser.m_vStreamProperties.push_back(stream.get());
  static_cast<void>(stream.release());
  return kParserOk;
}

int ASFParser::HeaderWalk::ParseHeaderExtension(const asf_object_header& header) {
  asf_header_extension_image image{};
  image.header = header;
  int status = m_Source.ReadBehindHeader(&image);
  if (status < 0) return status;
  ByteBuffer data;
  status = ReadBuffer(image.dataSize, 0, &data);
  if (status < 0) return status;
  // The data of an earlier extension stays allocated.
  asf_header_extension_object& extension = m_Parser.m_objHeaderExtension;
  KeepLeaked(extension.data);
  extension.image = image;
  extension.data = data.release();
  return kParserOk;
}

int ASFParser::HeaderWalk::ParseContentDescription(const asf_object_header& header) {
  auto description = MakeRecord<asf_content_description_object>();
  description->header = header;
  asf_content_description_object*& kept = m_Parser.m_objContentDescription;
  if (kept != nullptr) {
    LOG_WARNING("m_objContentDescription is already existed");
    // The replaced record stays allocated.
    KeepLeaked(kept);
    for (const unsigned char* string : kept->strings) KeepLeaked(string);
  }
  kept = description.release();
  unsigned short lengths[kContentStrings] = {};
  int status = m_Source.Read(lengths, sizeof(lengths));
  if (status < 0) return status;
  for (int k = 0; k < kContentStrings; ++k) {
    if (lengths[k] == 0) continue;
    ByteBuffer string;
    status = ReadBuffer(lengths[k], kTerminatorBytes, &string);
    if (status < 0) return status;
    kept->strings[k] = string.release();
    kept->lengths[k] = lengths[k];
  }
  if (kept->strings[kTitle] != nullptr) {
    LOG_TRACE("Title : %s", reinterpret_cast<char*>(kept->strings[kTitle]));
  }
  return kParserOk;
}

int ASFParser::HeaderWalk::ParseExtendedContentDescription(const asf_object_header& header) {
  unsigned long long position;
  int status = m_Source.Position(&position);
  if (status < 0) return status;
  const unsigned long long behindHeader = header.objectSize - sizeof(header);
  if (header.objectSize < sizeof(header) || position + behindHeader < position) {
    return kParserMalformed;
  }
  m_DescriptionEnd = position + behindHeader - 1;
  m_Exceeded = false;
  LOG_TRACE("ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT end pos = %llu", m_DescriptionEnd);

  ReplaceExtendedContentDescription(header);
  asf_extended_content_description_object& description = *m_Parser.m_pExtContentDescription;
  status = m_Source.Read(&description.count, sizeof(description.count));
  // Room is made as descriptors come: a count costs a file nothing.
  for (unsigned short k = 0; status >= 0 && !m_Exceeded && k < description.count; ++k) {
    status = ParseContentDescriptor(&description.descriptors.emplace_back());
  }
  return status < 0 ? status : kParserOk;
}

// What the tags point into outlives its place: the header may be read again under
// tags that a host still holds.
void ASFParser::HeaderWalk::ReplaceExtendedContentDescription(const asf_object_header& header) {
  auto description = MakeRecord<asf_extended_content_description_object>();
  description->header = header;
  asf_extended_content_description_object*& kept = m_Parser.m_pExtContentDescription;
  const bool isTagged = m_Parser.m_pMetaInfo != nullptr && m_Parser.m_pTaggedDescription == nullptr;
  if (isTagged) {
    m_Parser.m_pTaggedDescription = kept;
  } else {
    Release(kept);
  }
  kept = description.release();
}

// A value that would run past the object's end is left out, with a length of 0: the
// source then stands behind the object.
int ASFParser::HeaderWalk::ParseContentDescriptor(asf_content_descriptor* descriptor) {
  unsigned short length = 0;
  int status = ParseDescriptorHead(descriptor, &length);
  if (status < 0) return status;
  unsigned long long position;
  status = m_Source.Position(&position);
  if (status < 0) return status;
  const unsigned long long last = position + length - 1;
  if (m_DescriptionEnd < last) {
    LOG_ERROR("ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT exceed end pos = %llu", last);
    m_Exceeded = true;
    return m_Source.SeekTo(m_DescriptionEnd + 1);
  }
  status = ReadDescriptorValue(length, descriptor);
  if (status >= 0) descriptor->valueLength = length;
  return status;
}

// Reads what stands in front of a descriptor's value.
int ASFParser::HeaderWalk::ParseDescriptorHead(asf_content_descriptor* descriptor,
                                               unsigned short* valueLength) {
  unsigned short nameLength = 0;
  int status = m_Source.Read(&nameLength, sizeof(nameLength));
  if (status < 0) return status;
  ByteBuffer name;
  status = ReadBuffer(nameLength, 0, &name);
  if (status < 0) return status;
  descriptor->name = name.release();
  descriptor->nameLength = nameLength;
  status = m_Source.Read(&descriptor->valueType, sizeof(descriptor->valueType));
  if (status < 0) return status;
  return m_Source.Read(valueLength, sizeof(*valueLength));
}

// The fixed-width types read their own width, whatever length the file declares.
// Kept so: the objects behind would be read from another place.
int ASFParser::HeaderWalk::ReadDescriptorValue(unsigned short length,
                                               asf_content_descriptor* descriptor) {
  switch (descriptor->valueType) {
    case kMetaString:
      LOG_TRACE("[ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]string length: %d", length);
      break;
    case kMetaBytes:
      LOG_TRACE("[ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]Byte or Binary length: %d", length);
      break;
    case kMetaBool:
    case kMetaDword:
      LOG_TRACE("[ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]DWord or Bool length: %d", length);
      return m_Source.Read(&descriptor->value.number, 4);
    case kMetaQword:
      LOG_TRACE("[ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]QWord length: %d", length);
      return m_Source.Read(&descriptor->value.number, 8);
    case kMetaWord:
      LOG_TRACE("[ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]Word length: %d", length);
      return m_Source.Read(&descriptor->value.number, 2);
    default:
      LOG_TRACE(
          "[ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]this data type is not allowed, type: %d "
          "length: %d",
          descriptor->valueType, length);
      break;
  }
  ByteBuffer value;
  const int status = ReadBuffer(length, kTerminatorBytes, &value);
  descriptor->value.bytes = value.release();
  return status;
}

int ASFParser::HeaderWalk::SkipObject(const asf_object_header& header) {
  if (IsLogged(kTraceBit)) {
    const GuidText id(header.objectId);
    LOG_TRACE("ID_OTHERS id = %x %x %x %s, size = %llu", id.data1, id.data2, id.data3, id.data4,
              header.objectSize);
  }
  if (header.objectSize >= kSizeTooLargeToSkip) return kParserMalformed;
  return m_Source.Skip(header.objectSize > sizeof(header) ? header.objectSize - sizeof(header) : 0);
}

// Allocates a buffer of `size` bytes (and `terminator` zero bytes behind them) and
// reads `size` bytes into it. On a refused size or a failed read `*out` is empty.
int ASFParser::HeaderWalk::ReadBuffer(unsigned int size, unsigned int terminator, ByteBuffer* out) {
  out->reset();
  if (size > kMaxAllocBytes || size > kMaxHeaderBytes - m_BufferBytes) {
    LOG_ERROR("[%s] ParseHeaderObjects new[] alloc. size trouble (%u)", m_Parser.getName(), size);
    return kParserOutOfRange;
  }
  ByteBuffer buffer = AllocateBytes(size + terminator);
  std::memset(buffer.get() + size, 0, terminator);
  m_BufferBytes += size;
  const int status = m_Source.Read(buffer.get(), size);
  if (status >= 0) *out = std::move(buffer);
  return status;
}
