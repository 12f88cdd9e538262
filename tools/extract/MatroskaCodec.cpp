// CodecIDs and configurations: what Matroska's codec mappings say.
#include "tools/extract/MatroskaCodec.h"

#include <algorithm>
#include <optional>

#include "qo_host/H264.h"
#include "tools/extract/Codec.h"

namespace tool {
namespace {

using qo_host::NalUnit;

constexpr int kLengthBytes = 4;

// The configuration that the file has, as it is.
ByteVector OwnConfiguration(const StreamSetup& setup) { return setup.track.config; }

// "AVCDecoderConfigurationRecord" of parameter sets behind start codes; nothing without
// a whole set of them.
std::optional<ByteVector> MakeAvcRecord(const ByteVector& bytes) {
  constexpr std::size_t kMaxSequenceSets = 31, kMaxPictureSets = 255, kMaxSetBytes = 0xFFFF;
  std::vector<NalUnit> sequenceSets, pictureSets;
  qo_host::NalUnits units(bytes.data(), bytes.size());
  for (NalUnit unit{}; units.Next(&unit);) {
    if (unit.size < 4 && unit.type() == NalUnit::kSequenceParameterSet) continue;
    if (unit.size > kMaxSetBytes) continue;
    if (unit.type() == NalUnit::kSequenceParameterSet) sequenceSets.push_back(unit);
    if (unit.type() == NalUnit::kPictureParameterSet) pictureSets.push_back(unit);
  }
  if (sequenceSets.empty() || pictureSets.empty() || sequenceSets.size() > kMaxSequenceSets ||
      pictureSets.size() > kMaxPictureSets)
    return std::nullopt;
  // Version, then profile, compatibility and level as the first set has them.
  ByteVector record{1};
  record.insert(record.end(), sequenceSets[0].data + 1, sequenceSets[0].data + 4);
  record.push_back(0xFC | (kLengthBytes - 1));
  const auto put = [&record](unsigned int count, const std::vector<NalUnit>& sets) {
    record.push_back(static_cast<unsigned char>(count));
    for (const NalUnit& set : sets) {
      PutBig(set.size, 2, &record);
      record.insert(record.end(), set.data, set.data + set.size);
    }
  };
  put(0xE0 | static_cast<unsigned int>(sequenceSets.size()), sequenceSets);
  put(static_cast<unsigned int>(pictureSets.size()), pictureSets);
  return record;
}

// Theora's three headers behind 16-bit lengths, in Xiph's lacing; empty where they are
// not whole.
ByteVector XiphHeaders(const ByteVector& config) {
  constexpr int kHeaders = 3;
  ByteVector sizes{kHeaders - 1}, headers;
  std::size_t at = 0;
  for (int i = 0; i < kHeaders; ++i) {
    if (config.size() - at < 2) return {};
    std::size_t size = static_cast<std::size_t>(config[at]) << 8 | config[at + 1];
    at += 2;
    if (config.size() - at < size) return {};
    headers.insert(headers.end(), config.begin() + static_cast<std::ptrdiff_t>(at),
                   config.begin() + static_cast<std::ptrdiff_t>(at + size));
    at += size;
    if (i == kHeaders - 1) break;
    for (; size >= 0xFF; size -= 0xFF) sizes.push_back(0xFF);
    sizes.push_back(static_cast<unsigned char>(size));
  }
  sizes.insert(sizes.end(), headers.begin(), headers.end());
  return sizes;
}

// In ASF a BITMAPINFOHEADER stands behind 11 bytes of its own: size, flags, length.
MatroskaCodec VideoForWindows(const StreamSetup& setup) {
  constexpr std::size_t kBitmapAt = 11;
  const qo_host::ByteRange range = setup.stream.typeSpecific;
  const unsigned char* const data = setup.header.Data(range);
  return {"V_MS/VFW/FOURCC", ByteVector(data + std::min(kBitmapAt, range.size), data + range.size)};
}

MatroskaCodec CodecManager(const StreamSetup& setup) {
  constexpr std::size_t kWaveFormatBytes = 18;
  const qo_host::ByteRange range = setup.stream.typeSpecific;
  const unsigned char* const data = setup.header.Data(range);
  ByteVector format(data, data + range.size);
  format.resize(std::max(format.size(), kWaveFormatBytes));
  return {"A_MS/ACM", std::move(format)};
}

MatroskaCodec H264(const StreamSetup& setup) {
  const ByteVector sets = qo_host::H264ParameterSets(setup.track);
  std::optional<ByteVector> record = MakeAvcRecord(sets);
  if (!record) {
    record = MakeAvcRecord({setup.first.data, setup.first.data + setup.first.size});
  }
  if (!record) return VideoForWindows(setup);
  return {"V_MPEG4/ISO/AVC", *std::move(record), true};
}

MatroskaCodec VideoCodec(const StreamSetup& setup) {
  if (IsMpeg4Part2(setup)) return {"V_MPEG4/ISO/ASP", OwnConfiguration(setup)};
  if (IsVp9(setup)) return {"V_VP9", {}};
  switch (setup.track.info.codec) {
    case kCodecH264:
      return H264(setup);
    case kCodecMpeg1:
      return {"V_MPEG1", {}};
    case kCodecMpeg2:
      return {"V_MPEG2", OwnConfiguration(setup)};
    case kCodecMp43:
    case kCodecDivx3:
      return {"V_MPEG4/MS/V3", {}};
    case kCodecMjpeg:
      return {"V_MJPEG", {}};
    case kCodecVp8:
      return {"V_VP8", {}};
    case kCodecTheora: {
      ByteVector headers = XiphHeaders(setup.track.config);
      if (!headers.empty()) return {"V_THEORA", std::move(headers)};
      break;
    }
    default:
      break;
  }
  return VideoForWindows(setup);
}

MatroskaCodec Pcm(const StreamSetup& setup) {
  return {setup.track.codecTag == kTagFloat ? "A_PCM/FLOAT/IEEE" : "A_PCM/INT/LIT",
          {},
          false,
          setup.stream.audio->bitsPerSample};
}

MatroskaCodec AudioCodec(const StreamSetup& setup) {
  if (setup.track.codecTag == kTagFloat) return Pcm(setup);
  switch (setup.track.info.codec) {
    case kCodecAac:
      if (IsAdts(setup)) break;
      return {"A_AAC", OwnConfiguration(setup)};
    case kCodecMpegAudio:
      return {MpegAudioLayer(setup) == 3 ? "A_MPEG/L3" : "A_MPEG/L2", {}};
    case kCodecAc3:
      return {"A_AC3", {}};
    case kCodecEac3:
      return {"A_EAC3", {}};
    case kCodecDts:
      return {"A_DTS", {}};
    case kCodecPcm:
      return Pcm(setup);
    default:
      break;
  }
  return CodecManager(setup);
}

}  // namespace

MatroskaCodec MatroskaCodecOf(const StreamSetup& setup) {
  return setup.track.kind == qo_host::TrackKind::kVideo ? VideoCodec(setup) : AudioCodec(setup);
}

void PutLengths(const Frame& frame, ByteVector* out) {
  out->clear();
  qo_host::NalUnits units(frame.data, frame.size);
  for (NalUnit unit{}; units.Next(&unit);) {
    PutBig(unit.size, kLengthBytes, out);
    out->insert(out->end(), unit.data, unit.data + unit.size);
  }
}

}  // namespace tool
