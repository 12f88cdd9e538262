// Track descriptions: what a track is, its codec number and basic figures, and the
// probe that tells E-AC-3 from AC-3.
#include <algorithm>

#include "asf/ASFParser.h"
#include "asf/FourCc.h"
#include "asf/Limits.h"
#include "asf/Log.h"

namespace {

constexpr unsigned int kCodecAc3 = 203;
constexpr unsigned int kCodecEac3 = 204;

struct CodecRow {
  unsigned int identifier;  // WAVE format tag or FourCC
  unsigned int codec;
};

constexpr CodecRow kAudioCodecs[] = {
    {0x0001, 206}, {0x0007, 221}, {0x000A, 214}, {0x0045, 222}, {0x0050, 202}, {0x0055, 202},
    {0x0092, 203}, {0x00FF, 201}, {0x0160, 210}, {0x0161, 211}, {0x0162, 212}, {0x0163, 213},
    {0x0164, 209}, {0x2000, 203}, {0x2001, 205}, {0x7A21, 215}, {0x7A22, 215},
};

// Exactly these, gaps and mixed case included: "vp62" is unknown and "DIV2" goes
// with MPEG-4. Hosts choose their decoders by it.
constexpr CodecRow kVideoCodecs[] = {
    {FourCc("MPG2"), 101}, {FourCc("mpg2"), 101}, {FourCc("MPG4"), 102}, {FourCc("mpg4"), 102},
    {FourCc("FMP4"), 102}, {FourCc("fmp4"), 102}, {FourCc("DIV2"), 102}, {FourCc("div2"), 102},
    {FourCc("H263"), 103}, {FourCc("h263"), 103}, {FourCc("AVC1"), 104}, {FourCc("avc1"), 104},
    {FourCc("H264"), 104}, {FourCc("h264"), 104}, {FourCc("x264"), 104}, {FourCc("WMV1"), 106},
    {FourCc("wmv1"), 106}, {FourCc("WMV2"), 107}, {FourCc("wmv2"), 107}, {FourCc("WMV3"), 108},
    {FourCc("wmv3"), 108}, {FourCc("WVC1"), 109}, {FourCc("wvc1"), 109}, {FourCc("WMVA"), 110},
    {FourCc("wmva"), 110}, {FourCc("MP42"), 112}, {FourCc("mp42"), 112}, {FourCc("M4S2"), 112},
    {FourCc("m4s2"), 112}, {FourCc("MP43"), 113}, {FourCc("mp43"), 113}, {FourCc("MJPG"), 114},
    {FourCc("mjpg"), 114}, {FourCc("VP60"), 115}, {FourCc("vp60"), 115}, {FourCc("VP61"), 115},
    {FourCc("vp61"), 115}, {FourCc("VP62"), 115}, {FourCc("Vp62"), 115}, {FourCc("VP6F"), 115},
    {FourCc("VP70"), 116}, {FourCc("vp70"), 116}, {FourCc("VP71"), 116}, {FourCc("vp71"), 116},
    {FourCc("VP72"), 116}, {FourCc("vp72"), 116}, {FourCc("VP80"), 117}, {FourCc("vp80"), 117},
    {FourCc("VP81"), 117}, {FourCc("vp81"), 117}, {FourCc("VP82"), 117}, {FourCc("vp82"), 117},
    {FourCc("DIV1"), 118}, {FourCc("div1"), 118}, {FourCc("DIV3"), 118}, {FourCc("div3"), 118},
    {FourCc("DIV4"), 118}, {FourCc("div4"), 118}, {FourCc("MPG1"), 119}, {FourCc("mpg1"), 119},
    {FourCc("MP4V"), 120}, {FourCc("mp4v"), 120}, {FourCc("THEO"), 121}, {FourCc("theo"), 121},
    {FourCc("DIVX"), 123}, {FourCc("divx"), 123}, {FourCc("DX50"), 124}, {FourCc("dx50"), 124},
    {FourCc("DIV5"), 124}, {FourCc("div5"), 124}, {FourCc("DXMF"), 125}, {FourCc("dxmf"), 125},
    {FourCc("XVID"), 126}, {FourCc("xvid"), 126},
};

template <std::size_t N>
unsigned int CodecOf(const CodecRow (&table)[N], unsigned int identifier) {
  const auto* row = std::find_if(std::begin(table), std::end(table),
                                 [=](const CodecRow& r) { return r.identifier == identifier; });
  return row != std::end(table) ? row->codec : kCodecUnknown;
}

// The shortest piece that can hold an AC-3 sync word and what follows it.
constexpr unsigned int kAc3HeaderBytes = 7;

enum class Ac3Kind { kNone, kAc3, kEac3 };

// Looks for the first sync word, in either byte order. The bit stream identifier
// is taken from the same place in both.
Ac3Kind ScanForAc3(const unsigned char* data, unsigned int length) {
  for (unsigned int i = 0; i + kAc3HeaderBytes <= length; ++i) {
    const bool sync =
        (data[i] == 0x0B && data[i + 1] == 0x77) || (data[i] == 0x77 && data[i + 1] == 0x0B);
    if (sync) return (data[i + 5] & 0x80) != 0 ? Ac3Kind::kEac3 : Ac3Kind::kAc3;
  }
  return Ac3Kind::kNone;
}

}  // namespace

void setTrackInfo(TrackInfo* info, audio_specific_data* data, AsfTrackExt*) {
  info->trackType = kTrackAudio;
  info->codec = CodecOf(kAudioCodecs, data->formatTag);
  info->value1 = data->channels;
  info->value2 = data->samplesPerSecond;
  info->value3 = data->bitsPerSample;
  info->bitrate = data->averageBytesPerSecond * 8;
  info->blockAlign = data->blockAlign;
}

