// Which packet a track restarts from.
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

// One search.
class ASFParser::StartPacketSearch {
 public:
  // Where the host wants to go.
  struct Request {
    unsigned long timeMs;
    int trackType;
    bool isScanMode;
    bool isByteMode;
    unsigned long long offset;
    int seekMode;
  };

  StartPacketSearch(ASFParser& parser, const Request& request)
      : m_Parser(parser), m_Request(request) {}

  // A packet number, or a negative status.
  long long FromOffset() const;
  long long FromTime();

 private:
  // What a scan over the index came to.
  struct IndexScan {
    bool found = false;
    long long packet = 0;  // packet and time of the key frame found, else 0
    unsigned long timeMs = 0;
    long long lastProbed = 0;  // packet number
  };
  enum class Direction { kBack, kOn };
  // A packet of the walk, and ms from its time to the target.
  struct Footing {
    long long packet = 0;
    long long diffMs = 0;
  };

  bool IsAudio() const { return m_Request.trackType == kTrackAudio; }
  bool IsVideo() const { return m_Request.trackType == kTrackVideo; }

  long long EstimateWithoutIndex();
  long long EstimateByAudioBitrate();
  long long EstimateByMaxBitrate();
  long long FromShortIndex();
  void CorrectAudioBitrate();
  long long FromIndex(long long seed);
  long long AtClosest(unsigned int entry);
  unsigned int IndexEntryOf() const;
  int ScanIndex(unsigned int entry, Direction direction, IndexScan* scan);
  int ProbeKeyFrame(unsigned int packet, Direction direction, IndexScan* scan);
  void RememberKeyFrame(unsigned long timeMs);
  long long ForTrack(long long packet);
  long long Refine(long long seed);
  static long long Nearer(const Footing& last, const Footing& here, int direction);

  ASFParser& m_Parser;
  const Request m_Request;
};

long long ASFParser::GetStartPacketNumEx(unsigned long timeMs, int trackType, int modeFlags,
                                         int isScanMode, unsigned long long offset, int seekMode) {
  return m_Barrier.Run([=] {
    const bool isByteMode = (modeFlags & kSeekByteMode) != 0;
    const bool isTimeMode = !isByteMode && (modeFlags & kSeekTimeMode) != 0;
    LOG_TRACE("GetStartPacketNumEx  isScanMode(%d), isByteMode(%d), isTimeMode(%d)",
              isScanMode != 0, isByteMode, isTimeMode);
    StartPacketSearch search(*this,
                             {timeMs, trackType, isScanMode != 0, isByteMode, offset, seekMode});
    return isTimeMode ? search.FromOffset() : search.FromTime();
  });
}

// The host found the offset; audio follows the video's packet. An audio-only file
// starts one packet further than video would. Kept so: every such seek would land a
// packet earlier.
long long ASFParser::StartPacketSearch::FromOffset() const {
  const unsigned long long start = m_Parser.m_StartPosOfDataPackets;
  const unsigned long long packet = Divided(m_Request.offset - start, m_Parser.m_CurDataPacketLen);
  if (IsAudio() && !m_Request.isScanMode) {
    const std::size_t tracks = m_Parser.m_vStreamProperties.size();
    const unsigned long long videoPacket = m_Parser.m_CurVideoDataPacketNum;
    if (tracks >= 2 && videoPacket != 0) return ToPacketNumber(videoPacket);
    if (tracks != 1) {
      LOG_ERROR("TrackCnt|VidPacketNum invalid return ERROR");
      return kParserUnsupported;
    }
    return m_Request.offset < start ? kParserUnsupported : ToPacketNumber(SaturatingAdd(packet, 1));
  }
  if (!m_Request.isScanMode && !IsVideo()) {
    LOG_ERROR("Unknown TrackType return ERROR");
    return kParserInternal;
  }
  if (m_Request.offset == 0) {
    LOG_ERROR("ReadAtNpt return ERROR");
    return kParserUnsupported;
  }
  if (m_Request.offset < start) return kParserUnsupported;
  const long long number = ToPacketNumber(packet);
  LOG_ERROR("m_StartPosOfDataPackets (%llu) m_CurDataPacketLen (%u)", start,
            m_Parser.m_CurDataPacketLen);
  LOG_ERROR("nStartPacket (%llu) offset (%llu) from ReadAtNpt", Shown(number), m_Request.offset);
  return number;
}

