// Opening a file: from a byte source to the state in which tracks can be
// described and packets read.
#include <algorithm>

#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/Arithmetic.h"
#include "asf/format/Limits.h"

int ASFParser::Open(IDataSource* source) {
  return m_Barrier.Run([=] { return OpenWithMode(source, 0, "Open"); });
}

int ASFParser::OpenEx(IDataSource* source, int mode) {
  return m_Barrier.Run([=] { return OpenWithMode(source, mode, "OpenEx"); });
}

int ASFParser::OpenWithMode(IDataSource* source, int mode, const char* operation) {
  // Nothing of an earlier Open may point into what this one replaces.
  ReleaseTrackRecords();
  Release(m_pMetaInfo);
  m_pMetaInfo = nullptr;
  m_pDataSource = source;
  m_bClosed = false;
  static_cast<void>(m_pDataSource->Open());
  int status = ParseHeaderObjects();
  if (status < 0) return status;
  status = PreparseDataObjects();
  if (status < 0) return status;

  bool extensionFailed = false;
  if (m_objHeaderExtension.data != nullptr) {
    extensionFailed = ParseHeaderExtensionObjects() < 0;
    LOG_TRACE("%s", extensionFailed ? "ParseHeaderExtensionObjects is failed"
                                    : "ParseHeaderExtensionObjects is successed");
  }
  if (!extensionFailed) WalkTrailingObjects(mode);
  BuildTrackTable(operation);
  if (!m_vSimpleIndex.empty()) m_pSimpleIndex = m_vSimpleIndex.front();
  static_cast<void>(SetDataPacketLen());  // a file without packets is opened all the same
  static_cast<void>(SetASFMetaData());    // always 0
  m_pExtraInterface = new AsfTrackExt();
  m_pTrackInfo = new TrackInfo[m_vStreamProperties.size()]();
  m_TrackRecords = m_vStreamProperties.size();
  return kParserOk;
}

int ASFParser::PreparseDataObjects() {
  return m_Barrier.Run([this] {
    m_CurPos = m_objHeader.header.objectSize;
    m_objDataObject = {};
    unsigned long long got;
    const int status = Source().ReadAt(m_CurPos, &m_objDataObject, sizeof(m_objDataObject), &got);
    if (status < 0) return status;
    m_StartPosOfDataPackets = m_CurPos + got;
    return kParserOk;
  });
}

// Ends at the first negative result, which is no failure of Open; and where an
// advance would not carry the 32-bit offset forward, for the walk would not end.
void ASFParser::WalkTrailingObjects(int mode) {
  unsigned int offset = 0;
  for (;;) {
    const int advance = ParseOtherObjects(offset, mode);
    LOG_TRACE("ParseOtherObjects offset %d ", advance);
    if (advance <= 0) return;
    if (__builtin_add_overflow(offset, static_cast<unsigned int>(advance), &offset)) return;
  }
}

// The first audio and the first video stream become the tracks; every other
// stream is dropped. A dropped stream keeps its entry in m_vMediaData, with the
// index that the next stream gets again: kept so, for track selection counts on
// positions in that sequence.
void ASFParser::BuildTrackTable(const char* operation) {
  const std::size_t streams = m_vStreamProperties.size();
  const std::size_t known = m_vMediaData.size();
  // All that can fail comes first, so that no half-built table is left behind.
  m_vMediaData.reserve(known + streams);
  for (std::size_t k = 0; k < streams; ++k) m_vMediaData.push_back(new media_data);

  int index = 0;  // of the next stream that is kept
  for (std::size_t k = 0; k < streams; ++k) {
    asf_stream_properties_object* stream = m_vStreamProperties[k];
    media_data& entry = *m_vMediaData[known + k];
    entry.TrackIndex = index;
    entry.StreamNumber = stream->image.flags & 0x7F;
    entry.StreamType = stream->image.streamType;
    LOG_TRACE("[%s] open > loop(%d) trackindex(%d)", getName(), index, index);
    if (TakeAsTrack(entry)) {
      m_vStreamProperties[index++] = stream;
    } else {
      LOG_ERROR("[%s] not support StreamType", operation);
      Release(stream);
    }
  }
  m_vStreamProperties.resize(index);
}

// Makes the stream of `entry` the current one of its kind, if there is none yet.
bool ASFParser::TakeAsTrack(const media_data& entry) {
  const auto take = [&entry](media_data* current, unsigned int* trackIndex) {
    if (current->TrackIndex != kNoTrack) return false;
    current->TrackIndex = entry.TrackIndex;
    current->StreamNumber = entry.StreamNumber;
    *trackIndex = entry.TrackIndex;
    return true;
  };
  if (entry.StreamType == GuidOf(ID_AUDIO_MEDIA)) return take(&m_AudioData, &m_AudioTrackIndex);
  if (entry.StreamType == GuidOf(ID_VIDEO_MEDIA)) return take(&m_VideoData, &m_VideoTrackIndex);
  return false;
}

int ASFParser::SetDataPacketLen() {
  return m_Barrier.Run([this] {
    m_CurPos = m_StartPosOfDataPackets;
    LOG_TRACE("[%s] in >> SetDataPacketLen  m_CurPos = (%llu) m_CurDataPacketLen = (%u)", getName(),
              m_CurPos, m_CurDataPacketLen);
    payload_parsing_info info{};
    SourceReader source = Source();
    const int status = ReadLengthTypeFlags(&source, &info);
    if (status < 0) return status;
    if (!AdoptPacketLen(source.ReadCoded(PacketLengthType(info.LengthTypeFlags)))) {
      LOG_ERROR("[%s] SetDataPacketLen : Wrong Pakcet Len Info.", getName());
    }
    LOG_TRACE("[%s] out >> SetDataPacketLen  m_CurDataPacketLen = (%u)", getName(),
              m_CurDataPacketLen);
    return 1;
  });
}