void setTrackInfo(TrackInfo* info, video_specific_data* data, AsfTrackExt* ext) {
  info->trackType = kTrackVideo;
  info->codec = CodecOf(kVideoCodecs, data->compression);
  info->value1 = data->encodedWidth;
  info->value2 = data->encodedHeight;
  info->value3 = 0;
  info->bitrate = 0;
  if (ext == nullptr) return;
  ext->valid = 1;
  ext->headerSize = data->headerSize;
  ext->planes = data->planes;
  ext->bitCount = data->bitCount;
  ext->compression = data->compression;
  ext->imageSize = data->imageSize;
  ext->xPelsPerMeter = data->xPelsPerMeter;
  ext->yPelsPerMeter = data->yPelsPerMeter;
  ext->colorsUsed = data->colorsUsed;
  ext->colorsImportant = data->colorsImportant;
}

TrackInfo* ASFParser::GetTrackInfo(unsigned long index) {
  return m_Barrier.Run([=]() -> TrackInfo* {
    if (index >= m_TrackRecords) {
      LOG_ERROR("[%s] Non A/V Track", getName());
      return nullptr;
    }
    if (m_pTrackInfo[index].trackType != 0) return &m_pTrackInfo[index];
    TrackInfo* info = DescribeTrack(index);
    if (info != nullptr && info->trackType == kTrackAudio && info->codec == kCodecAc3 &&
        ProbeEAC3(info->blockAlign)) {
      info->codec = kCodecEac3;
    }
    return info;
  });
}

TrackInfo* ASFParser::DescribeTrack(unsigned long index) {
  if (index == static_cast<unsigned long>(m_AudioData.TrackIndex)) {
    m_AudioBitrate =
        8ull *
        TypeSpecific<audio_specific_data>(StreamAt(index, "GetTrackInfo")).averageBytesPerSecond;
    return DescribeAudio(index);
  }
  if (index == static_cast<unsigned long>(m_VideoData.TrackIndex)) {
    return DescribeVideo(index, m_pExtraInterface);
  }
  return DescribeOtherTrack(index);
}

// A track that is not current: every entry of that index fills the record, so
// that the last one decides.
TrackInfo* ASFParser::DescribeOtherTrack(unsigned long index) {
  TrackInfo* described = nullptr;
  for (std::size_t k = 0; k < m_vMediaData.size(); ++k) {
    const media_data& entry = *m_vMediaData[k];
    LOG_TRACE("[%s] GetTrackInfo > loop(%d) trackindex(%d) streamtype(%d)", getName(),
              static_cast<int>(k), entry.TrackIndex, findIdByGUID(entry.StreamType));
    if (static_cast<unsigned long>(entry.TrackIndex) != index) continue;
    if (entry.StreamType == GuidOf(ID_AUDIO_MEDIA)) described = DescribeAudio(index);
    if (entry.StreamType == GuidOf(ID_VIDEO_MEDIA)) described = DescribeVideo(index, nullptr);
  }
  if (described == nullptr) LOG_ERROR("[%s] Non A/V Track", getName());
  return described;
}

TrackInfo* ASFParser::DescribeAudio(unsigned long index) {
  auto data = TypeSpecific<audio_specific_data>(StreamAt(index, "GetTrackInfo"));
  setTrackInfo(&m_pTrackInfo[index], &data, nullptr);
  return &m_pTrackInfo[index];
}

TrackInfo* ASFParser::DescribeVideo(unsigned long index, AsfTrackExt* ext) {
  auto data = TypeSpecific<video_specific_data>(StreamAt(index, "GetTrackInfo"));
  setTrackInfo(&m_pTrackInfo[index], &data, ext);
  m_pTrackInfo[index].seekable = m_pSimpleIndex != nullptr ? 1 : 0;
  return &m_pTrackInfo[index];
}

bool ASFParser::IsEAC3() {
  return m_Barrier.Run([this] {
    const auto index = static_cast<std::size_t>(m_AudioData.TrackIndex);
    return ProbeEAC3(index < m_TrackRecords ? m_pTrackInfo[index].blockAlign : 0);
  });
}

bool ASFParser::ProbeEAC3(unsigned int blockAlign) {
  const bool isEac3 = m_bAudioEOS == 0 && FindFirstAc3Frame(blockAlign);
  LOG_TRACE("[%s] %s", "IsEAC3", isEac3 ? "EAC3" : "AC3");
  return isEac3;
}

// Reads packets from the first one on until the audio queue holds a sync word.
// Whatever it queued itself it drops again; objects that were there before it
// stay, and are looked at once. Too small a block align can hold no sync word:
// the packets are read all the same. Sets m_bAudioEOS at the end of the data and
// leaves it set.
bool ASFParser::FindFirstAc3Frame(unsigned int blockAlign) {
  const MediaQueue& queue = m_AudioData.qData;
  if (!queue.empty()) {
    return ScanForAc3(queue.front().pData, std::min(blockAlign, queue.front().DataLen)) ==
           Ac3Kind::kEac3;
  }
  for (int packet = 0; packet < kMaxProbePackets && m_bAudioEOS == 0; ++packet) {
    if (ParseDataPacket(static_cast<unsigned long>(packet), 2) < 0) m_bAudioEOS = 1;
    if (queue.empty()) continue;
    const Ac3Kind kind =
        ScanForAc3(queue.front().pData, std::min(blockAlign, queue.front().DataLen));
    DropAudioObjects();
    if (kind != Ac3Kind::kNone) return kind == Ac3Kind::kEac3;
  }
  return false;
}
