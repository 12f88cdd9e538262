// The objects behind the data object, of which the simple index is kept.
#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/Arithmetic.h"
#include "asf/format/GuidText.h"
#include "asf/format/Limits.h"

namespace {

// Bits of the open mode that say that nothing behind the data is wanted.
constexpr int kSkipTrailingObjects = 6;

}  // namespace

// One object behind the data.
class ASFParser::TrailingObject {
 public:
  explicit TrailingObject(ASFParser& parser) : m_Parser(parser), m_Source(parser.Source()) {}

  // What ParseOtherObjects returns, for the object at m_CurPos.
  int Run();

 private:
  int ParseSimpleIndex();
  int ReadIndexEntries(asf_simple_index_object* index);
  int SkipObject(const asf_object_header& header);
  int CheckPosition(unsigned long long advance);

  ASFParser& m_Parser;
  SourceReader m_Source;
};

int ASFParser::ParseOtherObjects(unsigned long offset, int seekMode) {
  return m_Barrier.Run([=] {
    m_CurPos = SaturatingAdd(
        SaturatingAdd(m_objHeader.header.objectSize, m_objDataObject.header.objectSize), offset);
    LOG_TRACE("ParseOtherObjects  SeekMode(%d)", seekMode);
    if ((seekMode & kSkipTrailingObjects) != 0) return kParserUnsupported;
    return TrailingObject(*this).Run();
  });
}

int ASFParser::TrailingObject::Run() {
  const unsigned long long start = m_Parser.m_CurPos;
  unsigned long long size = 0;
  if (m_Parser.m_pDataSource->GetSize(&size) != 0) {
    LOG_ERROR("ParseOtherObjects No File Size");
    return kParserMalformed;
  }
  asf_object_header header;
  const unsigned long long behindHeader = SaturatingAdd(start, sizeof(header));
  if (behindHeader == kNowhere || behindHeader > size) {
    LOG_TRACE("ParseOtherObjects EOS m_CurPos + size = %llu mSize = %llu", behindHeader, size);
    return kParserEndOfStream;
  }
  const int status = m_Source.ReadAt(start, &header, sizeof(header));
  if (status < 0) {
    LOG_ERROR("ParseOtherObjects ReadAt Error m_CurPos=%llu", start);
    return status;
  }
  return header.objectId == GuidOf(ID_SIMPLE_INDEX_OBJECT) ? ParseSimpleIndex()
                                                           : SkipObject(header);
}

// The advance is the object header's length, not the object's: the next call takes
// the index's own bytes for an object, and in practice the walk ends there. Kept so:
// with another advance later indexes would be kept, and seeks would land elsewhere.
int ASFParser::TrailingObject::ParseSimpleIndex() {
  LOG_TRACE("ParseOtherObjects  ID_SIMPLE_INDEX_OBJECT");
  auto index = MakeRecord<asf_simple_index_object>();
  int status = m_Source.ReadBehindHeader(&index->image);
  if (status < 0) return status;
  status = ReadIndexEntries(index.get());
  if (status < 0) return status;
  m_Parser.m_vSimpleIndex.push_back(index.get());
  m_Parser.m_IndexBytes += index->image.entryCount * sizeof(asf_simple_index_entry);
  static_cast<void>(index.release());
  return CheckPosition(sizeof(asf_object_header));
}

int ASFParser::TrailingObject::ReadIndexEntries(asf_simple_index_object* index) {
  const unsigned long long bytes =
      static_cast<unsigned long long>(index->image.entryCount) * sizeof(asf_simple_index_entry);
  if (bytes > kMaxAllocBytes - m_Parser.m_IndexBytes) {
    LOG_ERROR("[%s] ParseOtherObjects new[] alloc. index size trouble (%llu)", m_Parser.getName(),
              bytes);
    return kParserOutOfRange;
  }
  index->entries = new asf_simple_index_entry[index->image.entryCount];
  for (unsigned int k = 0; k < index->image.entryCount; ++k) {
    const int status = m_Source.Read(&index->entries[k], sizeof(index->entries[k]));
    if (status < 0) return status;
  }
  return kParserOk;
}

int ASFParser::TrailingObject::SkipObject(const asf_object_header& header) {
  if (IsLogged(kTraceBit)) {
    const GuidText id(header.objectId);
    LOG_TRACE("ParseOtherObjects ID_OTHERS id = %x %x %x %s, size = %llu", id.data1, id.data2,
              id.data3, id.data4, header.objectSize);
  }
  if (header.objectSize < sizeof(header)) {
    LOG_ERROR("ParseOtherObjects  invalid header size - %llu", header.objectSize);
    return kParserMalformed;
  }
  const unsigned long long body = header.objectSize - sizeof(header);
  if (static_cast<long long>(body) < 0) {
    LOG_ERROR("[%s][%d line]offset is invalid value", "ParseOtherObjects", 2317);
    return kParserMalformed;
  }
  const int status = m_Source.Skip(body);
  if (status < 0) return status;
  return CheckPosition(header.objectSize);
}

// Ends the walk where the file ends, or returns the advance in 32 bits.
int ASFParser::TrailingObject::CheckPosition(unsigned long long advance) {
  unsigned long long position = 0;
  unsigned long long size = 0;
  static_cast<void>(m_Parser.m_pDataSource->GetPosition(&position));
  static_cast<void>(m_Parser.m_pDataSource->GetSize(&size));
  if (position == size) {
    LOG_TRACE("[%s] EndOfStream. pos=%llu/filelen=%llu", "ParseOtherObjects", position, position);
    return kParserEndOfStream;
  }
  if (position > size) {
    LOG_ERROR("ParseOtherObjects  pos error, pos=%llu/filelen=%llu", position, size);
    return kParserOutOfRange;
  }
  LOG_TRACE("ParseOtherObjects  tmp_header.Size %d ", static_cast<int>(advance));
  return static_cast<int>(advance);
}
