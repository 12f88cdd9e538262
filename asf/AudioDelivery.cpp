// Audio delivery: access units from the media objects of the audio queue.
#include <algorithm>
#include <cstring>

#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/UnitCopy.h"
#include "asf/format/StartCode.h"

namespace {

constexpr unsigned short kPcm = 0x0001;
constexpr unsigned short kMuLaw = 0x0007;
constexpr unsigned short kMpegAudio = 0x0050;
constexpr unsigned short kMpegLayer3 = 0x0055;

// Bytes of a frame where the byte rate does not ask for shorter ones.
constexpr unsigned int kPcmFrameBytes = 16384;

bool IsWma(unsigned short tag) { return tag >= 0x0160 && tag <= 0x0164; }
bool IsPcm(unsigned short tag) { return tag == kPcm || tag == kMuLaw; }
bool IsMpeg(unsigned short tag) { return tag == kMpegAudio || tag == kMpegLayer3; }

// How an object is cut: bytes of a frame, and ms from one frame to the next.
struct Framing {
  unsigned int bytes;
  unsigned int stepMs;
};

Framing WmaFraming(const audio_specific_data& asd, unsigned int len) {
  if (asd.blockAlign == (len & 0xFFFF)) return {len, 0};
  LOG_ERROR("MakeAudFrameInfoTable not match with blockalign size");
  if (asd.averageBytesPerSecond == 0) return {asd.blockAlign, 0};
  const float step =
      1000.0f / static_cast<float>(asd.averageBytesPerSecond) * static_cast<float>(asd.blockAlign);
  return {asd.blockAlign, static_cast<unsigned int>(step)};
}

Framing PcmFraming(const audio_specific_data& asd, unsigned int len) {
  const unsigned int rate = asd.averageBytesPerSecond;
  if (rate > len) return {kPcmFrameBytes, kPcmFrameBytes * 1000 / rate};
  LOG_ERROR("MakeAudFrameInfoTable ts term is too long");
  const unsigned int bytes = rate / 10;  // 100 ms
  return {bytes, rate != 0 ? bytes * 1000 / rate : 0};
}

Framing FramingOf(const audio_specific_data& asd, unsigned int len) {
  Framing framing{kPcmFrameBytes, 0};
  if (IsWma(asd.formatTag)) framing = WmaFraming(asd, len);
  if (IsPcm(asd.formatTag)) framing = PcmFraming(asd, len);
  // A rate or block align too small to cut by: the object is one frame.
  return framing.bytes != 0 ? framing : Framing{len, 0};
}

}  // namespace

int ASFParser::GetAudioData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                            unsigned long) {
  return m_Barrier.Run([=] {
    if (!FillAudio()) return kParserEndOfStream;
    const auto asd = TypeSpecific<audio_specific_data>(
        StreamAt(static_cast<unsigned long>(m_AudioData.TrackIndex), "GetAudioData"));
    const bool framed = IsPcm(asd.formatTag) || IsWma(asd.formatTag);
    if (framed) return DeliverAudioFrame(asd, buffer, size, timeMs);
    DeliverAudioObject(buffer, size, timeMs);
    const bool needsSync = IsMpeg(asd.formatTag) && !m_bMp3SyncFound;
    return needsSync ? FindMpegAudioSync(buffer, size, timeMs) : kParserOk;
  });
}

// Reads packets until two objects are queued: the front one is complete only once
// another has begun behind it. False, with its line, when there is nothing left.
bool ASFParser::FillAudio() {
  while (m_AudioData.qData.size() < 2 && m_bAudioEOS == 0) {
    LOG_TRACE("[%s] GetAudioData m_CurAudioDataPacketNum %llu", getName(), m_CurAudioDataPacketNum);
    // Stands when the packet fails, and when the source throws.
    m_bAudioEOS = 1;
    if (ParseDataPacket(m_CurAudioDataPacketNum, kTrackAudio) < 0) break;
    m_bAudioEOS = 0;
    ++m_CurAudioDataPacketNum;
  }
  if (!m_AudioData.qData.empty()) return true;
  LOG_TRACE("[%s] GetAudioData EOS", getName());
  return false;
}

void ASFParser::DeliverAudioObject(unsigned char* buffer, unsigned long* size,
                                   unsigned long* timeMs) {
  const QueuedMedia& object = m_AudioData.qData.front();
  CopyUnit(buffer, object.pData, object.DataLen);
  *size = object.DataLen;
  *timeMs = object.TimeStamp;
  RemoveFrontAudio();
}

