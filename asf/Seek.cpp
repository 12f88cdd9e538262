// Seeking: which packet a track restarts from, and the restart.
//
// A packet number comes from the byte offset that the host found, from the simple
// index, or from a bitrate estimate (the seed); audio then follows the video's
// packet where there is one, and walks from packet to packet to the wanted time.
#include <algorithm>
#include <climits>

#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/Arithmetic.h"

namespace {

constexpr const char* kOperation = "GetStartPacketNumEx";

// An index of fewer entries says nothing.
constexpr unsigned int kMinIndexEntries = 3;

// A packet number is handed on as a signed 64-bit value, negative for a status.
long long ToPacketNumber(unsigned long long number) {
  return static_cast<long long>(std::min(number, static_cast<unsigned long long>(LLONG_MAX)));
}

long long ToPacketNumber(double number) {
  constexpr double kTooLarge = 9223372036854775808.0;  // 2^63
  if (!(number > 0)) return 0;
  return number >= kTooLarge ? LLONG_MAX : static_cast<long long>(number);
}

unsigned long long Shown(long long packet) { return static_cast<unsigned long long>(packet); }

unsigned long long Divided(unsigned long long value, unsigned long long divisor) {
  return divisor != 0 ? value / divisor : 0;
}

// Times are compared as signed 32-bit values; their difference takes 64 bits.
long long Signed32(unsigned long long timeMs) {
  return static_cast<int>(static_cast<unsigned int>(timeMs));
}

bool IsClosestMode(int seekMode) {
  return seekMode == kSeekClosestSync || seekMode == kSeekClosest;
}

}  // namespace

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
  m_CurDataPacketNum = Shown(packet);
  if (packet < 0) return static_cast<int>(packet);
  if (trackType == kTrackAudio) {
    LOG_LIFECYCLE("[%s] Audio packetNum(%llu)", getName(), Shown(packet));
  }
  if (trackType == kTrackVideo) {
    LOG_LIFECYCLE("[%s] video packetNum(%llu)", getName(), Shown(packet));
  }
  RestartTrack(trackType, Shown(packet));
  return kParserOk;
}

void ASFParser::RestartTrack(int trackType, unsigned long long packet) {
  if (trackType == kTrackAudio) {
    m_bAudioEOS = 0;
    m_CurAudioDataPacketNum = packet;
    m_MediaPool.Recycle(&m_AudioData.qData);
    LOG_TRACE("[%s]IN>SeekForward : m_vAudFrameLocDataObject(%zu)", getName(),
              m_vAudFrameLocDataObject.Size());
    m_vAudFrameLocDataObject.Clear();
    m_AudFrameTableState = 0;
    LOG_TRACE("[%s]OUT>SeekForward : m_vAudFrameLocDataObject(%zu)", getName(),
              m_vAudFrameLocDataObject.Size());
  } else if (trackType == kTrackVideo) {
    m_bSeeked = 1;
    m_bVideoEOS = 0;
    m_CurVideoDataPacketNum = packet;
    m_MediaPool.Recycle(&m_VideoData.qData);
    LOG_TRACE("[%s]IN>SeekForward : m_vMultiFrameDataObject(%zu)", getName(),
              m_vMultiFrameDataObject.Size());
    m_vMultiFrameDataObject.Clear();
    m_VidFrameTableState = 0;
    LOG_TRACE("[%s]OUT>SeekForward : m_vMultiFrameDataObject(%zu)", getName(),
              m_vMultiFrameDataObject.Size());
  }
}

long long ASFParser::GetStartPacketNumEx(unsigned long timeMs, int trackType, int modeFlags,
                                         int isScanMode, unsigned long long offset, int seekMode) {
  return m_Barrier.Run([=] {
    SeekRequest request{};
    request.timeMs = timeMs;
    request.trackType = trackType;
    request.isScanMode = isScanMode != 0;
    request.isByteMode = (modeFlags & kSeekByteMode) != 0;
    request.offset = offset;
    request.seekMode = seekMode;
    const bool isTimeMode = !request.isByteMode && (modeFlags & kSeekTimeMode) != 0;
    LOG_TRACE("GetStartPacketNumEx  isScanMode(%d), isByteMode(%d), isTimeMode(%d)",
              request.isScanMode, request.isByteMode, isTimeMode);
    return isTimeMode ? StartPacketFromOffset(request) : FindStartPacket(request);
  });
}

