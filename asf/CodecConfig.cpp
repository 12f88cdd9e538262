// Codec configuration bytes, and the VC-1 sequence header in them.
#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/FourCc.h"
#include "asf/format/StartCode.h"

int ASFParser::GetAudioConfig(unsigned char* buffer, unsigned long* size, unsigned long capacity) {
  const auto& stream =
      StreamAt(static_cast<unsigned long>(m_AudioData.TrackIndex), "GetAudioConfig");
  const unsigned int length = stream.image.typeSpecificLength;
  constexpr unsigned int kFixed = sizeof(audio_specific_data);
  *size = length;
  LOG_TRACE("[%s] GetAudioConfig : TypeSpecificDataLen=%u, audio_specific_data len=%d", getName(),
            length, static_cast<int>(kFixed));
  if (length <= kFixed) {
    *size = 0;
    return kParserOk;
  }
  *size = length - kFixed;
  LOG_TRACE("[%s] GetAudioConfig : dataLen=%lu(%u), pData=0x%lx", getName(), *size, length,
            reinterpret_cast<unsigned long>(buffer));
  if (*size > capacity) {
    LOG_ERROR("[%s] GetAudioConfig Len Error", getName());
    return kParserMalformed;
  }
  std::memcpy(buffer, stream.typeSpecificData + kFixed, *size);
  return kParserOk;
}

int ASFParser::GetVideoConfig(unsigned char* buffer, unsigned long* size, unsigned long capacity) {
  const auto& stream =
      StreamAt(static_cast<unsigned long>(m_VideoData.TrackIndex), "GetVideoConfig");
  const unsigned int length = stream.image.typeSpecificLength;
  const unsigned int fourcc = TypeSpecific<video_specific_data>(stream).compression;
  constexpr unsigned int kFixed = sizeof(video_specific_data);
  *size = length;
  LOG_TRACE("[%s] GetVideoConfig : TypeSpecificDataLen=%u, video_specific_data len=%lu", getName(),
            length, static_cast<unsigned long>(kFixed));
  if (length <= kFixed) {
    *size = 0;
  } else {
    *size = length - kFixed;
    LOG_TRACE("[%s] GetVideoConfig : dataLen=%lu(%u), pData=0x%lx", getName(), *size, length,
              reinterpret_cast<unsigned long>(buffer));
    if (*size > capacity) {
      LOG_ERROR("[%s] GetVideoConfig Len Error", getName());
      return kParserMalformed;
    }
    std::memcpy(buffer, stream.typeSpecificData + kFixed, *size);
  }
  if (fourcc == FourCc("WVC1") || fourcc == FourCc("wvc1")) {
    static_cast<void>(CheckSeqHdr_vc1_adv(buffer, size));  // a stream without one plays too
  } else if (fourcc == FourCc("WMV3") || fourcc == FourCc("wmv3")) {
    CheckSeqHdr_vc1_simple_and_main(buffer, size);
  }
  return kParserOk;
}

// Only INTERLACE is kept. The weights of FRMRTQ_POSTPROC and the mask of
// MAX_CODED_HEIGHT are not those of the standard. Kept so: the trace would change.
int ASFParser::CheckSeqHdr_vc1_adv(unsigned char* buf, unsigned long* len) {
  const std::size_t end = PositionsBeforeLast(*len);
  const std::size_t start = FindStartCode(buf, 0, end, kVc1SequenceHeader);
  if (start == end) {
    LOG_ERROR("can not find seq header in exdata");
    return kParserMalformed;
  }
  const std::size_t header = start + kStartCodeBytes;
  const HeadBytes<6> head(buf + header, *len - header);
  const unsigned char* h = head.bytes;
  LOG_TRACE("PROFILE(%d)", h[0] >> 6);
  LOG_TRACE("LEVEL(%d)", h[0] >> 3 & 7);
  LOG_TRACE("COLORDIFF_FORMAT(%d)", h[0] >> 1 & 3);
  LOG_TRACE("FRMRTQ_POSTPROC(%d)", (h[0] & 1) * 8 + (h[1] >> 6));
  LOG_TRACE("BITRTQ_POSTPROC(%d)", h[1] >> 1 & 0x1F);
  LOG_TRACE("POSTPROCFLAG(%d)", h[1] & 1);
  LOG_TRACE("MAX_CODED_WIDTH(%d)", h[2] * 16 + (h[3] >> 4));
  LOG_TRACE("MAX_CODED_HEIGHT(%d)", (h[3] & 0x0F) * 256 + (h[4] & 0xF0));
  LOG_TRACE("PULLDOWN(%d)", h[5] >> 7);
  LOG_TRACE("INTERLACE(%d)", h[5] >> 6 & 1);
  m_bVC1Interlace = h[5] >> 6 & 1;
  LOG_TRACE("interlaced is (%d)", m_bVC1Interlace);
  return 1;
}

int ASFParser::CheckSeqHdr_vc1_simple_and_main(unsigned char* buf, unsigned long* len) {
  if (*len >= 4) {
    m_bVC1RangeRed = buf[3] >> 7;
    m_bVC1MaxBFrames = (buf[3] & 0x70) != 0 ? 1 : 0;
    m_bVC1FInterpFlag = buf[3] >> 1 & 1;
  }
  return 1;
}

int ASFParser::CheckVideoSequenceHeader(unsigned char streamNumber, unsigned char* data,
                                        unsigned long len) {
  if (streamNumber != m_VideoData.StreamNumber) return kParserInternal;
  const HeadBytes<kStartCodeBytes> head(data, len);
  if (IsStartCode(head.bytes, kVc1SequenceHeader)) {
    const std::size_t end = PositionsBeforeLast(len);
    const std::size_t frame = FindStartCode(data, 0, end, kVc1Frame);
    return frame != end ? static_cast<int>(frame) : kParserInternal;
  }
  return IsStartCode(head.bytes, head.bytes[3]) ? 0 : kParserInternal;
}
