// Video delivery: access units from the media objects of the video queue.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "asf/Lane.h"
#include "asf/Log.h"
#include "asf/UnitCopy.h"
#include "asf/format/FourCc.h"
#include "asf/format/Limits.h"
#include "asf/format/StartCode.h"

namespace {

// What stands in front of a NAL unit: its length in the file, a start code when
// it is delivered. Of the same size, so that a unit never outgrows its object.
constexpr unsigned int kNalPrefixBytes = 4;
constexpr unsigned char kNalStartCode[kNalPrefixBytes] = {0, 0, 0, 1};

// A length prefix of this value is a start code.
constexpr unsigned int kLengthOfStartCode = 1;

// Case matters: "X264" is delivered whole.
bool IsAvc(unsigned int fourcc) {
  return fourcc == FourCc("H264") || fourcc == FourCc("h264") || fourcc == FourCc("x264") ||
         fourcc == FourCc("avc1") || fourcc == FourCc("AVC1");
}

bool IsMpeg12(unsigned int fourcc) {
  return fourcc == FourCc("MPG1") || fourcc == FourCc("mpg1") || fourcc == FourCc("MPG2") ||
         fourcc == FourCc("mpg2");
}

unsigned int LoadBe32(const unsigned char* p) {
  return static_cast<unsigned int>(p[0]) << 24 | static_cast<unsigned int>(p[1]) << 16 |
         static_cast<unsigned int>(p[2]) << 8 | p[3];
}

// The first unit of an object is all of it, or its first NAL unit.
unsigned int WholeObject(const QueuedMedia&) { return kMaxAllocBytes; }
unsigned int FirstNalUnit(const QueuedMedia& object) {
  if (object.DataLen < kNalPrefixBytes) return 0;
  const unsigned int size = LoadBe32(object.bytes());
  if (size == kLengthOfStartCode) return kMaxAllocBytes;
  return std::min(size, kMaxAllocBytes - kNalPrefixBytes) + kNalPrefixBytes;
}

// Whether a unit with `prefix` bytes before its own lies within `length` bytes.
bool Fits(const frame_loc_data& unit, unsigned int prefix, unsigned int length) {
  return static_cast<unsigned long long>(unit.offset) + prefix + unit.size <= length;
}

}  // namespace

// One call for video.
class ASFParser::VideoDelivery {
 public:
  VideoDelivery(ASFParser& parser, const HostUnit& unit)
      : m_Parser(parser), m_Lane(parser, kTrackVideo), m_Unit(unit) {}

  int DeliverWhole();
  int Run(bool keyFrameOnly);

 private:
  void PlaceUnit();
  int DeliverFirst(bool gated);
  bool IsAcceptedKeyFrame() const;
  bool DeliverUnit();
  bool DeliverNalUnit();
  void DeliverPicture();
  void ForgetStaleUnits(unsigned int prefixBytes);

  ASFParser& m_Parser;
  Lane m_Lane;
  const HostUnit m_Unit;
  unsigned int m_FourCc = 0;
};

int ASFParser::GetVideoData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                            unsigned long) {
  return m_Barrier.Run([=] { return VideoDelivery(*this, {buffer, size, timeMs}).DeliverWhole(); });
}

int ASFParser::GetVideoData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                            unsigned long, bool keyFrameOnly) {
  return m_Barrier.Run([=] {
    return VideoDelivery(*this, {buffer, size, timeMs}).Run(keyFrameOnly);
  });
}

int ASFParser::VideoDelivery::DeliverWhole() {
  m_Lane.PlaceFront(m_Unit.buffer, WholeObject);
  const int status = m_Lane.Fill();
  if (status < 0) return status;
  m_Lane.DeliverWhole(m_Unit);
  return kParserOk;
}

int ASFParser::VideoDelivery::Run(bool keyFrameOnly) {
  if (!keyFrameOnly && m_Parser.m_bSeeked == 0) PlaceUnit();
  int status = m_Lane.Fill();
  if (status < 0) return status;
  const unsigned char seeked = m_Parser.m_bSeeked;
  m_Parser.m_bSeeked = 0;
  const auto index = static_cast<unsigned long>(m_Parser.m_VideoData.TrackIndex);
  m_FourCc =
      TypeSpecific<video_specific_data>(m_Parser.StreamAt(index, "GetVideoData")).compression;
  status = DeliverFirst(keyFrameOnly || seeked != 0);
  // Where memory ran out the gate was not passed: it stands for the next call.
  if (status == kParserOutOfRange) m_Parser.m_bSeeked = seeked;
  return status;
}