long long ASFParser::StartPacketSearch::FromTime() {
  const asf_simple_index_object* index = m_Parser.m_pSimpleIndex;
  const bool isOnlyTrack = IsAudio() && m_Parser.m_vStreamProperties.size() == 1;
  const long long seed = index == nullptr || isOnlyTrack ? EstimateWithoutIndex() : 0;
  const bool isIndexed = IsVideo() || (IsAudio() && m_Parser.m_CurVideoDataPacketNum == 0);
  if (index == nullptr || !isIndexed) return ForTrack(seed);
  return index->image.entryCount < kMinIndexEntries ? FromShortIndex() : FromIndex(seed);
}

long long ASFParser::StartPacketSearch::EstimateWithoutIndex() {
  LOG_TRACE("[%s] timestampMs %lu * (m_AudioBitrate %llu /8000) / m_CurDataPacketLen %u",
            m_Parser.getName(), m_Request.timeMs, m_Parser.m_AudioBitrate,
            m_Parser.m_CurDataPacketLen);
  const long long seed =
      IsAudio() && m_Parser.m_AudioBitrate != 0 ? EstimateByAudioBitrate() : EstimateByMaxBitrate();
  LOG_LIFECYCLE("[%s] No Simple Index : packetNum(%llu)", m_Parser.getName(), Shown(seed));
  return seed;
}

long long ASFParser::StartPacketSearch::EstimateByAudioBitrate() {
  double packet = 0;
  if (m_Parser.m_CurDataPacketLen != 0) {
    packet = static_cast<double>(m_Request.timeMs) / 8000.0 *
             static_cast<double>(m_Parser.m_AudioBitrate) / m_Parser.m_CurDataPacketLen;
  }
  const long long seed = ToPacketNumber(packet);
  LOG_TRACE("[%s] AudiopacketNum %g", m_Parser.getName(), packet);
  LOG_TRACE("[%s] m_CurDataPacketNum %llu", m_Parser.getName(), Shown(seed));
  return seed;
}

long long ASFParser::StartPacketSearch::EstimateByMaxBitrate() {
  const unsigned long long bytes =
      SaturatingMultiply(m_Request.timeMs, m_Parser.m_objFileProperties.maxBitrate / 8000);
  return ToPacketNumber(Divided(bytes, m_Parser.m_CurDataPacketLen));
}

// An index too short to be of use: estimates instead, for audio from the file's
// own size and duration.
long long ASFParser::StartPacketSearch::FromShortIndex() {
  const bool byAudioBitrate = IsAudio() && m_Parser.m_AudioBitrate != 0;
  if (byAudioBitrate) CorrectAudioBitrate();
  const long long packet = byAudioBitrate ? EstimateByAudioBitrate() : EstimateByMaxBitrate();
  LOG_LIFECYCLE("[%s] Simple Index but Invalid : packetNum(%llu)", m_Parser.getName(),
                Shown(packet));
  RememberKeyFrame(m_Request.timeMs);
  return ForTrack(packet);
}

// The duration of the test is in milliseconds, so that it nearly always holds. Kept
// so: with seconds the estimates, and where seeks land, would be others.
void ASFParser::StartPacketSearch::CorrectAudioBitrate() {
  unsigned long durationMs;
  static_cast<void>(m_Parser.GetDurationMs(&durationMs));
  unsigned long long* bitrate = &m_Parser.m_AudioBitrate;
  const unsigned long long dataSize = m_Parser.m_objDataObject.header.objectSize;
  const double bytes = static_cast<double>(*bitrate) * 0.125 * static_cast<double>(durationMs);
  if (bytes < static_cast<double>(dataSize)) return;
  LOG_TRACE("[%s] %lld, %lu", "GetStartPacketNumEx", static_cast<long long>(dataSize),
            durationMs / 1000);
  *bitrate = SaturatingMultiply(Divided(dataSize, durationMs / 1000), 8);
  LOG_TRACE("[%s] m_AudioBitrate change %llu", "GetStartPacketNumEx", *bitrate);
}

