// Video delivery: access units from the media objects of the video queue.
#include <cstring>
#include <iterator>

#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/UnitCopy.h"
#include "asf/format/FourCc.h"
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

// Whether a unit with `prefix` bytes before its own lies within `length` bytes.
bool Fits(const frame_loc_data& unit, unsigned int prefix, unsigned int length) {
  return static_cast<unsigned long long>(unit.offset) + prefix + unit.size <= length;
}

}  // namespace

int ASFParser::GetVideoData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                            unsigned long) {
  return m_Barrier.Run([=] {
    if (!FillVideo()) return kParserEndOfStream;
    DeliverVideoObject(buffer, size, timeMs);
    return kParserOk;
  });
}

int ASFParser::GetVideoData(unsigned char* buffer, unsigned long* size, unsigned long* timeMs,
                            unsigned long, bool keyFrameOnly) {
  return m_Barrier.Run([=] {
    if (!FillVideo()) return kParserEndOfStream;
    const bool gated = keyFrameOnly || m_bSeeked != 0;
    m_bSeeked = 0;
    const unsigned int fourcc =
        TypeSpecific<video_specific_data>(
            StreamAt(static_cast<unsigned long>(m_VideoData.TrackIndex), "GetVideoData"))
            .compression;
    // Until an object passes the gate and yields a unit.
    while ((gated && !IsAcceptedKeyFrame(fourcc)) ||
           !DeliverVideoUnit(fourcc, buffer, size, timeMs)) {
      RemoveFrontVideo();
      if (!FillVideo()) return kParserEndOfStream;
    }
    return kParserOk;
  });
}

// Reads packets until two objects are queued: the front one is complete only once
// another has begun behind it. False, with its line, when there is nothing left.
bool ASFParser::FillVideo() {
  while (m_VideoData.qData.size() < 2 && m_bVideoEOS == 0) {
    // Stands when the packet fails, and when the source throws.
    m_bVideoEOS = 1;
    if (ParseDataPacket(m_CurVideoDataPacketNum, kTrackVideo) < 0) break;
    m_bVideoEOS = 0;
    ++m_CurVideoDataPacketNum;
  }
  if (!m_VideoData.qData.empty()) return true;
  LOG_TRACE("[%s] GetVideoData EOS", getName());
  return false;
}

bool ASFParser::IsAcceptedKeyFrame(unsigned int fourcc) {
  const QueuedMedia& object = m_VideoData.qData.front();
  return object.bKeyFrame != 0 && CheckIFrameStartCode(object.pData, object.DataLen, fourcc) != 0;
}

// False: the front object holds no unit.
bool ASFParser::DeliverVideoUnit(unsigned int fourcc, unsigned char* buffer, unsigned long* size,
                                 unsigned long* timeMs) {
  if (IsAvc(fourcc)) return DeliverNalUnit(buffer, size, timeMs);
  if (IsMpeg12(fourcc)) {
    DeliverPicture(buffer, size, timeMs);
  } else {
    DeliverVideoObject(buffer, size, timeMs);
  }
  return true;
}

void ASFParser::DeliverVideoObject(unsigned char* buffer, unsigned long* size,
                                   unsigned long* timeMs) {
  const QueuedMedia& object = m_VideoData.qData.front();
  CopyUnit(buffer, object.pData, object.DataLen);
  *size = object.DataLen;
  *timeMs = object.TimeStamp;
  RemoveFrontVideo();
}

// Forgets a table that was not finished, and one that does not fit the front
// object: it is one of an object that track selection dropped.
void ASFParser::ForgetStaleUnits(unsigned int prefixBytes) {
  FrameTable& table = m_vMultiFrameDataObject;
  const unsigned int length = m_VideoData.qData.front().DataLen;
  const bool isFresh = m_VidFrameTableState != 0 && !table.Empty();
  if (isFresh && Fits(table.Front(), prefixBytes, length)) return;
  table.Clear();
  m_VidFrameTableState = 0;
}

// Every NAL unit of an object carries the object's time. A length that overruns
// the object ends the splitting; the units in front of it are delivered.
bool ASFParser::DeliverNalUnit(unsigned char* buffer, unsigned long* size, unsigned long* timeMs) {
  const QueuedMedia& object = m_VideoData.qData.front();
  FrameTable& table = m_vMultiFrameDataObject;
  ForgetStaleUnits(kNalPrefixBytes);
  if (m_VidFrameTableState == 0) {
    m_VidFrameTableState =
        static_cast<unsigned int>(CheckAVCStartCode(object.pData, object.DataLen));
  }
  if (m_VidFrameTableState == 0) {
    DeliverVideoObject(buffer, size, timeMs);
    return true;
  }
  if (table.Empty()) return false;
  const frame_loc_data unit = table.Front();
  std::memcpy(buffer, kNalStartCode, kNalPrefixBytes);
  CopyUnit(buffer + kNalPrefixBytes, object.pData + unit.offset + kNalPrefixBytes, unit.size);
  *size = unit.size + kNalPrefixBytes;
  *timeMs = object.TimeStamp;
  if (IsLogged(kErrorBit)) {
    const HeadBytes<3> head(buffer + kNalPrefixBytes, unit.size);
    LOG_ERROR("v_size=(%zu)/nal_size=size(%x), offset(%x)[%x %x %x]", table.Size(), unit.size,
              unit.offset, head.bytes[0], head.bytes[1], head.bytes[2]);
  }
  table.PopFront();
  if (table.Empty()) {
    RemoveFrontVideo();
    LOG_ERROR("[%s] GetVideoData2 >> multi- m_VideoData.qData.erase done, qData Size(%zu)",
              getName(), m_VideoData.qData.size());
  }
  return true;
}

void ASFParser::DeliverPicture(unsigned char* buffer, unsigned long* size, unsigned long* timeMs) {
  const QueuedMedia& object = m_VideoData.qData.front();
  FrameTable& table = m_vMultiFrameDataObject;
  ForgetStaleUnits(0);
  if (m_VidFrameTableState == 0) {
    const MediaQueue& queue = m_VideoData.qData;
    const unsigned int durationMs =
        queue.size() > 1 ? std::next(queue.begin())->TimeStamp - object.TimeStamp : 0;
    CheckMPEG12StartCode(object.pData, object.DataLen, durationMs);
    m_VidFrameTableState = 1;
  }
  const frame_loc_data unit = table.Front();
  CopyUnit(buffer, object.pData + unit.offset, unit.size);
  *size = unit.size;
  *timeMs = object.TimeStamp + unit.ts_offset;
  if (IsLogged(kErrorBit)) {
    const HeadBytes<3> head(buffer, unit.size);
    LOG_ERROR("v_size=(%zu)/es_size=size(%d), offset(%d)[%x %x %x]", table.Size(),
              static_cast<int>(unit.size), static_cast<int>(unit.offset), head.bytes[0],
              head.bytes[1], head.bytes[2]);
  }
  table.PopFront();
  if (table.Empty()) RemoveFrontVideo();
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
