// Codecs by their tags: the parser's tables, and what the field knows besides. No state.
#include "qo_host/StreamCodec.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "asf/format/CodecTags.h"
#include "asf/format/FourCc.h"
#include "qo_host/CodecNames.h"
#include "qo_parser_asf/Codecs.h"

namespace qo_host {
namespace {

// Sub-formats that stand for no format tag.
constexpr struct {
  Guid subFormat;
  unsigned int codec;
} kSubFormats[] = {
    {{{0x2C, 0x80, 0x6D, 0xE0, 0x46, 0xDB, 0xCF, 0x11, 0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB,
       0xEA}},
     kCodecAc3},
    {{{0xAF, 0x87, 0xFB, 0xA7, 0x02, 0x2D, 0xFB, 0x42, 0xA4, 0xD4, 0x05, 0xCD, 0x93, 0x84, 0x3B,
       0xDD}},
     kCodecEac3},
};

struct TagName {
  unsigned int tag;
  const char* name;
};

// Codecs without a number.
constexpr TagName kAudioNames[] = {
    {0x0002, "MS ADPCM"},     {0x0003, "PCM, floating point"},
    {0x0006, "A-law PCM"},    {0x0011, "IMA ADPCM"},
    {0x0020, "Yamaha ADPCM"}, {0x0022, "TrueSpeech"},
    {0x0031, "GSM 6.10"},     {0x0042, "G.723.1"},
    {0x0064, "G.726 ADPCM"},  {0x0075, "Voxware"},
    {0x0130, "ACELP.net"},    {0x0270, "ATRAC3"},
    {0x028F, "G.722 ADPCM"},  {0x1600, "AAC (ADTS)"},
    {0x1610, "AAC"},          {0x5346, "SWF ADPCM"},
    {0x566F, "Vorbis"},       {0x674F, "Vorbis"},
    {0x704F, "Opus"},         {0xA109, "Speex"},
    {0xF1AC, "FLAC"},
};
constexpr TagName kVideoNames[] = {
    {0, "RGB"},
    {FourCc("WMVP"), "Windows Media Video 9 Image"},
    {FourCc("WVP2"), "Windows Media Video 9 Image version 2"},
    {FourCc("MSS1"), "Windows Media Screen 7"},
    {FourCc("MSS2"), "Windows Media Screen 9"},
    {FourCc("WMVR"), "Windows Media Video 9 (WMVR)"},
    {FourCc("MP41"), "MPEG-4 version 1"},
    {FourCc("DVR "), "MPEG-2 video"},
    {FourCc("MPEG"), "MPEG video"},
    {FourCc("DAVC"), "H.264 (DAVC)"},
    {FourCc("VP90"), "VP9"},
    {FourCc("HEVC"), "H.265"},
    {FourCc("AV01"), "AV1"},
    {FourCc("FLV1"), "Sorenson H.263"},
    {FourCc("SVQ1"), "Sorenson Video 1"},
    {FourCc("dvsd"), "DV"},
    {FourCc("FFV1"), "FFV1"},
    {FourCc("HFYU"), "HuffYUV"},
    {FourCc("MPNG"), "PNG"},
    {FourCc("GIF "), "GIF"},
    {FourCc("SNOW"), "Snow"},
    {FourCc("ZMBV"), "Zip Motion Blocks"},
    {FourCc("RGB "), "RGB"},
    {FourCc("I420"), "YUV 4:2:0"},
    {FourCc("IYUV"), "YUV 4:2:0"},
    {FourCc("YV12"), "YUV 4:2:0"},
    {FourCc("YUY2"), "YUV 4:2:2"},
    {FourCc("UYVY"), "YUV 4:2:2"},
};

template <std::size_t N>
std::string NameIn(const TagName (&table)[N], unsigned int tag) {
  const auto* const row =
      std::find_if(std::begin(table), std::end(table), [=](const auto& r) { return r.tag == tag; });
  return row != std::end(table) ? row->name : "";
}

// FourCCs that the parser knows not, but the field does.
unsigned int CodecOfVideo(unsigned int fourCc) {
  switch (fourCc) {
    case FourCc("X264"):
      return kCodecH264;
    case FourCc("MP4S"):
    case FourCc("mp4s"):
      return kCodecMpeg4;
    default:
      return VideoCodecOf(fourCc);
  }
}

StreamCodec CodecOfAudio(const StreamHeader& stream) {
  StreamCodec codec = {stream.codecTag, AudioCodecOf(stream.codecTag)};
  if (!stream.extensible) return codec;
  if (stream.extensible->formatTag) {
    codec = {*stream.extensible->formatTag, AudioCodecOf(*stream.extensible->formatTag)};
  }
  for (const auto& row : kSubFormats) {
    if (row.subFormat == stream.extensible->subFormat) codec.codec = row.codec;
  }
  return codec;
}

}  // namespace

StreamCodec CodecOf(const StreamHeader& stream) {
  switch (stream.kind) {
    case StreamKind::kAudio:
      return CodecOfAudio(stream);
    case StreamKind::kVideo:
      return {stream.codecTag, CodecOfVideo(stream.codecTag)};
    default:
      return {0, kCodecUnknown};
  }
}

std::string CodecNameOf(const StreamHeader& stream) {
  const StreamCodec codec = CodecOf(stream);
  if (codec.codec != kCodecUnknown) return CodecName(codec.codec);
  if (stream.kind == StreamKind::kAudio) return NameIn(kAudioNames, codec.tag);
  return stream.kind == StreamKind::kVideo ? NameIn(kVideoNames, codec.tag) : "";
}

std::string CodecTagText(const StreamHeader& stream) {
  const unsigned int tag = CodecOf(stream).tag;
  if (stream.kind == StreamKind::kVideo) return FourCcText(tag);
  if (stream.kind != StreamKind::kAudio) return "";
  if (stream.extensible && !stream.extensible->formatTag) {
    return GuidString(stream.extensible->subFormat);
  }
  char text[16];
  std::snprintf(text, sizeof(text), "0x%04X", tag);
  return text;
}

}  // namespace qo_host