long long ASFParser::StartPacketSearch::FromIndex(long long seed) {
  const unsigned int entry = IndexEntryOf();
  const unsigned int packetOfEntry = m_Parser.m_pSimpleIndex->entries[entry].packetNumber;
  LOG_TRACE("[%s] Simple Index : [%d]packetNum(%u)", m_Parser.getName(), static_cast<int>(entry),
            packetOfEntry);
  if (m_Request.isByteMode) return packetOfEntry;
  if (IsClosestMode(m_Request.seekMode)) return AtClosest(entry);

  // A key frame exactly at the target is taken by neither scan. Kept so: seeks to
  // such a time would land elsewhere.
  long long candidate = seed;
  const bool isBack = m_Request.seekMode == kSeekPreviousSync;
  if (entry > 0 && (isBack || m_Request.seekMode == kSeekNextSync)) {
    IndexScan scan;
    const int status = ScanIndex(entry, isBack ? Direction::kBack : Direction::kOn, &scan);
    if (status < 0) return status;
    if (scan.found) RememberKeyFrame(scan.timeMs);
    if (scan.found || !isBack) candidate = scan.found ? scan.packet : scan.lastProbed;
  }
  return ForTrack(candidate);
}

unsigned int ASFParser::StartPacketSearch::IndexEntryOf() const {
  const asf_simple_index_object& index = *m_Parser.m_pSimpleIndex;
  if (m_Request.timeMs == 0) return 0;
  const unsigned long long withPreroll =
      SaturatingAdd(m_Request.timeMs, m_Parser.m_objFileProperties.preroll);
  const auto entry =
      static_cast<unsigned int>(Divided(withPreroll, index.image.entryInterval / 10000));
  return std::min(entry, index.image.entryCount - 1);
}

// Probes the packets of the index from `entry` on, back to entry 1 or on to the last
// one, for the first key frame strictly before or behind the target. Entries that
// repeat the packet probed just before are passed over, and so is packet 0 at the
// start.
int ASFParser::StartPacketSearch::ScanIndex(unsigned int entry, Direction direction,
                                            IndexScan* scan) {
  const asf_simple_index_object& index = *m_Parser.m_pSimpleIndex;
  const bool isBack = direction == Direction::kBack;
  const unsigned int end = isBack ? 0 : index.image.entryCount;
  for (unsigned int i = entry; i != end && !scan->found; isBack ? --i : ++i) {
    const unsigned int packet = index.entries[i].packetNumber;
    if (packet == scan->lastProbed) continue;
    const int status = ProbeKeyFrame(packet, direction, scan);
    if (status < 0) return status;
  }
  return kParserOk;
}

int ASFParser::StartPacketSearch::ProbeKeyFrame(unsigned int packet, Direction direction,
                                                IndexScan* scan) {
  scan->lastProbed = packet;
  const int status = m_Parser.GetPacketTime(packet, m_Request.trackType);
  if (status < 0) {
    LOG_ERROR("GetPacketTime returns error");
    return status;
  }
  const auto timeMs = static_cast<unsigned long>(status);
  const bool isBack = direction == Direction::kBack;
  LOG_TRACE("[%s] %s : packetNum(%llu) timestamp (%lu)", m_Parser.getName(),
            isBack ? "Previous" : "Next", packet + 0ull, timeMs);
  scan->found = isBack ? timeMs < m_Request.timeMs : timeMs > m_Request.timeMs;
  if (!scan->found) return kParserOk;
  scan->packet = packet;
  scan->timeMs = timeMs;
  return kParserOk;
}

