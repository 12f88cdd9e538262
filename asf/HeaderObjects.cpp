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

int ASFParser::ParseHeaderObjects() {
  return m_Barrier.Run([this] {
    m_CurPos = 0;
    m_objHeader = {};
    m_HeaderBytes = 0;
    int status = Source().ReadAt(0, &m_objHeader, sizeof(m_objHeader));
    for (unsigned int k = 0; status >= 0 && k < m_objHeader.headerObjects; ++k) {
      asf_object_header header;
      unsigned long long got;
      status = Source().Read(&header, sizeof(header), &got);
      if (status < 0) break;
      // The source ended: as if every object had been counted.
      if (got < sizeof(header)) return kParserOk;
      status = ParseHeaderObject(header);
    }
    return status < 0 ? status : kParserOk;
  });
}

int ASFParser::ParseHeaderObject(const asf_object_header& header) {
  const unsigned long long size = header.objectSize;
  const std::optional<AsfObjectId> id = LookupGuid(header.objectId);
  if (!id) return SkipHeaderObject(header);
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
      return SkipHeaderObject(header);
  }
}

int ASFParser::ParseFileProperties(const asf_object_header& header) {
  m_objFileProperties.header = header;
  return Source().Read(&m_objFileProperties.fileId, sizeof(m_objFileProperties) - sizeof(header));
}

int ASFParser::ParseStreamProperties(const asf_object_header& header) {
  auto stream = MakeRecord<asf_stream_properties_object>();
  stream->image.header = header;
  int status = Source().Read(&stream->image.streamType, sizeof(stream->image) - sizeof(header));
  if (status < 0) return status;
  ByteBuffer data;
  status = ReadHeaderBuffer(stream->image.typeSpecificLength, 0, &data);
  if (status < 0) return status;
  stream->typeSpecificData = data.release();
  status = ReadHeaderBuffer(stream->image.errorCorrectionLength, 0, &data);
  if (status < 0) return status;
  stream->errorCorrectionData = data.release();
  m_vStreamProperties.push_back(stream.get());
  static_cast<void>(stream.release());
  return kParserOk;
}

int ASFParser::ParseHeaderExtension(const asf_object_header& header) {
  asf_header_extension_image image{};
  image.header = header;
  int status = Source().Read(&image.reserved1, sizeof(image) - sizeof(header));
  if (status < 0) return status;
  ByteBuffer data;
  status = ReadHeaderBuffer(image.dataSize, 0, &data);
  if (status < 0) return status;
  // The data of an earlier extension stays allocated.
  KeepLeaked(m_objHeaderExtension.data);
  m_objHeaderExtension.image = image;
  m_objHeaderExtension.data = data.release();
  return kParserOk;
}

int ASFParser::ParseContentDescription(const asf_object_header& header) {
  auto description = MakeRecord<asf_content_description_object>();
  description->header = header;
  if (m_objContentDescription != nullptr) {
    LOG_WARNING("m_objContentDescription is already existed");
    // The replaced record stays allocated.
    KeepLeaked(m_objContentDescription);
    for (const unsigned char* string : m_objContentDescription->strings) KeepLeaked(string);
  }
  m_objContentDescription = description.release();
  unsigned short lengths[kContentStrings] = {};
  int status = Source().Read(lengths, sizeof(lengths));
  if (status < 0) return status;
  for (int k = 0; k < kContentStrings; ++k) {
    if (lengths[k] == 0) continue;
    ByteBuffer string;
    status = ReadHeaderBuffer(lengths[k], sizeof(unsigned short), &string);
    if (status < 0) return status;
    m_objContentDescription->strings[k] = string.release();
    m_objContentDescription->lengths[k] = lengths[k];
  }
  if (m_objContentDescription->strings[kTitle] != nullptr) {
    LOG_TRACE("Title : %s", reinterpret_cast<char*>(m_objContentDescription->strings[kTitle]));
  }
  return kParserOk;
}

