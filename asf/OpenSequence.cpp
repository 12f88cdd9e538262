// Opening a file: from a byte source to the state in which tracks can be
// described and packets read.
#include "asf/ASFParser.h"
#include "asf/Log.h"

// One call of Open or OpenEx, which its messages name.
class ASFParser::Opening {
 public:
  Opening(ASFParser& parser, const char* operation) : m_Parser(parser), m_Operation(operation) {}

  int Run(IDataSource* source, int mode);

 private:
  void Attach(IDataSource* source);
  bool ParseExtension();
  void WalkTrailingObjects(int mode);
  void BuildTrackTable();
  bool TakeAsTrack(const media_data& entry);
  void AllocateTrackRecords();

  ASFParser& m_Parser;
  const char* const m_Operation;
};

int ASFParser::Open(IDataSource* source) {
  return m_Barrier.Run([=] { return Opening(*this, "Open").Run(source, 0); });
}

int ASFParser::OpenEx(IDataSource* source, int mode) {
  return m_Barrier.Run([=] { return Opening(*this, "OpenEx").Run(source, mode); });
}

int ASFParser::Opening::Run(IDataSource* source, int mode) {
  Attach(source);
  int status = m_Parser.ParseHeaderObjects();
  if (status < 0) return status;
  status = m_Parser.PreparseDataObjects();
  if (status < 0) return status;
  if (ParseExtension()) WalkTrailingObjects(mode);
  BuildTrackTable();
  if (!m_Parser.m_vSimpleIndex.empty()) m_Parser.m_pSimpleIndex = m_Parser.m_vSimpleIndex.front();
  static_cast<void>(m_Parser.SetDataPacketLen());  // a file without packets is opened all the same
  static_cast<void>(m_Parser.SetASFMetaData());    // always 0
  AllocateTrackRecords();
  return kParserOk;
}

void ASFParser::Opening::Attach(IDataSource* source) {
  // Nothing of an earlier Open may point into what this one replaces.
  m_Parser.ReleaseTrackRecords();
  m_Parser.ReleaseTags();
  m_Parser.m_pDataSource = source;
  m_Parser.m_bClosed = false;
  static_cast<void>(source->Open());
}

// False: there is an extension, and it can't be read.
bool ASFParser::Opening::ParseExtension() {
  if (m_Parser.m_objHeaderExtension.data == nullptr) return true;
  const bool failed = m_Parser.ParseHeaderExtensionObjects() < 0;
  LOG_TRACE("%s", failed ? "ParseHeaderExtensionObjects is failed"
                         : "ParseHeaderExtensionObjects is successed");
  return !failed;
}

// Ends at the first negative result, which is no failure of Open; and where an
// advance would not carry the 32-bit offset forward, for the walk would not end.
void ASFParser::Opening::WalkTrailingObjects(int mode) {
  unsigned int offset = 0;
  for (;;) {
    const int advance = m_Parser.ParseOtherObjects(offset, mode);
    LOG_TRACE("ParseOtherObjects offset %d ", advance);
    if (advance <= 0) return;
    if (__builtin_add_overflow(offset, static_cast<unsigned int>(advance), &offset)) return;
  }
}

// The first audio and the first video stream become the tracks; every other
// stream is dropped. A dropped stream keeps its entry in m_vMediaData, with the
// index that the next stream gets again. Kept so: track selection counts on
// positions in that sequence.
void ASFParser::Opening::BuildTrackTable() {
  auto& properties = m_Parser.m_vStreamProperties;
  auto& table = m_Parser.m_vMediaData;
  const std::size_t streams = properties.size();
  const std::size_t known = table.size();
  // All that can fail comes first, so that no half-built table is left behind.
  table.reserve(known + streams);
  for (std::size_t k = 0; k < streams; ++k) table.push_back(new media_data);

  int index = 0;  // of the next stream that is kept
  for (std::size_t k = 0; k < streams; ++k) {
    asf_stream_properties_object* stream = properties[k];
    media_data& entry = *table[known + k];
    entry.TrackIndex = index;
    entry.StreamNumber = stream->image.flags & 0x7F;
    entry.StreamType = stream->image.streamType;
    LOG_TRACE("[%s] open > loop(%d) trackindex(%d)", m_Parser.getName(), index, index);
    if (TakeAsTrack(entry)) {
      properties[index++] = stream;
    } else {
      LOG_ERROR("[%s] not support StreamType", m_Operation);
      Release(stream);
    }
  }
  properties.resize(index);
}

// Makes the stream of `entry` the current one of its kind, if there is none yet.
bool ASFParser::Opening::TakeAsTrack(const media_data& entry) {
  const auto take = [&entry](media_data* current, unsigned int* trackIndex) {
    if (current->TrackIndex != kNoTrack) return false;
    current->TrackIndex = entry.TrackIndex;
    current->StreamNumber = entry.StreamNumber;
    *trackIndex = entry.TrackIndex;
    return true;
  };
  if (entry.StreamType == GuidOf(ID_AUDIO_MEDIA)) {
    return take(&m_Parser.m_AudioData, &m_Parser.m_AudioTrackIndex);
  }
  if (entry.StreamType == GuidOf(ID_VIDEO_MEDIA)) {
    return take(&m_Parser.m_VideoData, &m_Parser.m_VideoTrackIndex);
  }
  return false;
}

void ASFParser::Opening::AllocateTrackRecords() {
  const std::size_t tracks = m_Parser.m_vStreamProperties.size();
  m_Parser.m_pExtraInterface = new AsfTrackExt();
  m_Parser.m_pTrackInfo = new TrackInfo[tracks]();
  m_Parser.m_TrackRecords = tracks;
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