// What a scan did not find is packet 0 at time 0. Ties go to the earlier key
// frame.
long long ASFParser::StartPacketSearch::AtClosest(unsigned int entry) {
  IndexScan previous;
  IndexScan next;
  if (entry > 0) {
    int status = ScanIndex(entry, Direction::kBack, &previous);
    if (status < 0) return status;
    status = ScanIndex(entry, Direction::kOn, &next);
    if (status < 0) return status;
  }
  const long long toPrevious = Signed32(m_Request.timeMs) - Signed32(previous.timeMs);
  const long long toNext = Signed32(next.timeMs) - Signed32(m_Request.timeMs);
  if (toPrevious < 0 || toNext < 0) {
    const IndexScan& only = toPrevious < 0 ? next : previous;
    RememberKeyFrame(only.timeMs);
    return only.packet;
  }
  const bool takesPrevious = toPrevious <= toNext;
  const IndexScan& chosen = takesPrevious ? previous : next;
  LOG_TRACE("CLOSEST_SYNC[%s]: timestampMs(%lu),packetNum(%llu) timestamp (%lu)",
            takesPrevious ? "Prev" : "Next", m_Request.timeMs, Shown(chosen.packet), chosen.timeMs);
  RememberKeyFrame(chosen.timeMs);
  return ForTrack(chosen.packet);
}

void ASFParser::StartPacketSearch::RememberKeyFrame(unsigned long timeMs) {
  if (IsVideo()) m_Parser.m_SeekKeyFrameTimeMs = timeMs;
}

// What a packet found becomes: video's as it is, the start of a walk for others.
// Audio starts that walk at the packet where video reads, if it does.
long long ASFParser::StartPacketSearch::ForTrack(long long packet) {
  if (IsVideo()) {
    LOG_TRACE("[GetStartPacketNumEx]Use Simple Index for Video track (%llu)", Shown(packet));
    return packet;
  }
  const unsigned long long videoPacket = m_Parser.m_CurVideoDataPacketNum;
  const bool follows = IsAudio() && m_Parser.m_vStreamProperties.size() >= 2 && videoPacket != 0;
  return Refine(follows ? static_cast<long long>(videoPacket) : packet);
}

// Walks from the seed, packet by packet, towards the wanted time until it is
// crossed, and takes the nearer of the last two packets.
long long ASFParser::StartPacketSearch::Refine(long long seed) {
  LOG_TRACE("[GetStartPacketNumEx]Seed Index is %llu", Shown(seed));
  if (seed < 0) return seed;
  const unsigned long long total = Shown(ToPacketNumber(m_Parser.m_objFileProperties.dataPackets));
  const long long target = Signed32(m_Request.timeMs);
  Footing last;       // the last packet with a time
  int direction = 0;  // none until a time is found
  for (long long packet = seed; Shown(packet) < total;) {
    const int timeMs =
        m_Parser.GetPacketTime(static_cast<unsigned long>(packet), m_Request.trackType);
    if (timeMs < 0) {
      LOG_TRACE(
          "[GetStartPacketNumEx]GetPacketTime failed(EOS) go to 0 point or last checked packet");
      return 0;
    }
    if (timeMs == 0) {
      packet += direction != 0 ? direction : -1;
      if (packet >= 1 && Shown(packet) <= total) continue;
      LOG_TRACE("[GetStartPacketNumEx] temp packet index is out of bound");
      return 0;
    }
    const Footing here{packet, target - timeMs};
    if (direction * here.diffMs < 0) return Nearer(last, here, direction);
    const bool isFirst = direction == 0;
    if (isFirst) direction = here.diffMs < 1 ? -1 : 1;
    last = here;
    packet += direction;
    if (packet < 0 || (!isFirst && Shown(packet) > total)) {
      if (!isFirst) LOG_TRACE("[GetStartPacketNumEx] nStartPacket is out of bound");
      break;
    }
  }
  return last.packet != 0 ? last.packet : seed;
}

// Of the packets on both sides of the target, the nearer one; the earlier where both
// are as near.
long long ASFParser::StartPacketSearch::Nearer(const Footing& last, const Footing& here,
                                               int direction) {
  const bool takesLater = last.diffMs + here.diffMs > 0;
  const long long nearer = (direction > 0) == takesLater ? here.packet : last.packet;
  LOG_TRACE("[GetStartPacketNumEx] find matched patcket nStartPacket(%llu)", Shown(nearer));
  return nearer;
}