int ASFParser::ParseExtendedContentDescription(const asf_object_header& header) {
  unsigned long long position;
  int status = Source().Position(&position);
  if (status < 0) return status;
  const unsigned long long behindHeader = header.objectSize - sizeof(header);
  if (header.objectSize < sizeof(header) || position + behindHeader < position) {
    return kParserMalformed;
  }
  const unsigned long long end = position + behindHeader - 1;
  LOG_TRACE("ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT end pos = %llu", end);

  auto description = MakeRecord<asf_extended_content_description_object>();
  description->header = header;
  Release(m_pExtContentDescription);
  m_pExtContentDescription = description.release();
  unsigned short* count = &m_pExtContentDescription->count;
  status = Source().Read(count, sizeof(*count));
  // Room is made as descriptors come: a count costs a file nothing.
  std::vector<asf_content_descriptor>& descriptors = m_pExtContentDescription->descriptors;
  bool exceeded = false;
  for (unsigned short k = 0; status >= 0 && !exceeded && k < *count; ++k) {
    status = ParseContentDescriptor(end, &descriptors.emplace_back(), &exceeded);
  }
  return status < 0 ? status : kParserOk;
}

// `end` is the position of the object's last byte. A value that would run past
// it is left out, with a length of 0, and `*exceeded` set: the reader then stands
// behind the object.
int ASFParser::ParseContentDescriptor(unsigned long long end, asf_content_descriptor* descriptor,
                                      bool* exceeded) {
  unsigned short nameLength = 0;
  int status = Source().Read(&nameLength, sizeof(nameLength));
  if (status < 0) return status;
  ByteBuffer name;
  status = ReadHeaderBuffer(nameLength, 0, &name);
  if (status < 0) return status;
  descriptor->name = name.release();
  descriptor->nameLength = nameLength;
  status = Source().Read(&descriptor->valueType, sizeof(descriptor->valueType));
  if (status < 0) return status;
  unsigned short length = 0;
  status = Source().Read(&length, sizeof(length));
  if (status < 0) return status;
  unsigned long long position;
  status = Source().Position(&position);
  if (status < 0) return status;
  const unsigned long long last = position + length - 1;
  if (end < last) {
    LOG_ERROR("ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT exceed end pos = %llu", last);
    *exceeded = true;
    return Source().SeekTo(end + 1);
  }
  status = ReadDescriptorValue(length, descriptor);
  if (status >= 0) descriptor->valueLength = length;
  return status;
}

// The fixed-width types read their own width, whatever length the file declares:
// kept so, for writers exist whose files are read by it.
int ASFParser::ReadDescriptorValue(unsigned short length, asf_content_descriptor* descriptor) {
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
      return Source().Read(&descriptor->value.number, 4);
    case kMetaQword:
      LOG_TRACE("[ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]QWord length: %d", length);
      return Source().Read(&descriptor->value.number, 8);
    case kMetaWord:
      LOG_TRACE("[ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]Word length: %d", length);
      return Source().Read(&descriptor->value.number, 2);
    default:
      LOG_TRACE(
          "[ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]this data type is not allowed, type: %d "
          "length: %d",
          descriptor->valueType, length);
      break;
  }
  ByteBuffer value;
  const int status = ReadHeaderBuffer(length, sizeof(unsigned short), &value);
  descriptor->value.bytes = value.release();
  return status;
}

int ASFParser::SkipHeaderObject(const asf_object_header& header) {
  if (IsLogged(kTraceBit)) {
    const GuidText id(header.objectId);
    LOG_TRACE("ID_OTHERS id = %x %x %x %s, size = %llu", id.data1, id.data2, id.data3, id.data4,
              header.objectSize);
  }
  if (header.objectSize >= kSizeTooLargeToSkip) return kParserMalformed;
  return Source().Skip(header.objectSize > sizeof(header) ? header.objectSize - sizeof(header) : 0);
}

// Allocates a buffer of `size` bytes (and `terminator` zero bytes behind them) and
// reads `size` bytes into it. On a refused size or a failed read `*out` is empty.
int ASFParser::ReadHeaderBuffer(unsigned int size, unsigned int terminator, ByteBuffer* out) {
  out->reset();
  if (size > kMaxAllocBytes || size > kMaxHeaderBytes - m_HeaderBytes) {
    LOG_ERROR("[%s] ParseHeaderObjects new[] alloc. size trouble (%u)", getName(), size);
    return kParserOutOfRange;
  }
  ByteBuffer buffer = AllocateBytes(size + terminator);
  std::memset(buffer.get() + size, 0, terminator);
  m_HeaderBytes += size;
  const int status = Source().Read(buffer.get(), size);
  if (status >= 0) *out = std::move(buffer);
  return status;
}