// The front object will be delivered, and its first unit first, unless it was split
// before: that unit is put together in the host's buffer. What is cut into pictures
// stays where it is, for where the first one ends is not known.
void ASFParser::VideoDelivery::PlaceUnit() {
  const auto& streams = m_Parser.m_vStreamProperties;
  const auto index = static_cast<std::size_t>(m_Parser.m_VideoData.TrackIndex);
  const bool isWhole = m_Lane.Queue().size() > 1;
  if (isWhole || m_Lane.TableState() != 0 || index >= streams.size()) return;
  const unsigned int fourCc = TypeSpecific<video_specific_data>(*streams[index]).compression;
  if (IsMpeg12(fourCc)) return;
  m_Lane.PlaceFront(m_Unit.buffer, IsAvc(fourCc) ? FirstNalUnit : WholeObject);
}

// Drops objects until one passes the gate and yields a unit.
int ASFParser::VideoDelivery::DeliverFirst(bool gated) {
  while ((gated && !IsAcceptedKeyFrame()) || !DeliverUnit()) {
    m_Lane.RemoveFront();
    const int status = m_Lane.Fill();
    if (status < 0) return status;
  }
  return kParserOk;
}

bool ASFParser::VideoDelivery::IsAcceptedKeyFrame() const {
  const QueuedMedia& object = m_Lane.Front();
  return object.bKeyFrame != 0 &&
         m_Parser.CheckIFrameStartCode(object.bytes(), object.DataLen, m_FourCc) != 0;
}

// False: the front object holds no unit.
bool ASFParser::VideoDelivery::DeliverUnit() {
  if (IsAvc(m_FourCc)) return DeliverNalUnit();
  if (IsMpeg12(m_FourCc)) {
    DeliverPicture();
  } else {
    m_Lane.DeliverWhole(m_Unit);
  }
  return true;
}

// Forgets a table that was not finished, and one that does not fit the front
// object: it is one of an object that track selection dropped.
void ASFParser::VideoDelivery::ForgetStaleUnits(unsigned int prefixBytes) {
  FrameTable& table = m_Lane.Table();
  const bool isFresh = m_Lane.TableState() != 0 && !table.Empty();
  if (isFresh && Fits(table.Front(), prefixBytes, m_Lane.Front().DataLen)) return;
  table.Clear();
  m_Lane.TableState() = 0;
}

// Every NAL unit of an object carries the object's time. A length that overruns
// the object ends the splitting; the units in front of it are delivered.
bool ASFParser::VideoDelivery::DeliverNalUnit() {
  const QueuedMedia& object = m_Lane.Front();
  FrameTable& table = m_Lane.Table();
  ForgetStaleUnits(kNalPrefixBytes);
  if (m_Lane.TableState() == 0) {
    m_Lane.TableState() =
        static_cast<unsigned int>(m_Parser.CheckAVCStartCode(object.bytes(), object.DataLen));
  }
  if (m_Lane.TableState() == 0) {
    m_Lane.DeliverWhole(m_Unit);
    return true;
  }
  if (table.Empty()) return false;
  const frame_loc_data unit = table.Front();
  const unsigned char* const from = object.bytes() + unit.offset;
  if (from != m_Unit.buffer) {
    CopyUnit(m_Unit.buffer + kNalPrefixBytes, from + kNalPrefixBytes, unit.size);
  }
  // Where the object lies in the buffer this is all of it: its length has been read.
  std::memcpy(m_Unit.buffer, kNalStartCode, kNalPrefixBytes);
  *m_Unit.size = unit.size + kNalPrefixBytes;
  *m_Unit.timeMs = object.TimeStamp;
  if (IsLogged(kErrorBit)) {
    const HeadBytes<3> head(m_Unit.buffer + kNalPrefixBytes, unit.size);
    LOG_ERROR("v_size=(%zu)/nal_size=size(%x), offset(%x)[%x %x %x]", table.Size(), unit.size,
              unit.offset, head.bytes[0], head.bytes[1], head.bytes[2]);
  }
  table.PopFront();
  if (table.Empty()) {
    m_Lane.RemoveFront();
    LOG_ERROR("[%s] GetVideoData2 >> multi- m_VideoData.qData.erase done, qData Size(%zu)",
              m_Parser.getName(), m_Lane.Queue().size());
  }
  return true;
}

