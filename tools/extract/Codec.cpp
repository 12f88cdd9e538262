// Codecs by their bytes, where tags don't tell: no state.
#include "tools/extract/Codec.h"

#include <string>
#include <vector>

#include "qo_host/CodecNames.h"

namespace tool {
namespace {

constexpr unsigned int kTagLayer3 = 0x0055;

// Takes numbers of any width out of bytes, the highest bit first; zeros behind the end.
class BitReader {
 public:
  explicit BitReader(const std::vector<unsigned char>& bytes) : bytes_(bytes) {}

  unsigned int Take(int width) {
    unsigned int value = 0;
    for (; width > 0; --width, ++at_) {
      const std::size_t byte = at_ / 8;
      const unsigned int bit = byte < bytes_.size() ? bytes_[byte] >> (7 - at_ % 8) & 1u : 0;
      value = value << 1 | bit;
    }
    return value;
  }

 private:
  const std::vector<unsigned char>& bytes_;
  std::size_t at_ = 0;
};

unsigned int TakeObjectType(BitReader* bits) {
  constexpr unsigned int kEscape = 31;
  const unsigned int type = bits->Take(5);
  return type == kEscape ? 32 + bits->Take(6) : type;
}

}  // namespace

bool HasStartCode(const unsigned char* data, std::size_t size) {
  return size > 3 && data[0] == 0 && data[1] == 0 && data[2] == 1;
}

bool IsMpeg4Part2(const StreamSetup& setup) {
  switch (setup.track.info.codec) {
    case kCodecMpeg4:
    case kCodecMp42:
    case kCodecMp4v:
    case kCodecDivx4:
    case kCodecDivx5:
    case kCodecXvid:
      // Some of their FourCCs are those of MS MPEG-4, too, which has no start codes.
      return HasStartCode(setup.first.data, setup.first.size);
    default:
      return false;
  }
}

PictureSize PictureSizeOf(const qo_host::VideoFormat& format) {
  const auto size = [](std::int64_t pixels) {
    return static_cast<std::uint64_t>(pixels < 0 ? -pixels : pixels);
  };
  return {size(format.width), size(format.height)};
}

bool IsVp9(const StreamSetup& setup) {
  const std::string fourCc = qo_host::FourCcText(setup.track.codecTag);
  return setup.track.kind == qo_host::TrackKind::kVideo && (fourCc == "VP90" || fourCc == "vp90");
}

int MpegAudioLayer(const StreamSetup& setup) {
  if (setup.track.info.codec != kCodecMpegAudio) return 0;
  const Frame& first = setup.first;
  const bool hasHeader = first.size > 1 && first.data[0] == 0xFF && first.data[1] >= 0xE0;
  const int layer = hasHeader ? 4 - (first.data[1] >> 1 & 3) : 4;
  if (layer < 4) return layer;
  return setup.track.codecTag == kTagLayer3 ? 3 : 2;
}

bool IsAdts(const StreamSetup& setup) {
  const Frame& first = setup.first;
  return setup.track.info.codec == kCodecAac && first.size > 1 && first.data[0] == 0xFF &&
         (first.data[1] & 0xF6) == 0xF0;
}

std::optional<AdtsSettings> AdtsSettingsOf(const StreamSetup& setup) {
  constexpr unsigned int kSpectralBandReplication = 5, kParametricStereo = 29;
  constexpr unsigned int kMaxProfile = 4, kMaxRateIndex = 12, kMaxChannels = 7;
  if (setup.track.info.codec != kCodecAac || IsAdts(setup)) return std::nullopt;
  BitReader bits(setup.track.config);
  unsigned int type = TakeObjectType(&bits);
  const unsigned int rateIndex = bits.Take(4);
  const unsigned int channels = bits.Take(4);
  if (rateIndex > kMaxRateIndex || channels == 0 || channels > kMaxChannels) return std::nullopt;
  if (type == kSpectralBandReplication || type == kParametricStereo) {
    bits.Take(4);  // the rate that it is extended to, which decoders find out
    type = TakeObjectType(&bits);
  }
  if (type == 0 || type > kMaxProfile) return std::nullopt;
  const auto byte = [](unsigned int value) { return static_cast<unsigned char>(value); };
  return AdtsSettings{byte(type - 1), byte(rateIndex), byte(channels)};
}

}  // namespace tool
