// Audio delivery: access units from the media objects of the audio queue.
#include <algorithm>
#include <cstring>

#include "asf/Lane.h"
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

// One call for audio.
class ASFParser::AudioDelivery {
 public:
  AudioDelivery(ASFParser& parser, const HostUnit& unit)
      : m_Parser(parser), m_Lane(parser, kTrackAudio), m_Unit(unit) {}

  int Run();

 private:
  int DeliverFrame(const audio_specific_data& asd);
  bool IsOneFrame(const audio_specific_data& asd) const;
  void SplitFront(const audio_specific_data& asd);
  int FindMpegSync();

  ASFParser& m_Parser;
  Lane m_Lane;
  const HostUnit m_Unit;
};

int ASFParser::GetAudioData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                            unsigned long) {
  return m_Barrier.Run([=] { return AudioDelivery(*this, {buffer, size, timeMs}).Run(); });
}

int ASFParser::AudioDelivery::Run() {
  const int status = m_Lane.Fill();
  if (status < 0) return status;
  const auto index = static_cast<unsigned long>(m_Parser.m_AudioData.TrackIndex);
  const auto asd = TypeSpecific<audio_specific_data>(m_Parser.StreamAt(index, "GetAudioData"));
  if (IsPcm(asd.formatTag) || IsWma(asd.formatTag)) return DeliverFrame(asd);
  m_Lane.DeliverWhole(m_Unit);
  const bool needsSync = IsMpeg(asd.formatTag) && !m_Parser.m_bMp3SyncFound;
  return needsSync ? FindMpegSync() : kParserOk;
}

// Nearly all WMA objects are one frame, whose time is theirs: without a table they
// cost a tenth less. The trace tells of the table.
bool ASFParser::AudioDelivery::IsOneFrame(const audio_specific_data& asd) const {
  const unsigned int length = m_Lane.Front().DataLen;
  return IsWma(asd.formatTag) && asd.blockAlign == (length & 0xFFFF) && length != 0 &&
         m_Lane.TableState() == 0 && !IsLogged(kTraceBit);
}

int ASFParser::AudioDelivery::DeliverFrame(const audio_specific_data& asd) {
  if (IsOneFrame(asd)) {
    m_Lane.DeliverWhole(m_Unit);
    return kParserOk;
  }
  if (m_Lane.TableState() > 1) {
    LOG_ERROR("pcm table is not created");
    m_Lane.DeliverWhole(m_Unit);
    return kParserOk;
  }
  SplitFront(asd);
  FrameTable& table = m_Lane.Table();
  if (table.Empty()) {
    LOG_ERROR("it_loc is null");
    return kParserInternal;
  }
  const QueuedMedia& object = m_Lane.Front();
  const frame_loc_data frame = table.Front();
  CopyUnit(m_Unit.buffer, object.pData + frame.offset, frame.size);
  *m_Unit.size = frame.size;
  *m_Unit.timeMs = object.TimeStamp + frame.ts_offset;
  if (IsLogged(kTraceBit)) {
    // Bytes 0, 1 and 3. Kept so: the trace would change.
    const HeadBytes<4> head(m_Unit.buffer, frame.size);
    LOG_TRACE("pcmobj_size=(%zu)/loc_size=size(%x), offset(%x). ts(%lu)[%x %x %x]", table.Size(),
              frame.size, frame.offset, *m_Unit.timeMs, head.bytes[0], head.bytes[1],
              head.bytes[3]);
  }
  table.PopFront();
  if (table.Empty()) m_Lane.RemoveFront();
  return kParserOk;
}

// Cuts the front object into frames unless that is done. A table that does not fit it
// is one of an object that track selection dropped.
void ASFParser::AudioDelivery::SplitFront(const audio_specific_data& asd) {
  const QueuedMedia& object = m_Lane.Front();
  FrameTable& table = m_Lane.Table();
  const auto fits = [&object](const frame_loc_data& frame) {
    return frame.offset <= object.DataLen && frame.size <= object.DataLen - frame.offset;
  };
  const bool isSplit = m_Lane.TableState() != 0 && !table.Empty() && fits(table.Front());
  if (isSplit) return;
  m_Lane.TableState() = 0;
  table.Clear();
  m_Parser.MakeAudFrameInfoTable(object.pData, object.DataLen, asd);
  m_Lane.TableState() = 1;
}

// Moves on, object by object, until one holds a sync word; once per parser.
int ASFParser::AudioDelivery::FindMpegSync() {
  while (detectMp3StartCode(m_Unit.buffer, m_Unit.size) < 0) {
    const int status = m_Lane.Fill();
    if (status < 0) return status;
    m_Lane.DeliverWhole(m_Unit);
  }
  LOG_TRACE("In Find Mp3 Sync byte OK");
  m_Parser.m_bMp3SyncFound = true;
  return kParserOk;
}

// The first frame is stamped one step after its object. Kept so: all times of such
// audio would change.
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