// The host found the offset; audio follows the video's packet. An audio-only file
// starts one packet further than video would: deliberate.
long long ASFParser::StartPacketFromOffset(const SeekRequest& request) const {
  const bool isAudio = request.trackType == kTrackAudio && !request.isScanMode;
  const unsigned long long behindStart = request.offset - m_StartPosOfDataPackets;
  if (isAudio) {
    const std::size_t tracks = m_vStreamProperties.size();
    if (tracks >= 2 && m_CurVideoDataPacketNum != 0) return ToPacketNumber(m_CurVideoDataPacketNum);
    if (tracks != 1) {
      LOG_ERROR("TrackCnt|VidPacketNum invalid return ERROR");
      return kParserUnsupported;
    }
    if (request.offset < m_StartPosOfDataPackets) return kParserUnsupported;
    return ToPacketNumber(SaturatingAdd(Divided(behindStart, m_CurDataPacketLen), 1));
  }
  if (!request.isScanMode && request.trackType != kTrackVideo) {
    LOG_ERROR("Unknown TrackType return ERROR");
    return kParserInternal;
  }
  if (request.offset == 0) {
    LOG_ERROR("ReadAtNpt return ERROR");
    return kParserUnsupported;
  }
  if (request.offset < m_StartPosOfDataPackets) return kParserUnsupported;
  const long long packet = ToPacketNumber(Divided(behindStart, m_CurDataPacketLen));
  LOG_ERROR("m_StartPosOfDataPackets (%llu) m_CurDataPacketLen (%u)", m_StartPosOfDataPackets,
            m_CurDataPacketLen);
  LOG_ERROR("nStartPacket (%llu) offset (%llu) from ReadAtNpt", Shown(packet), request.offset);
  return packet;
}

long long ASFParser::FindStartPacket(const SeekRequest& request) {
  const bool isAudio = request.trackType == kTrackAudio;
  const bool isVideo = request.trackType == kTrackVideo;
  const bool isOnlyTrack = isAudio && m_vStreamProperties.size() == 1;
  const long long seed =
      m_pSimpleIndex == nullptr || isOnlyTrack ? EstimateWithoutIndex(request) : 0;
  if (m_pSimpleIndex != nullptr && (isVideo || (isAudio && m_CurVideoDataPacketNum == 0))) {
    return m_pSimpleIndex->image.entryCount < kMinIndexEntries
               ? StartPacketFromShortIndex(request)
               : StartPacketFromIndex(request, seed);
  }
  return isVideo ? UseForVideo(seed) : FollowVideo(request, seed);
}

long long ASFParser::EstimateWithoutIndex(const SeekRequest& request) {
  LOG_TRACE("[%s] timestampMs %lu * (m_AudioBitrate %llu /8000) / m_CurDataPacketLen %u", getName(),
            request.timeMs, m_AudioBitrate, m_CurDataPacketLen);
  const long long seed = request.trackType == kTrackAudio && m_AudioBitrate != 0
                             ? EstimateByAudioBitrate(request)
                             : EstimateByMaxBitrate(request);
  LOG_LIFECYCLE("[%s] No Simple Index : packetNum(%llu)", getName(), Shown(seed));
  return seed;
}

long long ASFParser::EstimateByAudioBitrate(const SeekRequest& request) {
  double packet = 0;
  if (m_CurDataPacketLen != 0) {
    packet = static_cast<double>(request.timeMs) / 8000.0 * static_cast<double>(m_AudioBitrate) /
             m_CurDataPacketLen;
  }
  const long long seed = ToPacketNumber(packet);
  LOG_TRACE("[%s] AudiopacketNum %g", getName(), packet);
  LOG_TRACE("[%s] m_CurDataPacketNum %llu", getName(), Shown(seed));
  return seed;
}

long long ASFParser::EstimateByMaxBitrate(const SeekRequest& request) {
  const unsigned long long bytes =
      SaturatingMultiply(request.timeMs, m_objFileProperties.maxBitrate / 8000);
  return ToPacketNumber(Divided(bytes, m_CurDataPacketLen));
}

// An index too short to be of use: estimates instead, for audio from the file's
// own size and duration.
long long ASFParser::StartPacketFromShortIndex(const SeekRequest& request) {
  const bool byAudioBitrate = request.trackType == kTrackAudio && m_AudioBitrate != 0;
  if (byAudioBitrate) CorrectAudioBitrate();
  const long long packet =
      byAudioBitrate ? EstimateByAudioBitrate(request) : EstimateByMaxBitrate(request);
  LOG_LIFECYCLE("[%s] Simple Index but Invalid : packetNum(%llu)", getName(), Shown(packet));
  if (request.trackType == kTrackAudio) return FollowVideo(request, packet);
  m_SeekKeyFrameTimeMs = request.timeMs;
  return UseForVideo(packet);
}

