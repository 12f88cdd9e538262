// What a stream is, as its format tag, its configuration and its first frame tell.
#ifndef QO_TOOLS_EXTRACT_CODEC_H
#define QO_TOOLS_EXTRACT_CODEC_H

#include <cstddef>
#include <cstdint>
#include <optional>

#include "tools/extract/StreamReader.h"

namespace tool {

// WAVE format tags that the library has no codec number for.
enum WaveTag : unsigned int {
  kTagAdpcmMs = 0x0002,
  kTagFloat = 0x0003,
  kTagALaw = 0x0006,
  kTagAdpcmIma = 0x0011,
  kTagAdpcmYamaha = 0x0020,
};

// Whether `data` begins with the start code of MPEG video, 00 00 01, and a byte more.
bool HasStartCode(const unsigned char* data, std::size_t size);

// MPEG-4 video as the standard has it, whatever FourCC it goes by.
bool IsMpeg4Part2(const StreamSetup& setup);

// Pixels.
struct PictureSize {
  std::uint64_t width;
  std::uint64_t height;
};
PictureSize PictureSizeOf(const qo_host::VideoFormat& format);

bool IsVp9(const StreamSetup& setup);

// 1 to 3; 0 for other codecs.
int MpegAudioLayer(const StreamSetup& setup);

constexpr std::size_t kMaxAdtsFrameBytes = (1u << 13) - 1;

// The fields of an ADTS header that stay.
struct AdtsSettings {
  unsigned char profile;    // 0 to 3
  unsigned char rateIndex;  // 0 to 12
  unsigned char channels;   // 1 to 7
};

// Whether the frames bring ADTS headers.
bool IsAdts(const StreamSetup& setup);
// AAC without ADTS headers; nothing where a header can't say what the configuration
// does, and for other streams.
std::optional<AdtsSettings> AdtsSettingsOf(const StreamSetup& setup);

}  // namespace tool

#endif  // QO_TOOLS_EXTRACT_CODEC_H
