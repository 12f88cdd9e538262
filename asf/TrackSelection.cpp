// Track selection: points the current audio or video record at another stream.
//
// The cursors, the access unit tables and the end marks stay as they are: delivery
// checks every unit against the object in hand, and a host that wants the new
// stream at the current time seeks afterwards.
#include "asf/ASFParser.h"
#include "asf/Log.h"

// Selection of one kind.
class ASFParser::TrackSelector {
 public:
  TrackSelector(ASFParser& parser, int trackType)
      : m_Parser(parser), m_IsAudio(trackType == kTrackAudio) {}

  // `selected` is the index that counts as selected so far.
  int Select(unsigned int selected, int index) {
    if (selected == static_cast<unsigned int>(index)) return kParserOk;
    LOG_WARNING("[%s] %s(%d->%d)", m_Parser.getName(), Operation(), static_cast<int>(selected),
                index);
    const int count = static_cast<int>(m_Parser.m_vMediaData.size());
    for (int p = 0; p < count; ++p) {
      if (IsWanted(*m_Parser.m_vMediaData[static_cast<std::size_t>(p)], index)) MakeCurrent(p);
    }
    return kParserOk;
  }

 private:
  const char* Operation() const { return m_IsAudio ? "SelectAudioTrack" : "SelectVideoTrack"; }

  bool IsWanted(const media_data& entry, int index) const {
    const AsfObjectId type = m_IsAudio ? ID_AUDIO_MEDIA : ID_VIDEO_MEDIA;
    return entry.TrackIndex == index && entry.StreamType == GuidOf(type);
  }

  // The position counts, not the entry's index: they differ where streams were
  // dropped at open. It goes to m_AudioTrackIndex for video as well. Kept so: a
  // video track selected again would do nothing, and audio of that index something.
  void MakeCurrent(int position) {
    media_data& current = m_IsAudio ? m_Parser.m_AudioData : m_Parser.m_VideoData;
    m_Parser.m_AudioTrackIndex = static_cast<unsigned int>(position);
    current.TrackIndex = position;
    const auto& stream = m_Parser.StreamAt(static_cast<unsigned long>(position), Operation());
    current.StreamNumber = stream.image.flags & 0x7F;
    m_Parser.PoolOf(&current).Recycle(&current.qData);
    LOG_ERROR("[%s] GetTrackInfo > get %s data obj(%d)", m_Parser.getName(),
              m_IsAudio ? "audio" : "video", position);
  }

  ASFParser& m_Parser;
  const bool m_IsAudio;
};

int ASFParser::SelectAudioTrack(int index) {
  return TrackSelector(*this, kTrackAudio).Select(m_AudioTrackIndex, index);
}

int ASFParser::SelectVideoTrack(int index) {
  return TrackSelector(*this, kTrackVideo).Select(m_VideoTrackIndex, index);
}
