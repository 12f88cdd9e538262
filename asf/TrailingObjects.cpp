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

int ASFParser::ParseOtherObjects(unsigned long offset, int seekMode) {
  return m_Barrier.Run([=] {
    const unsigned long long end = SaturatingAdd(
        SaturatingAdd(m_objHeader.header.objectSize, m_objDataObject.header.objectSize), offset);
    m_CurPos = end;
    LOG_TRACE("ParseOtherObjects  SeekMode(%d)", seekMode);
    if ((seekMode & kSkipTrailingObjects) != 0) return kParserUnsupported;
    unsigned long long size = 0;
    if (m_pDataSource->GetSize(&size) != 0) {
      LOG_ERROR("ParseOtherObjects No File Size");
      return kParserMalformed;
    }
    asf_object_header header;
    const unsigned long long behindHeader = SaturatingAdd(m_CurPos, sizeof(header));
    if (behindHeader == kNowhere || behindHeader > size) {
      LOG_TRACE("ParseOtherObjects EOS m_CurPos + size = %llu mSize = %llu", behindHeader, size);
      return kParserEndOfStream;
    }
    const int status = Source().ReadAt(m_CurPos, &header, sizeof(header));
    if (status < 0) {
      LOG_ERROR("ParseOtherObjects ReadAt Error m_CurPos=%llu", m_CurPos);
      return status;
    }
    return header.objectId == GuidOf(ID_SIMPLE_INDEX_OBJECT) ? ParseSimpleIndex()
                                                             : SkipTrailingObject(header);
  });
}

// The advance is the object header's length, not the object's: the next call
// looks into the index and ends the walk there. Kept so: one index is found.
int ASFParser::ParseSimpleIndex() {
  LOG_TRACE("ParseOtherObjects  ID_SIMPLE_INDEX_OBJECT");
  auto index = MakeRecord<asf_simple_index_object>();
  int status =
      Source().Read(&index->image.fileId, sizeof(index->image) - sizeof(asf_object_header));
  if (status < 0) return status;
  status = ReadIndexEntries(index.get());
  if (status < 0) return status;
  m_vSimpleIndex.push_back(index.get());
  m_IndexBytes += index->image.entryCount * sizeof(asf_simple_index_entry);
  static_cast<void>(index.release());
  return CheckTrailingPosition(sizeof(asf_object_header));
}

int ASFParser::ReadIndexEntries(asf_simple_index_object* index) {
  const unsigned long long bytes =
      static_cast<unsigned long long>(index->image.entryCount) * sizeof(asf_simple_index_entry);
  if (bytes > kMaxAllocBytes - m_IndexBytes) {
    LOG_ERROR("[%s] ParseOtherObjects new[] alloc. index size trouble (%llu)", getName(), bytes);
    return kParserOutOfRange;
  }
  index->entries = new asf_simple_index_entry[index->image.entryCount];
  SourceReader source = Source();
  for (unsigned int k = 0; k < index->image.entryCount; ++k) {
    const int status = source.Read(&index->entries[k], sizeof(index->entries[k]));
    if (status < 0) return status;
  }
  return kParserOk;
}

int ASFParser::SkipTrailingObject(const asf_object_header& header) {
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
  const int status = Source().Skip(body);
  if (status < 0) return status;
  return CheckTrailingPosition(header.objectSize);
}

// Ends the walk where the file ends, or returns the advance in 32 bits.
int ASFParser::CheckTrailingPosition(unsigned long long advance) {
  unsigned long long position = 0;
  unsigned long long size = 0;
  static_cast<void>(m_pDataSource->GetPosition(&position));
  static_cast<void>(m_pDataSource->GetSize(&size));
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
