// Key frame detection: fixed bit positions of each codec's picture header. Codecs
// without a test count every frame as a key frame.
#include "asf/ASFParser.h"
#include "asf/Globals.h"
#include "asf/Log.h"
#include "asf/format/FourCc.h"
#include "asf/format/StartCode.h"

namespace {

// Bytes that the H.263 test looks at, the most of the tests without a length.
constexpr std::size_t kPictureHeaderBytes = 8;

// Picture type codes that make a key picture: I, I/I and I/P.
bool IsKeyPicture(unsigned int code) { return code == 1 || code == 6 || code == 7; }

}  // namespace

unsigned int ASFParser::CheckIFrameStartCode(unsigned char* buf, unsigned int len,
                                             unsigned int fourcc) {
  LOG_TRACE("CheckIFrameStartCode Start, pLen=%lu", static_cast<unsigned long>(len));
  HeadBytes<kPictureHeaderBytes> head(buf, len);
  switch (fourcc) {
    case FourCc("WVC1"):
    case FourCc("wvc1"):
      return 1 - CheckIframe_vc1_adv(head.bytes);
    case FourCc("MPG1"):
    case FourCc("mpg1"):
    case FourCc("MPG2"):
    case FourCc("mpg2"):
      return CheckIframe_mpeg(buf, len);
    case FourCc("H263"):
    case FourCc("h263"):
      return CheckIframe_h263(head.bytes);
    case FourCc("MJPG"):
    case FourCc("mjpg"):
      return CheckIframe_mjpg(head.bytes);
    default:
      return 1;
  }
}

unsigned int ASFParser::CheckIframe_mpeg(unsigned char* buf, unsigned int len) {
  LOG_TRACE("CheckIframe_mpeg");
  // A start code cut off by the buffer's end is none.
  const std::size_t end = len >= kStartCodeBytes ? len - kStartCodeBytes + 1 : 0;
  for (std::size_t i = FindStartCode(buf, 0, end, kMpegPicture); i < end;
       i = FindStartCode(buf, i + 1, end, kMpegPicture)) {
    const HeadBytes<6> picture(buf + i, len - i);
    if ((picture.bytes[5] & 0x38) == 0x08) {
      LOG_ERROR("MPEG1 or 2 StartCode(I frmae) is founded, es_offset %d", static_cast<int>(i));
      return 1;
    }
    LOG_ERROR("MPEG1 or 2 StartCode(P frmae) is founded, es_offset %d", static_cast<int>(i));
  }
  return 0;
}

unsigned int ASFParser::CheckIframe_h263(unsigned char* buf) {
  LOG_TRACE("CheckIframe_h263");
  if (buf[0] != 0 || buf[1] != 0 || (buf[2] & 0xFC) != 0x80) return 0;
  if ((buf[4] & 0x1C) != 0x1C) {
    if ((buf[4] & 0x02) != 0) return 0;
    LOG_TRACE("[PTYPE]H263 StartCode and Iframe picture type are founded");
    return 1;
  }
  if ((buf[5] & 0x80) != 0) {
    if ((buf[7] & 0x1C) != 0) return 0;
    LOG_TRACE("[PLUSPTYPE with OPPTYPE]H263 StartCode and Iframe picture type are founded");
    return 1;
  }
  if ((buf[5] & 0x70) != 0) return 0;
  LOG_TRACE("[PLUSPTYPE]H263 StartCode and Iframe picture type are founded");
  return 1;
}

unsigned int ASFParser::CheckIframe_vc1_adv(unsigned char* buf) {
  const unsigned int b = buf[0];
  unsigned int code;
  if (m_bVC1Interlace != 0) {
    if ((b & 0x80) == 0) {
      code = frmBasedTypeCodes[b >> 3 & 0x0F];
    } else if ((b & 0x40) != 0) {
      code = fldBasedTypeCodes[b >> 3 & 0x07];
    } else {
      code = frmBasedTypeCodes[b >> 2 & 0x0F];
    }
    LOG_TRACE("interlaced clip, frametype(%d)", static_cast<int>(code));
  } else {
    code = frmBasedTypeCodes[b >> 4];
    LOG_TRACE("not interlaced clip, frametype(%d)", static_cast<int>(code));
  }
  if (!IsKeyPicture(code)) return 1;
  LOG_TRACE("VC1 StartCode founded");
  return 0;
}

unsigned int ASFParser::CheckIframe_mjpg(unsigned char* buf) {
  LOG_TRACE("CheckIframe_mjpeg");
  if (buf[0] != 0xFF || buf[1] != 0xD8) return 0;
  LOG_TRACE("MJPEG StartCode founded");
  return 1;
}

unsigned int ASFParser::CheckIframe_vc1_simple_and_main(unsigned char* buf) {
  // Bits of the picture type by its position, without and with B frames. The last
  // one is a single bit, not the two-bit field of the others. Kept so: other
  // pictures would count as key frames.
  static constexpr unsigned char kPictureTypeBits[3][2] = {
      {0x20, 0x30}, {0x10, 0x18}, {0x08, 0x10}};
  const unsigned int position = (m_bVC1RangeRed != 0 ? 1u : 0u) + m_bVC1FInterpFlag;
  const unsigned int bFrames = m_bVC1MaxBFrames != 0 ? 1 : 0;
  return (buf[0] & kPictureTypeBits[position][bFrames]) != 0 ? 1 : 0;
}

// The last position at which a start code fits is never looked at. Kept so: a
// buffer that ends in one would have another answer.
int ASFParser::CheckFrameHeader(unsigned char* buf, unsigned long len) {
  const int positions = static_cast<int>(len - kStartCodeBytes);
  if (positions < 1) return kParserInternal;
  const auto end = static_cast<std::size_t>(positions);
  const std::size_t frame = FindStartCode(buf, 0, end, kVc1Frame);
  return frame != end ? static_cast<int>(frame) : kParserInternal;
}
