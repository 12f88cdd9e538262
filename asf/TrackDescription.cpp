// Track descriptions: what a track is, its codec number and basic figures.
#include "asf/ASFParser.h"
#include "asf/Log.h"
#include "asf/format/CodecTags.h"

void setTrackInfo(TrackInfo* info, audio_specific_data* data, AsfTrackExt*) {
  info->trackType = kTrackAudio;
  info->codec = AudioCodecOf(data->formatTag);
  info->value1 = data->channels;
  info->value2 = data->samplesPerSecond;
  info->value3 = data->bitsPerSample;
  info->bitrate = data->averageBytesPerSecond * 8;
  info->blockAlign = data->blockAlign;
}

void setTrackInfo(TrackInfo* info, video_specific_data* data, AsfTrackExt* ext) {
  info->trackType = kTrackVideo;
  info->codec = VideoCodecOf(data->compression);
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
  // Up to the last field: what stands behind it in the record stays 0.
  std::memcpy(record, &m_Info, offsetof(TrackInfo, blockAlign) + sizeof(m_Info.blockAlign));
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