int ASFParser::DeliverAudioFrame(const audio_specific_data& asd, unsigned char* buffer,
                                 unsigned long* size, unsigned long* timeMs) {
  if (m_AudFrameTableState > 1) {
    LOG_ERROR("pcm table is not created");
    DeliverAudioObject(buffer, size, timeMs);
    return kParserOk;
  }
  const QueuedMedia& object = m_AudioData.qData.front();
  FrameTable& table = m_vAudFrameLocDataObject;
  const auto fits = [&object](const frame_loc_data& frame) {
    return frame.offset <= object.DataLen && frame.size <= object.DataLen - frame.offset;
  };
  // A table that does not fit is one of an object that track selection dropped.
  if (table.Empty() || !fits(table.Front())) m_AudFrameTableState = 0;
  if (m_AudFrameTableState == 0) {
    table.Clear();
    MakeAudFrameInfoTable(object.pData, object.DataLen, asd);
    m_AudFrameTableState = 1;
  }
  if (table.Empty()) {
    LOG_ERROR("it_loc is null");
    return kParserInternal;
  }
  const frame_loc_data frame = table.Front();
  CopyUnit(buffer, object.pData + frame.offset, frame.size);
  *size = frame.size;
  *timeMs = object.TimeStamp + frame.ts_offset;
  if (IsLogged(kTraceBit)) {
    // Bytes 0, 1 and 3; kept so.
    const HeadBytes<4> head(buffer, frame.size);
    LOG_TRACE("pcmobj_size=(%zu)/loc_size=size(%x), offset(%x). ts(%lu)[%x %x %x]", table.Size(),
              frame.size, frame.offset, *timeMs, head.bytes[0], head.bytes[1], head.bytes[3]);
  }
  table.PopFront();
  if (table.Empty()) RemoveFrontAudio();
  return kParserOk;
}

// Moves on, object by object, until one holds a sync word; once per parser.
int ASFParser::FindMpegAudioSync(unsigned char* buffer, unsigned long* size,
                                 unsigned long* timeMs) {
  while (detectMp3StartCode(buffer, size) < 0) {
    if (!FillAudio()) return kParserEndOfStream;
    DeliverAudioObject(buffer, size, timeMs);
  }
  LOG_TRACE("In Find Mp3 Sync byte OK");
  m_bMp3SyncFound = true;
  return kParserOk;
}

// The first frame is stamped one step after its object, deliberately.
int ASFParser::MakeAudFrameInfoTable(unsigned char* data, unsigned int len,
                                     audio_specific_data asd) {
  return m_Barrier.Run([=] {
    LOG_TRACE("MakeAudFrameInfoTable Start, pLen=%lu", static_cast<unsigned long>(len));
    const Framing framing = FramingOf(asd, len);
    const HeadBytes<3> head(data, len);
    unsigned int timeMs = 0;
    for (unsigned int offset = 0; offset < len;) {
      const unsigned int size = std::min(framing.bytes, len - offset);
      timeMs += framing.stepMs;
      m_vAudFrameLocDataObject.Append({offset, size, timeMs});
      offset += size;
      LOG_TRACE("loc size(%x)offset(%x)ts_offset(%u)[%x %x %x]", size, offset, timeMs,
                head.bytes[0], head.bytes[1], head.bytes[2]);
    }
    LOG_TRACE("MakeAudFrameInfoTable End");
    return 1;
  });
}

int detectMp3StartCode(unsigned char* data, unsigned long* size) {
  LOG_TRACE("DetectedMp3StartCode Start");
  const unsigned long n = *size;
  for (unsigned long i = 0; i + 3 <= n; ++i) {
    if (data[i] != 0xFF || data[i + 1] < 0xF0) continue;
    // The layer's bits, whatever the bit that says whether a checksum follows.
    const unsigned int layer = data[i + 1] & 0x06;
    if (layer != 0x02 && layer != 0x04) continue;
    LOG_TRACE("%s", layer == 0x02 ? "detect mp3 start code" : "detect mp2 start code");
    LOG_TRACE("Start position :%lu", i);
    if (i > 0) std::memmove(data, data + i, n - i);
    *size = n - i;
    LOG_TRACE("DetectedMp3StartCode End");
    return kParserOk;
  }
  if (n != 0) std::memset(data, 0, n);
  *size = 0;
  LOG_ERROR("Start code not found.");
  return kParserUnsupported;
}
