// RIFF WAVE: the stream's own format description, then its frames.
#include <limits>

#include "tools/extract/Bytes.h"
#include "tools/extract/Writer.h"

namespace tool {
namespace {

// What stands for a size that isn't known: of what can't be written over, and beyond 4 GiB.
constexpr std::uint32_t kUnknownSize = std::numeric_limits<std::uint32_t>::max();

constexpr std::size_t kPcmFormatBytes = 16;  // all that a description of PCM holds
constexpr std::size_t kFormatBytes = 18;     // of all others, at least

ByteVector FormatOf(const StreamSetup& setup) {
  const unsigned char* const data = setup.header.Data(setup.stream.typeSpecific);
  ByteVector format(data, data + setup.stream.typeSpecific.size);
  const bool isPcm = setup.stream.codecTag == 1;
  if (isPcm || format.size() < kFormatBytes) format.resize(isPcm ? kPcmFormatBytes : kFormatBytes);
  return format;
}

class WavWriter final : public Writer {
 public:
  WavWriter(OutputFile* file, const StreamSetup& setup)
      : file_(file),
        blockBytes_(setup.stream.audio->blockAlign),
        samplesPerSecond_(setup.stream.audio->samplesPerSecond),
        bytesPerSecond_(setup.stream.audio->averageBytesPerSecond) {
    const ByteVector format = FormatOf(setup);
    ByteVector head;
    PutText("RIFF", &head);
    PutLittle(kUnknownSize, 4, &head);
    PutText("WAVEfmt ", &head);
    PutLittle(format.size() + format.size() % 2, 4, &head);
    head.insert(head.end(), format.begin(), format.end());
    head.resize(head.size() + format.size() % 2);
    if (setup.stream.codecTag != 1) {
      PutText("fact", &head);
      PutLittle(4, 4, &head);
      samplesAt_ = head.size();
      PutLittle(kUnknownSize, 4, &head);
    }
    PutText("data", &head);
    PutLittle(kUnknownSize, 4, &head);
    file->Write(head.data(), head.size());
    headBytes_ = head.size();
  }

  // Readers count in blocks: what damage left of one is filled up.
  void Write(std::size_t, const Frame& frame) override {
    file_->Write(frame.data, frame.size);
    dataBytes_ += frame.size;
    const std::size_t part = blockBytes_ != 0 ? frame.size % blockBytes_ : 0;
    if (part == 0) return;
    const ByteVector zeros(blockBytes_ - part);
    file_->Write(zeros.data(), zeros.size());
    dataBytes_ += zeros.size();
  }

  void Finish() override {
    const std::uint64_t padding = dataBytes_ % 2;
    const unsigned char zero = 0;
    file_->Write(&zero, padding);
    const std::uint64_t size = headBytes_ - 8 + dataBytes_ + padding;
    if (!file_->canWriteAt() || size >= kUnknownSize) return;
    Patch(4, size);
    Patch(headBytes_ - 4, dataBytes_);
    if (samplesAt_ != 0 && bytesPerSecond_ != 0)
      Patch(samplesAt_, dataBytes_ * samplesPerSecond_ / bytesPerSecond_);
  }

 private:
  void Patch(std::size_t position, std::uint64_t value) {
    ByteVector bytes;
    PutLittle(value, 4, &bytes);
    file_->WriteAt(position, bytes.data(), bytes.size());
  }

  OutputFile* const file_;
  const std::size_t blockBytes_;
  const std::uint64_t samplesPerSecond_;
  const std::uint64_t bytesPerSecond_;
  std::size_t headBytes_ = 0;
  std::size_t samplesAt_ = 0;  // 0: PCM needs no number of samples
  std::uint64_t dataBytes_ = 0;
};

}  // namespace

WriterPointer MakeWavWriter(OutputFile* file, const StreamList& streams) {
  return std::make_unique<WavWriter>(file, streams.front());
}

}  // namespace tool
