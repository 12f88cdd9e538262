// Track descriptions: what a track is, its codec number and basic figures, and the
// probe that tells E-AC-3 from AC-3.
#include <algorithm>

#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/FourCc.h"
#include "asf/format/Limits.h"

namespace {

struct CodecRow {
  unsigned int identifier;  // WAVE format tag or FourCC
  unsigned int codec;
};

constexpr CodecRow kAudioCodecs[] = {
    {0x0001, kCodecPcm},      {0x0007, kCodecMuLaw},     {0x000A, kCodecWmaVoice},
    {0x0045, kCodecG726},     {0x0050, kCodecMpegAudio}, {0x0055, kCodecMpegAudio},
    {0x0092, kCodecAc3},      {0x00FF, kCodecAac},       {0x0160, kCodecWma1},
    {0x0161, kCodecWma2},     {0x0162, kCodecWmaPro},    {0x0163, kCodecWmaLossless},
    {0x0164, kCodecWmaSpdif}, {0x2000, kCodecAc3},       {0x2001, kCodecDts},
    {0x7A21, kCodecAmr},      {0x7A22, kCodecAmr},
};

// Exactly these, gaps and mixed case included: "vp62" is unknown and "DIV2" goes
// with MPEG-4. Hosts choose their decoders by it.
constexpr CodecRow kVideoCodecs[] = {
    {FourCc("MPG2"), kCodecMpeg2},  {FourCc("mpg2"), kCodecMpeg2}, {FourCc("MPG4"), kCodecMpeg4},
    {FourCc("mpg4"), kCodecMpeg4},  {FourCc("FMP4"), kCodecMpeg4}, {FourCc("fmp4"), kCodecMpeg4},
    {FourCc("DIV2"), kCodecMpeg4},  {FourCc("div2"), kCodecMpeg4}, {FourCc("H263"), kCodecH263},
    {FourCc("h263"), kCodecH263},   {FourCc("AVC1"), kCodecH264},  {FourCc("avc1"), kCodecH264},
    {FourCc("H264"), kCodecH264},   {FourCc("h264"), kCodecH264},  {FourCc("x264"), kCodecH264},
    {FourCc("WMV1"), kCodecWmv1},   {FourCc("wmv1"), kCodecWmv1},  {FourCc("WMV2"), kCodecWmv2},
    {FourCc("wmv2"), kCodecWmv2},   {FourCc("WMV3"), kCodecWmv3},  {FourCc("wmv3"), kCodecWmv3},
    {FourCc("WVC1"), kCodecWvc1},   {FourCc("wvc1"), kCodecWvc1},  {FourCc("WMVA"), kCodecWmva},
    {FourCc("wmva"), kCodecWmva},   {FourCc("MP42"), kCodecMp42},  {FourCc("mp42"), kCodecMp42},
    {FourCc("M4S2"), kCodecMp42},   {FourCc("m4s2"), kCodecMp42},  {FourCc("MP43"), kCodecMp43},
    {FourCc("mp43"), kCodecMp43},   {FourCc("MJPG"), kCodecMjpeg}, {FourCc("mjpg"), kCodecMjpeg},
    {FourCc("VP60"), kCodecVp6},    {FourCc("vp60"), kCodecVp6},   {FourCc("VP61"), kCodecVp6},
    {FourCc("vp61"), kCodecVp6},    {FourCc("VP62"), kCodecVp6},   {FourCc("Vp62"), kCodecVp6},
    {FourCc("VP6F"), kCodecVp6},    {FourCc("VP70"), kCodecVp7},   {FourCc("vp70"), kCodecVp7},
    {FourCc("VP71"), kCodecVp7},    {FourCc("vp71"), kCodecVp7},   {FourCc("VP72"), kCodecVp7},
    {FourCc("vp72"), kCodecVp7},    {FourCc("VP80"), kCodecVp8},   {FourCc("vp80"), kCodecVp8},
    {FourCc("VP81"), kCodecVp8},    {FourCc("vp81"), kCodecVp8},   {FourCc("VP82"), kCodecVp8},
    {FourCc("vp82"), kCodecVp8},    {FourCc("DIV1"), kCodecDivx3}, {FourCc("div1"), kCodecDivx3},
    {FourCc("DIV3"), kCodecDivx3},  {FourCc("div3"), kCodecDivx3}, {FourCc("DIV4"), kCodecDivx3},
    {FourCc("div4"), kCodecDivx3},  {FourCc("MPG1"), kCodecMpeg1}, {FourCc("mpg1"), kCodecMpeg1},
    {FourCc("MP4V"), kCodecMp4v},   {FourCc("mp4v"), kCodecMp4v},  {FourCc("THEO"), kCodecTheora},
    {FourCc("theo"), kCodecTheora}, {FourCc("DIVX"), kCodecDivx4}, {FourCc("divx"), kCodecDivx4},
    {FourCc("DX50"), kCodecDivx5},  {FourCc("dx50"), kCodecDivx5}, {FourCc("DIV5"), kCodecDivx5},
    {FourCc("div5"), kCodecDivx5},  {FourCc("DXMF"), kCodecDxmf},  {FourCc("dxmf"), kCodecDxmf},
    {FourCc("XVID"), kCodecXvid},   {FourCc("xvid"), kCodecXvid},
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
