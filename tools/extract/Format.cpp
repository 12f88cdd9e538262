// Formats: one table, and the words for what is in it.
#include "tools/extract/Format.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>

#include "qo_host/StreamCodec.h"
#include "tools/common/Tool.h"
#include "tools/extract/Codec.h"

namespace tool {
namespace {

using Takes = Format::Takes;

template <unsigned int... kCodecs>
bool IsCodec(const StreamSetup& setup) {
  return ((setup.track.info.codec == kCodecs) || ...);
}

bool GoesIntoWav(const StreamSetup& setup) {
  if (!setup.stream.audio) return false;
  switch (setup.track.codecTag) {
    case kTagAdpcmMs:
    case kTagFloat:
    case kTagALaw:
    case kTagAdpcmIma:
    case kTagAdpcmYamaha:
      return true;
    default:
      return IsCodec<kCodecPcm, kCodecMuLaw, kCodecG726, kCodecWma1, kCodecWma2, kCodecWmaPro,
                     kCodecWmaLossless, kCodecWmaVoice>(setup);
  }
}

bool GoesIntoIvf(const StreamSetup& setup) {
  return setup.stream.video && (IsCodec<kCodecVp8>(setup) || IsVp9(setup));
}

const Format kFormats[] = {
    {".wav", "audio: PCM, mu-law, A-law, ADPCM, Windows Media Audio", Takes::kAudio, GoesIntoWav,
     MakeWavWriter},
    {".aac", "audio: AAC behind ADTS headers", Takes::kAudio,
     [](const StreamSetup& setup) { return IsAdts(setup) || AdtsSettingsOf(setup).has_value(); },
     MakeAdtsWriter},
    {".mp3", "audio: MPEG layer III", Takes::kAudio,
     [](const StreamSetup& setup) { return MpegAudioLayer(setup) == 3; }, MakeElementaryWriter},
    {".mp2", "audio: MPEG layer II", Takes::kAudio,
     [](const StreamSetup& setup) { return MpegAudioLayer(setup) == 2; }, MakeElementaryWriter},
    {".ac3", "audio: AC-3", Takes::kAudio, IsCodec<kCodecAc3>, MakeElementaryWriter},
    {".eac3", "audio: E-AC-3", Takes::kAudio, IsCodec<kCodecEac3>, MakeElementaryWriter},
    {".dts", "audio: DTS", Takes::kAudio, IsCodec<kCodecDts>, MakeElementaryWriter},
    {".h264", "video: H.264 as a byte stream", Takes::kVideo, IsCodec<kCodecH264>,
     MakeElementaryWriter},
    {".m4v", "video: MPEG-4 part 2", Takes::kVideo, IsMpeg4Part2, MakeElementaryWriter},
    {".m1v", "video: MPEG-1", Takes::kVideo, IsCodec<kCodecMpeg1>, MakeElementaryWriter},
    {".m2v", "video: MPEG-2", Takes::kVideo, IsCodec<kCodecMpeg2>, MakeElementaryWriter},
    {".mjpeg", "video: Motion JPEG", Takes::kVideo, IsCodec<kCodecMjpeg>, MakeElementaryWriter},
    {".h263", "video: H.263", Takes::kVideo, IsCodec<kCodecH263>, MakeElementaryWriter},
    {".ivf", "video: VP8, VP9", Takes::kVideo, GoesIntoIvf, MakeIvfWriter},
    {".mkv", "Matroska: all audio and video streams of any codec, tags, pictures, chapters",
     Takes::kStreams,
     [](const StreamSetup& setup) { return setup.stream.audio || setup.stream.video; },
     MakeMatroskaWriter},
    {".jpg", "the cover art, where it is a JPEG image", Takes::kPicture, nullptr, nullptr},
    {".png", "the cover art, where it is a PNG image", Takes::kPicture, nullptr, nullptr},
    {".srt", "subtitles: the script commands that show a text", Takes::kCaptions, nullptr, nullptr},
    {".txt", "script commands and markers, a line each, behind their times", Takes::kTexts, nullptr,
     nullptr},
};

std::string Endings() {
  std::string list;
  for (const Format& format : kFormats) list += std::string(" ") + format.ending;
  return list;
}

const Format* Find(std::string ending) {
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char letter) { return std::tolower(letter); });
  const auto* const found =
      std::find_if(std::begin(kFormats), std::end(kFormats),
                   [&](const Format& format) { return ending == format.ending; });
  return found != std::end(kFormats) ? found : nullptr;
}

// In words; by its tag where the codec has no name.
std::string CodecText(const StreamSetup& setup) {
  const std::string name = qo_host::CodecNameOf(setup.stream);
  if (!name.empty()) return name;
  return TrackKindName(setup.track.kind) + std::string(" of the tag ") +
         qo_host::CodecTagText(setup.stream);
}

}  // namespace

const Format& FormatOfName(const std::string& path) {
  const std::string ending = std::filesystem::path(path).extension().string();
  if (const Format* const found = Find(ending)) return *found;
  throw Failure(kExitCannotRun, path + ": a name is to end in one of" + Endings());
}

const Format& FormatOfEnding(const std::string& ending) {
  const bool hasDot = ending.rfind('.', 0) == 0;
  if (const Format* const found = Find(hasDot ? ending : "." + ending)) return *found;
  throw Failure(kExitCannotRun, "--format " + ending + ": there are" + Endings());
}

void CheckFit(const Format& format, const std::string& path, const StreamSetup& setup) {
  if (format.fits(setup)) return;
  std::string fitting;
  for (const Format& other : kFormats) {
    if (other.fits == nullptr || !other.fits(setup)) continue;
    fitting += (fitting.empty() ? "" : " or ") + std::string(other.ending);
  }
  throw Failure(kExitCannotRun, path + ": " + CodecText(setup) + " doesn't go into " +
                                    format.ending +
                                    (fitting.empty() ? "" : ", but into " + fitting));
}

std::string FormatList() {
  constexpr std::size_t kColumn = 8;
  std::string list;
  for (const Format& format : kFormats) {
    std::string line = std::string("  ") + format.ending;
    line.resize(std::max(line.size() + 1, kColumn + 2), ' ');
    list += (list.empty() ? "" : "\n") + line + format.holds;
  }
  return list;
}

std::string PictureEnding(const std::vector<unsigned char>& picture) {
  static constexpr struct {
    const char* ending;
    unsigned char bytes[3];
  } kKinds[] = {{".jpg", {0xFF, 0xD8, 0xFF}}, {".png", {0x89, 'P', 'N'}}};
  for (const auto& kind : kKinds) {
    const bool isIt = picture.size() >= std::size(kind.bytes) &&
                      std::equal(std::begin(kind.bytes), std::end(kind.bytes), picture.begin());
    if (isIt) return kind.ending;
  }
  return "";
}

}  // namespace tool
