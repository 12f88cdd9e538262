// Profiles, out of what a stream's configuration begins with. No state.
#include <algorithm>
#include <iterator>

#include "asf/format/ByteReader.h"
#include "qo_host/StreamCodec.h"
#include "qo_parser_asf/Codecs.h"

namespace qo_host {
namespace {

// Bytes of a configuration, within a header.
struct Config {
  const unsigned char* data;
  std::size_t size;

  unsigned char At(std::size_t index) const { return index < size ? data[index] : 0; }

  // What stands behind a start code, 00 00 01 and `value` where `mask` has bits; empty
  // without it.
  Config Behind(unsigned char value, unsigned char mask = 0xFF) const {
    for (std::size_t i = 0; i + 3 < size; ++i) {
      const bool isCode = data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1;
      if (isCode && (data[i + 3] & mask) == value) return {data + i + 4, size - i - 4};
    }
    return {data, 0};
  }
};

struct ProfileName {
  unsigned int number;
  const char* name;
};

template <std::size_t N>
std::string NameIn(const ProfileName (&table)[N], unsigned int number) {
  const auto* const row = std::find_if(std::begin(table), std::end(table),
                                       [=](const auto& r) { return r.number == number; });
  return row != std::end(table) ? row->name : "profile " + std::to_string(number);
}

// Of an avcC record, or of the sequence parameter set behind a start code.
std::string H264Profile(const Config& config) {
  static constexpr ProfileName kNames[] = {
      {44, "CAVLC 4:4:4 Intra"}, {66, "Baseline"},    {77, "Main"},
      {88, "Extended"},          {100, "High"},       {110, "High 10"},
      {122, "High 4:2:2"},       {244, "High 4:4:4"},
  };
  constexpr unsigned char kParameterSet = 7, kNalType = 0x1F, kRecordVersion = 1;
  constexpr unsigned char kConstrained = 0x40;
  const bool isRecord = config.At(0) == kRecordVersion;
  const Config set =
      isRecord ? Config{config.data + 1, config.size - 1} : config.Behind(kParameterSet, kNalType);
  if (set.size < 3) return "";
  const unsigned int level = set.At(2);
  const bool isConstrained = set.At(0) == 66 && (set.At(1) & kConstrained) != 0;
  std::string text = (isConstrained ? "Constrained " : "") + NameIn(kNames, set.At(0)) + "@L" +
                     std::to_string(level / 10);
  if (level % 10 != 0) text += "." + std::to_string(level % 10);
  return text;
}

// The object type of an AudioSpecificConfig.
std::string AacProfile(const Config& config) {
  static constexpr ProfileName kNames[] = {
      {1, "Main"}, {2, "LC"}, {3, "SSR"}, {4, "LTP"}, {5, "HE-AAC"}, {29, "HE-AACv2"},
  };
  constexpr unsigned int kEscape = 31;
  if (config.size < 2) return "";
  const unsigned int type = config.At(0) >> 3;
  if (type != kEscape) return NameIn(kNames, type);
  return NameIn(kNames, 32 + ((config.At(0) & 7u) << 3 | config.At(1) >> 5));
}

std::string Vc1Profile(const Config& config) {
  static constexpr ProfileName kNames[] = {
      {0, "Simple"}, {1, "Main"}, {2, "Complex"}, {3, "Advanced"}};
  return config.size == 0 ? "" : NameIn(kNames, config.At(0) >> 6);
}

std::string Vc1AdvancedProfile(const Config& config) {
  constexpr unsigned char kSequenceHeader = 0x0F;
  const Config header = config.Behind(kSequenceHeader);
  if (header.size == 0) return "";
  return Vc1Profile(header) + "@L" + std::to_string(header.At(0) >> 3 & 7);
}

std::string Mpeg4Profile(const Config& config) {
  constexpr unsigned char kSequenceStart = 0xB0;
  const Config sequence = config.Behind(kSequenceStart);
  if (sequence.size == 0) return "";
  const unsigned int code = sequence.At(0);
  if (code == 8) return "Simple@L0";
  if (code >= 1 && code <= 3) return "Simple@L" + std::to_string(code);
  if (code >= 0xF0 && code <= 0xF5) return "Advanced Simple@L" + std::to_string(code - 0xF0);
  return "profile " + std::to_string(code);
}

// By the tag of layer III, or a bit for each layer.
std::string MpegAudioLayer(unsigned int tag, const Config& config) {
  constexpr unsigned int kLayer3Tag = 0x0055;
  if (tag == kLayer3Tag) return "layer III";
  static constexpr ProfileName kNames[] = {{1, "layer I"}, {2, "layer II"}, {4, "layer III"}};
  return config.size < 2 ? "" : NameIn(kNames, LoadLe16(config.data));
}

}  // namespace

std::string ProfileText(const FileHeader& header, const StreamHeader& stream) {
  constexpr std::size_t kExtensibleBytes = 22;
  const StreamCodec codec = CodecOf(stream);
  const std::size_t skipped =
      stream.extensible ? std::min(kExtensibleBytes, stream.codecData.size) : 0;
  const Config config{header.Data(stream.codecData) + skipped, stream.codecData.size - skipped};
  switch (codec.codec) {
    case kCodecH264:
      return H264Profile(config);
    case kCodecAac:
      return AacProfile(config);
    case kCodecWmv3:
      return Vc1Profile(config);
    case kCodecWvc1:
    case kCodecWmva:
      return Vc1AdvancedProfile(config);
    case kCodecMpeg4:
    case kCodecMp4v:
    case kCodecDivx4:
    case kCodecDivx5:
    case kCodecXvid:
      return Mpeg4Profile(config);
    case kCodecMpegAudio:
      return MpegAudioLayer(codec.tag, config);
    default:
      return "";
  }
}

}  // namespace qo_host
