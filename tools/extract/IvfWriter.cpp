// IVF: VP8 and VP9, a small header in front of each frame.
#include <algorithm>

#include "tools/extract/Bytes.h"
#include "tools/extract/Codec.h"
#include "tools/extract/Writer.h"

namespace tool {
namespace {

constexpr std::size_t kFrameCountAt = 24;

class IvfWriter final : public Writer {
 public:
  IvfWriter(OutputFile* file, const StreamSetup& setup) : file_(file) {
    constexpr int kHeaderBytes = 32;
    ByteVector head;
    PutText("DKIF", &head);
    PutLittle(0, 2, &head);  // version
    PutLittle(kHeaderBytes, 2, &head);
    PutText(IsVp9(setup) ? "VP90" : "VP80", &head);
    const PictureSize size = PictureSizeOf(*setup.stream.video);
    PutLittle(size.width, 2, &head);
    PutLittle(size.height, 2, &head);
    PutLittle(1000, 4, &head);  // time units in a second: ms
    PutLittle(1, 4, &head);
    PutLittle(0, 8, &head);  // the number of frames, then nothing
    file->Write(head.data(), head.size());
  }

  void Write(std::size_t, const Frame& frame) override {
    ByteVector head;
    PutLittle(frame.size, 4, &head);
    PutLittle(static_cast<std::uint64_t>(std::max<std::int64_t>(frame.timeMs, 0)), 8, &head);
    file_->Write(head.data(), head.size());
    file_->Write(frame.data, frame.size);
    ++frames_;
  }

  void Finish() override {
    if (!file_->canWriteAt()) return;
    ByteVector count;
    PutLittle(frames_, 4, &count);
    file_->WriteAt(kFrameCountAt, count.data(), count.size());
  }

 private:
  OutputFile* const file_;
  std::uint64_t frames_ = 0;
};

}  // namespace

WriterPointer MakeIvfWriter(OutputFile* file, const StreamList& streams) {
  return std::make_unique<IvfWriter>(file, streams.front());
}

}  // namespace tool
