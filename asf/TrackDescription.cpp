// Track descriptions: what a track is, its codec number and basic figures.
#include <algorithm>

#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/FourCc.h"

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

// The description of one track, which takes its place in the parser's record only
// when it is complete: a source may throw while packets are read for it.
class ASFParser::TrackDescriber {
 public:
  TrackDescriber(ASFParser& parser, unsigned long index) : m_Parser(parser), m_Index(index) {}

  // The track's record, or null when no audio or video stream has that index.
  TrackInfo* Run();

 private:
  bool Describe();
  bool DescribeOther();
  void DescribeAudio();
  void DescribeVideo(AsfTrackExt* ext);

  ASFParser& m_Parser;
  const unsigned long m_Index;
  TrackInfo m_Info{};
};

TrackInfo* ASFParser::GetTrackInfo(unsigned long index) {
  return m_Barrier.Run([=]() -> TrackInfo* {
    if (index >= m_TrackRecords) {
      LOG_ERROR("[%s] Non A/V Track", getName());
      return nullptr;
    }
    if (m_pTrackInfo[index].trackType != 0) return &m_pTrackInfo[index];
    return TrackDescriber(*this, index).Run();
  });
}

TrackInfo* ASFParser::TrackDescriber::Run() {
  if (!Describe()) return nullptr;
  if (m_Info.trackType == kTrackAudio && m_Info.codec == kCodecAc3 &&
      m_Parser.ProbeEAC3(m_Info.blockAlign)) {
    m_Info.codec = kCodecEac3;
  }
  TrackInfo* record = &m_Parser.m_pTrackInfo[m_Index];
  *record = m_Info;
  return record;
}

bool ASFParser::TrackDescriber::Describe() {
  if (m_Index == static_cast<unsigned long>(m_Parser.m_AudioData.TrackIndex)) {
    const auto& stream = m_Parser.StreamAt(m_Index, "GetTrackInfo");
    m_Parser.m_AudioBitrate =
        8ull * TypeSpecific<audio_specific_data>(stream).averageBytesPerSecond;
    DescribeAudio();
    return true;
  }
  if (m_Index == static_cast<unsigned long>(m_Parser.m_VideoData.TrackIndex)) {
    DescribeVideo(m_Parser.m_pExtraInterface);
    return true;
  }
  return DescribeOther();
}

// A track that is not current: every entry of that index fills the record, so
// that the last one decides.
bool ASFParser::TrackDescriber::DescribeOther() {
  bool described = false;
  for (std::size_t k = 0; k < m_Parser.m_vMediaData.size(); ++k) {
    const media_data& entry = *m_Parser.m_vMediaData[k];
    LOG_TRACE("[%s] GetTrackInfo > loop(%d) trackindex(%d) streamtype(%d)", m_Parser.getName(),
              static_cast<int>(k), entry.TrackIndex, findIdByGUID(entry.StreamType));
    if (static_cast<unsigned long>(entry.TrackIndex) != m_Index) continue;
    const bool isAudio = entry.StreamType == GuidOf(ID_AUDIO_MEDIA);
    const bool isVideo = entry.StreamType == GuidOf(ID_VIDEO_MEDIA);
    if (isAudio) DescribeAudio();
    if (isVideo) DescribeVideo(nullptr);
    described |= isAudio || isVideo;
  }
  if (!described) LOG_ERROR("[%s] Non A/V Track", m_Parser.getName());
  return described;
}

void ASFParser::TrackDescriber::DescribeAudio() {
  auto data = TypeSpecific<audio_specific_data>(m_Parser.StreamAt(m_Index, "GetTrackInfo"));
  setTrackInfo(&m_Info, &data, nullptr);
}

void ASFParser::TrackDescriber::DescribeVideo(AsfTrackExt* ext) {
  auto data = TypeSpecific<video_specific_data>(m_Parser.StreamAt(m_Index, "GetTrackInfo"));
  setTrackInfo(&m_Info, &data, ext);
  m_Info.seekable = m_Parser.m_pSimpleIndex != nullptr ? 1 : 0;
}
