// Track selection: points the current audio or video record at another stream.
//
// The cursors, the access unit tables and the end marks stay as they are: delivery
// checks every unit against the object in hand, and a host that wants the new
// stream at the current time seeks afterwards.
#include "asf/ASFParser.h"
#include "asf/Log.h"

int ASFParser::SelectAudioTrack(int index) {
  if (m_AudioTrackIndex == static_cast<unsigned int>(index)) return kParserOk;
  LOG_WARNING("[%s] SelectAudioTrack(%d->%d)", getName(), static_cast<int>(m_AudioTrackIndex),
              index);
  const int count = static_cast<int>(m_vMediaData.size());
  for (int p = 0; p < count; ++p) {
    if (!IsEntryOf(p, index, ID_AUDIO_MEDIA)) continue;
    m_AudioTrackIndex = static_cast<unsigned int>(p);
    MakeCurrent(p, "SelectAudioTrack", &m_AudioData);
    LOG_ERROR("[%s] GetTrackInfo > get audio data obj(%d)", getName(), p);
  }
  return kParserOk;
}

// The position goes to m_AudioTrackIndex, not to m_VideoTrackIndex: a deliberate
// asymmetry. Selecting the same track again does the work again, and a following
// SelectAudioTrack of that index returns at once.
int ASFParser::SelectVideoTrack(int index) {
  if (m_VideoTrackIndex == static_cast<unsigned int>(index)) return kParserOk;
  LOG_WARNING("[%s] SelectVideoTrack(%d->%d)", getName(), static_cast<int>(m_VideoTrackIndex),
              index);
  const int count = static_cast<int>(m_vMediaData.size());
  for (int p = 0; p < count; ++p) {
    if (!IsEntryOf(p, index, ID_VIDEO_MEDIA)) continue;
    m_AudioTrackIndex = static_cast<unsigned int>(p);
    MakeCurrent(p, "SelectVideoTrack", &m_VideoData);
    LOG_ERROR("[%s] GetTrackInfo > get video data obj(%d)", getName(), p);
  }
  return kParserOk;
}

bool ASFParser::IsEntryOf(int position, int trackIndex, AsfObjectId type) const {
  const media_data& entry = *m_vMediaData[static_cast<std::size_t>(position)];
  return entry.TrackIndex == trackIndex && entry.StreamType == GuidOf(type);
}

// The position counts, not the entry's index: they differ where streams were
// dropped at open.
void ASFParser::MakeCurrent(int position, const char* operation, media_data* current) {
  current->TrackIndex = position;
  const auto& stream = StreamAt(static_cast<unsigned long>(position), operation);
  current->StreamNumber = stream.image.flags & 0x7F;
  m_MediaPool.Recycle(&current->qData);
}