// The duration of the test is in milliseconds, so that it nearly always holds:
// kept so.
void ASFParser::CorrectAudioBitrate() {
  unsigned long durationMs;
  static_cast<void>(GetDurationMs(&durationMs));
  const unsigned long long dataSize = m_objDataObject.header.objectSize;
  if (static_cast<double>(m_AudioBitrate) * 0.125 * static_cast<double>(durationMs) <
      static_cast<double>(dataSize)) {
    return;
  }
  LOG_TRACE("[%s] %lld, %lu", kOperation, static_cast<long long>(dataSize), durationMs / 1000);
  m_AudioBitrate = SaturatingMultiply(Divided(dataSize, durationMs / 1000), 8);
  LOG_TRACE("[%s] m_AudioBitrate change %llu", kOperation, m_AudioBitrate);
}

long long ASFParser::StartPacketFromIndex(const SeekRequest& request, long long seed) {
  const asf_simple_index_object& index = *m_pSimpleIndex;
  const unsigned int entry = IndexEntryOf(request.timeMs);
  const unsigned int packetOfEntry = index.entries[entry].packetNumber;
  LOG_TRACE("[%s] Simple Index : [%d]packetNum(%u)", getName(), static_cast<int>(entry),
            packetOfEntry);
  if (request.isByteMode) return packetOfEntry;
  if (IsClosestMode(request.seekMode)) return StartPacketAtClosest(request, entry);

  // A key frame exactly at the target is taken by neither scan: deliberate.
  long long candidate = seed;
  const bool previous = request.seekMode == kSeekPreviousSync;
  if (entry > 0 && (previous || request.seekMode == kSeekNextSync)) {
    IndexScan scan;
    const int status = ScanIndex(request, entry, previous ? -1 : 1, &scan);
    if (status < 0) return status;
    if (scan.found || !previous) candidate = scan.found ? scan.packet : scan.lastProbed;
    if (scan.found) RememberKeyFrame(request, scan.timeMs);
  }
  return request.trackType == kTrackVideo ? UseForVideo(candidate)
                                          : FollowVideo(request, candidate);
}

unsigned int ASFParser::IndexEntryOf(unsigned long timeMs) const {
  const asf_simple_index_object& index = *m_pSimpleIndex;
  if (timeMs == 0) return 0;
  const unsigned long long withPreroll = SaturatingAdd(timeMs, m_objFileProperties.preroll);
  const auto entry =
      static_cast<unsigned int>(Divided(withPreroll, index.image.entryInterval / 10000));
  return std::min(entry, index.image.entryCount - 1);
}

// Probes the packets of the index from `entry` on, back to entry 1 (`step` -1) or
// on to the last one (1), for the first key frame strictly before or behind the
// target. Entries that repeat the packet probed just before are passed over, and
// so is packet 0 at the start.
int ASFParser::ScanIndex(const SeekRequest& request, unsigned int entry, int step,
                         IndexScan* scan) {
  const asf_simple_index_object& index = *m_pSimpleIndex;
  for (unsigned int i = entry; i >= 1 && i < index.image.entryCount;
       i += static_cast<unsigned int>(step)) {
    const unsigned int packet = index.entries[i].packetNumber;
    if (packet == scan->lastProbed) continue;
    scan->lastProbed = packet;
    const int timeMs = GetPacketTime(packet, request.trackType);
    if (timeMs < 0) {
      LOG_ERROR("GetPacketTime returns error");
      return timeMs;
    }
    const auto time = static_cast<unsigned long>(timeMs);
    if (step < 0) {
      LOG_TRACE("[%s] Previous : packetNum(%llu) timestamp (%lu)", getName(), packet + 0ull, time);
    } else {
      LOG_TRACE("[%s] Next : packetNum(%llu) timestamp (%lu)", getName(), packet + 0ull, time);
    }
    scan->found = step < 0 ? time < request.timeMs : time > request.timeMs;
    if (scan->found) {
      scan->packet = packet;
      scan->timeMs = time;
      return kParserOk;
    }
  }
  return kParserOk;
}