void ASFParser::VideoDelivery::DeliverPicture() {
  const QueuedMedia& object = m_Lane.Front();
  FrameTable& table = m_Lane.Table();
  ForgetStaleUnits(0);
  if (m_Lane.TableState() == 0) {
    const MediaQueue& queue = m_Lane.Queue();
    const unsigned int durationMs =
        queue.size() > 1 ? std::next(queue.begin())->TimeStamp - object.TimeStamp : 0;
    m_Parser.CheckMPEG12StartCode(object.pData, object.DataLen, durationMs);
    m_Lane.TableState() = 1;
  }
  const frame_loc_data unit = table.Front();
  CopyUnit(m_Unit.buffer, object.pData + unit.offset, unit.size);
  *m_Unit.size = unit.size;
  *m_Unit.timeMs = object.TimeStamp + unit.ts_offset;
  if (IsLogged(kErrorBit)) {
    const HeadBytes<3> head(m_Unit.buffer, unit.size);
    LOG_ERROR("v_size=(%zu)/es_size=size(%d), offset(%d)[%x %x %x]", table.Size(),
              static_cast<int>(unit.size), static_cast<int>(unit.offset), head.bytes[0],
              head.bytes[1], head.bytes[2]);
  }
  table.PopFront();
  if (table.Empty()) m_Lane.RemoveFront();
}

int ASFParser::CheckAVCStartCode(unsigned char* data, unsigned int len) {
  return m_Barrier.Run([=] {
    LOG_TRACE("CheckAVCStartCode Start, pLen=%lu", static_cast<unsigned long>(len));
    const HeadBytes<3> head(data, len);
    for (unsigned int pos = 0; pos < len;) {
      const bool cutOff = len - pos < kNalPrefixBytes;
      const unsigned int size = cutOff ? 0 : LoadBe32(data + pos);
      // Further on a unit of one byte is legal.
      if (pos == 0 && !cutOff && size == kLengthOfStartCode) return 0;
      if (cutOff || size > len - pos - kNalPrefixBytes) {
        LOG_ERROR("CheckAVCStartCode error, pLen=%lu", static_cast<unsigned long>(len));
        return kParserMalformed;
      }
      m_vMultiFrameDataObject.Append({pos, size, 0});
      pos += size + kNalPrefixBytes;
      LOG_ERROR("nal size(%x)offset(%x)[%x %x %x]", size, pos, head.bytes[0], head.bytes[1],
                head.bytes[2]);
    }
    LOG_TRACE("CheckAVCStartCode End");
    return 1;
  });
}

// Headers in front of the first picture travel with it.
int ASFParser::CheckMPEG12StartCode(unsigned char* data, unsigned int len, unsigned int tsdur) {
  return m_Barrier.Run([=] {
    LOG_ERROR("CheckMPEG12StartCode Start, pLen=%lu, tsdur=%u", static_cast<unsigned long>(len),
              tsdur);
    FrameTable& table = m_vMultiFrameDataObject;
    const std::size_t end = len >= kStartCodeBytes ? len - kStartCodeBytes + 1 : 0;
    unsigned int start = 0;
    bool pictureSeen = false;
    for (std::size_t i = FindStartCode(data, 1, end, kMpegPicture); i < end;
         i = FindStartCode(data, i + 1, end, kMpegPicture)) {
      if (pictureSeen) {
        const auto next = static_cast<unsigned int>(i);
        const HeadBytes<4> head(data + start, next - start);
        table.Append({start, next - start, 0});
        LOG_ERROR("es size(%d)offset(%d)[%x %x %x %x]", static_cast<int>(next - start),
                  static_cast<int>(start), head.bytes[0], head.bytes[1], head.bytes[2],
                  head.bytes[3]);
        start = next;
      }
      pictureSeen = true;
    }
    const HeadBytes<4> head(data + start, len - start);
    table.Append({start, len - start, 0});
    LOG_ERROR("last es size(%d)offset(%d)[%x %x %x %x]", static_cast<int>(len - start),
              static_cast<int>(start), head.bytes[0], head.bytes[1], head.bytes[2], head.bytes[3]);
    const auto units = static_cast<unsigned int>(table.Size());
    for (unsigned int k = 0; units > 1 && k < units; ++k) {
      table[k].ts_offset = tsdur / units * k;
      LOG_ERROR("checkMPEG12 - count(%d) ts(%u)", static_cast<int>(k), table[k].ts_offset);
    }
    LOG_ERROR("CheckMPEG12StartCode End");
    return 1;
  });
}
