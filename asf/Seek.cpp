// Seeking: a track goes on at another packet. Which one, StartPacket.cpp finds.
#include "asf/Lane.h"
#include "asf/Log.h"

// Rewinds, whatever the time.
int ASFParser::Seek(unsigned long timeMs, int trackType, int) {
  LOG_TRACE("ASFParser::Seek %ld", static_cast<long>(timeMs));
  m_CurDataPacketNum = 0;
  if (trackType == kTrackAudio) LOG_TRACE("[%s] Audio packetNum(%llu)", getName(), 0ull);
  if (trackType == kTrackVideo) LOG_TRACE("[%s] video packetNum(%llu)", getName(), 0ull);
  RestartTrack(trackType, 0);
  return kParserOk;
}

int ASFParser::SeekEx(unsigned long timeMs, int trackType, int modeFlags, int isScanMode,
                      unsigned long long offset, int seekMode) {
  LOG_TRACE("ASFParser::SeekEx %ld", static_cast<long>(timeMs));
  const long long packet =
      GetStartPacketNumEx(timeMs, trackType, modeFlags, isScanMode, offset, seekMode);
  m_CurDataPacketNum = static_cast<unsigned long long>(packet);
  if (packet < 0) return static_cast<int>(packet);
  if (trackType == kTrackAudio) {
    LOG_LIFECYCLE("[%s] Audio packetNum(%llu)", getName(), m_CurDataPacketNum);
  }
  if (trackType == kTrackVideo) {
    LOG_LIFECYCLE("[%s] video packetNum(%llu)", getName(), m_CurDataPacketNum);
  }
  RestartTrack(trackType, m_CurDataPacketNum);
  return kParserOk;
}

void ASFParser::RestartTrack(int trackType, unsigned long long packet) {
  if (trackType == kTrackVideo) m_bSeeked = 1;
  if (trackType == kTrackVideo || trackType == kTrackAudio) Lane(*this, trackType).Restart(packet);
}