// What a scan did not find is packet 0 at time 0. Ties go to the earlier key
// frame.
long long ASFParser::StartPacketAtClosest(const SeekRequest& request, unsigned int entry) {
  IndexScan previous;
  IndexScan next;
  if (entry > 0) {
    int status = ScanIndex(request, entry, -1, &previous);
    if (status < 0) return status;
    status = ScanIndex(request, entry, 1, &next);
    if (status < 0) return status;
  }
  const long long toPrevious = Signed32(request.timeMs) - Signed32(previous.timeMs);
  const long long toNext = Signed32(next.timeMs) - Signed32(request.timeMs);
  if (toPrevious < 0 || toNext < 0) {
    const IndexScan& only = toPrevious < 0 ? next : previous;
    RememberKeyFrame(request, only.timeMs);
    return only.packet;
  }
  const bool takesPrevious = toPrevious <= toNext;
  const IndexScan& chosen = takesPrevious ? previous : next;
  if (takesPrevious) {
    LOG_TRACE("CLOSEST_SYNC[Prev]: timestampMs(%lu),packetNum(%llu) timestamp (%lu)",
              request.timeMs, Shown(chosen.packet), chosen.timeMs);
  } else {
    LOG_TRACE("CLOSEST_SYNC[Next]: timestampMs(%lu),packetNum(%llu) timestamp (%lu)",
              request.timeMs, Shown(chosen.packet), chosen.timeMs);
  }
  RememberKeyFrame(request, chosen.timeMs);
  return request.trackType == kTrackVideo ? UseForVideo(chosen.packet)
                                          : FollowVideo(request, chosen.packet);
}

void ASFParser::RememberKeyFrame(const SeekRequest& request, unsigned long timeMs) {
  if (request.trackType == kTrackVideo) m_SeekKeyFrameTimeMs = timeMs;
}

long long ASFParser::UseForVideo(long long packet) const {
  LOG_TRACE("[GetStartPacketNumEx]Use Simple Index for Video track (%llu)", Shown(packet));
  return packet;
}

// Audio starts its walk at the packet where video reads, if it does.
long long ASFParser::FollowVideo(const SeekRequest& request, long long seed) {
  const bool follows = request.trackType == kTrackAudio && m_vStreamProperties.size() >= 2 &&
                       m_CurVideoDataPacketNum != 0;
  return Refine(request, follows ? static_cast<long long>(m_CurVideoDataPacketNum) : seed);
}

// Walks from the seed, packet by packet, towards the wanted time until it is
// crossed, and takes the nearer of the last two packets.
long long ASFParser::Refine(const SeekRequest& request, long long seed) {
  LOG_TRACE("[GetStartPacketNumEx]Seed Index is %llu", Shown(seed));
  if (seed < 0) return seed;
  const unsigned long long total = Shown(ToPacketNumber(m_objFileProperties.dataPackets));
  const long long target = Signed32(request.timeMs);
  long long packet = seed;
  long long last = 0;      // the last packet with a time
  long long lastDiff = 0;  // ms from it to the target
  int direction = 0;       // none until a time is found
  while (Shown(packet) < total) {
    const int timeMs = GetPacketTime(static_cast<unsigned long>(packet), request.trackType);
    if (timeMs < 0) {
      LOG_TRACE(
          "[GetStartPacketNumEx]GetPacketTime failed(EOS) go to 0 point or last checked packet");
      return 0;
    }
    if (timeMs == 0) {
      packet += direction != 0 ? direction : -1;
      if (packet < 1 || Shown(packet) > total) {
        LOG_TRACE("[GetStartPacketNumEx] temp packet index is out of bound");
        return 0;
      }
      continue;
    }
    const long long diff = target - timeMs;
    if (direction * diff < 0) {
      const bool isForward = direction > 0;
      const bool takesLater = lastDiff + diff > 0;
      const long long nearer = isForward == takesLater ? packet : last;
      LOG_TRACE("[GetStartPacketNumEx] find matched patcket nStartPacket(%llu)", Shown(nearer));
      return nearer;
    }
    const bool isFirst = direction == 0;
    if (isFirst) direction = diff < 1 ? -1 : 1;
    last = packet;
    lastDiff = diff;
    packet += direction;
    if (packet < 0 || (!isFirst && Shown(packet) > total)) {
      if (!isFirst) LOG_TRACE("[GetStartPacketNumEx] nStartPacket is out of bound");
      break;
    }
  }
  return last != 0 ? last : seed;
}
