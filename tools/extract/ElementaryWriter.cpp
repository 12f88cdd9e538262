// Streams that need no container: their frames one behind the other.
#include <optional>

#include "qo_host/H264.h"
#include "tools/common/Output.h"
#include "tools/common/Tool.h"
#include "tools/extract/Bytes.h"
#include "tools/extract/Codec.h"
#include "tools/extract/Writer.h"

namespace tool {
namespace {

class RawWriter final : public Writer {
 public:
  explicit RawWriter(OutputFile* file) : file_(file) {}
  void Write(std::size_t, const Frame& frame) override { file_->Write(frame.data, frame.size); }
  void Finish() override {}

 private:
  OutputFile* const file_;
};

// MPEG-4 video: whether a frame brings what stands in front of the first picture.
bool StartsWithMpeg4Headers(const Frame& frame) {
  constexpr unsigned char kLastLayer = 0x2F, kSequence = 0xB0, kObject = 0xB5;
  if (!HasStartCode(frame.data, frame.size)) return false;
  const unsigned char code = frame.data[3];
  return code <= kLastLayer || code == kSequence || code == kObject;
}

ByteVector HeadersInFront(const StreamSetup& setup) {
  const qo_host::Track& track = setup.track;
  if (track.info.codec == kCodecH264) {
    const bool hasSets = qo_host::StartsWithH264Parameters(setup.first.data, setup.first.size);
    return hasSets ? ByteVector() : qo_host::H264ParameterSets(track);
  }
  const bool hasHeaders = !IsMpeg4Part2(setup) || StartsWithMpeg4Headers(setup.first);
  return hasHeaders ? ByteVector() : track.config;
}

// AAC behind ADTS headers, each made of what the stream's configuration says.
class AdtsWriter final : public Writer {
 public:
  AdtsWriter(OutputFile* file, const AdtsSettings& settings) : file_(file), settings_(settings) {}

  void Write(std::size_t, const Frame& frame) override {
    constexpr std::size_t kHeaderBytes = 7;
    const std::size_t size = frame.size + kHeaderBytes;
    if (size > kMaxAdtsFrameBytes) {
      throw Failure(kExitCannotRun, "an AAC frame of " + Count(frame.size, "byte") +
                                        " is too large for .aac: name a .mkv file");
    }
    // Sync word, MPEG-4, no CRC; then profile, rate, channels; size; fullness 0x7FF; 1 frame.
    std::uint64_t header = 0xFFF1;
    header = header << 2 | settings_.profile;
    header = header << 4 | settings_.rateIndex;
    header = header << 4 | settings_.channels;  // a private bit in front
    header = header << 17 | size;               // four bits of origin and copyright in front
    header = header << 11 | 0x7FF;
    header = header << 2;
    ByteVector bytes;
    PutBig(header, kHeaderBytes, &bytes);
    file_->Write(bytes.data(), bytes.size());
    file_->Write(frame.data, frame.size);
  }
  void Finish() override {}

 private:
  OutputFile* const file_;
  const AdtsSettings settings_;
};

}  // namespace

WriterPointer MakeRawWriter(OutputFile* file) { return std::make_unique<RawWriter>(file); }

WriterPointer MakeElementaryWriter(OutputFile* file, const StreamList& streams) {
  const ByteVector headers = HeadersInFront(streams.front());
  file->Write(headers.data(), headers.size());
  return MakeRawWriter(file);
}

WriterPointer MakeAdtsWriter(OutputFile* file, const StreamList& streams) {
  const std::optional<AdtsSettings> settings = AdtsSettingsOf(streams.front());
  // Units that bring ADTS headers of their own.
  if (!settings) return MakeRawWriter(file);
  return std::make_unique<AdtsWriter>(file, *settings);
}

}  // namespace tool
