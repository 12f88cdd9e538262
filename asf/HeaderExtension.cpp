// The objects in the header extension's data, of which the metadata and the
// metadata library object are kept.
#include <utility>

#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/ByteReader.h"

namespace {

constexpr const char* kOperation = "ParseHeaderExtensionObjects";

// A copy of `size` bytes with a terminator behind them.
ByteBuffer CopyBytes(const unsigned char* data, std::size_t size) {
  ByteBuffer copy = AllocateBytes(size + kTerminatorBytes);
  if (size != 0) std::memcpy(copy.get(), data, size);
  std::memset(copy.get() + size, 0, kTerminatorBytes);
  return copy;
}

// Copies one description record. kParserUnsupported when it doesn't fit in the
// extension's data. What was copied belongs to `record`.
int ParseDescriptionRecord(ByteReader* reader, asf_description_record* record) {
  asf_description_record_image& image = record->image;
  if (!reader->ReadBytes(&image, sizeof(image))) return kParserUnsupported;
  const unsigned char* name = reader->View(image.nameLength);
  if (name == nullptr) {
    LOG_ERROR("[%s] abnormal NameLen %d(line %d)", kOperation, image.nameLength, 2132);
    return kParserUnsupported;
  }
  LOG_TRACE("ParseHeaderExtensionObjects attribute Name length [%d]", image.nameLength);
  record->name = CopyBytes(name, image.nameLength & ~1u).release();
  LOG_TRACE("ParseHeaderExtensionObjects attribute [%s]", "");
  const unsigned char* data = reader->View(image.dataLength);
  if (data == nullptr) {
    LOG_ERROR("[%s] abnormal DataLen %d(line %d)", kOperation, static_cast<int>(image.dataLength),
              2152);
    return kParserUnsupported;
  }
  LOG_TRACE("ParseHeaderExtensionObjects attribute Data length [%d]",
            static_cast<int>(image.dataLength));
  record->data = CopyBytes(data, image.dataLength).release();
  return kParserOk;
}

// Reads the record count and the records of a metadata object into `object`,
// which has none afterwards when they can't be read. Bounds are those of the whole
// extension's data; the object's own size says nothing.
int ParseDescriptionRecords(ByteReader* reader, const asf_object_header& header,
                            asf_metadata_object* object) {
  unsigned short count;
  if (!reader->ReadU16(&count) || count == 0) return kParserUnsupported;
  LOG_TRACE("ParseHeaderExtensionObjects nDesRecords [%d]", count);
  auto filled = MakeRecord<asf_metadata_object>();
  filled->records = new asf_description_record[count]();
  filled->count = count;
  for (unsigned short k = 0; k < count; ++k) {
    const int status = ParseDescriptionRecord(reader, &filled->records[k]);
    if (status < 0) return status;
  }
  filled->header = header;
  std::swap(*object, *filled);
  return kParserOk;
}

}  // namespace

// The objects of the extension, one by one.
class ASFParser::ExtensionWalk {
 public:
  explicit ExtensionWalk(ASFParser& parser)
      : m_Parser(parser),
        m_Reader(parser.m_objHeaderExtension.data, parser.m_objHeaderExtension.image.dataSize) {}

  // 0, or what ParseHeaderExtensionObjects says.
  int Run();

 private:
  int ParseObject();
  int KeepMetadataObject(const asf_object_header& header, asf_metadata_object** kept);

  ASFParser& m_Parser;
  ByteReader m_Reader;
};

int ASFParser::ParseHeaderExtensionObjects() {
  return m_Barrier.Run([this] {
    LOG_TRACE("ParseHeaderExtensionObjects");
    if (m_objHeaderExtension.data == nullptr) return kParserMalformed;
    LOG_TRACE("ParseHeaderExtensionObjects HEDataSize %d",
              static_cast<int>(m_objHeaderExtension.image.dataSize));
    return ExtensionWalk(*this).Run();
  });
}

int ASFParser::ExtensionWalk::Run() {
  while (m_Reader.remaining() != 0) {
    const int status = ParseObject();
    if (status < 0) return status;
  }
  return kParserOk;
}

// Leaves the reader behind the object: behind the last record of one that is
// kept, whatever its size says; at the end where the size goes beyond it.
int ASFParser::ExtensionWalk::ParseObject() {
  const std::size_t start = m_Reader.position();
  asf_object_header header;
  LOG_TRACE("ParseHeaderExtensionObjects tmpSize %d", static_cast<int>(sizeof(header)));
  if (!m_Reader.ReadBytes(&header, sizeof(header))) return kParserMalformed;
  if (header.objectSize <= sizeof(header)) return kParserMalformed;
  LOG_TRACE("ParseHeaderExtensionObjects while offset %lld",
            static_cast<long long>(m_Reader.position()));
  const unsigned char id = findIdByGUID(header.objectId);
  LOG_TRACE("ParseHeaderExtensionObjects objectType %d", id);
  if (id == ID_METADATA_OBJECT) {
    LOG_TRACE("ParseHeaderExtensionObjects ID_METADATA_OBJECT");
    return KeepMetadataObject(header, &m_Parser.m_pMetadataObject);
  }
  if (id == ID_METADATA_LIBRARY_OBJECT) {
    LOG_TRACE("ParseHeaderExtensionObjects ID_METADATA_LIBRARY_OBJECT");
    return KeepMetadataObject(header, &m_Parser.m_pMetadataLibraryObject);
  }
  LOG_TRACE("ParseHeaderExtensionObjects default %llu", start + header.objectSize);
  const unsigned long long body = header.objectSize - sizeof(header);
  const bool fits = m_Reader.Skip(body < m_Reader.remaining() ? body : m_Reader.remaining());
  return fits ? kParserOk : kParserMalformed;
}

// A second object of a kind is refused; what was kept before it stays.
int ASFParser::ExtensionWalk::KeepMetadataObject(const asf_object_header& header,
                                                 asf_metadata_object** kept) {
  if (*kept != nullptr) return kParserInternal;
  *kept = MakeRecord<asf_metadata_object>().release();
  return ParseDescriptionRecords(&m_Reader, header, *kept);
}
