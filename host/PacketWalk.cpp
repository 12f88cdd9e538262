// The walk over packets: it brings each one into memory, where it is decoded.
#include "host/PacketWalk.h"

#include <algorithm>
#include <utility>

#include "asf/format/Arithmetic.h"
#include "asf/format/SourceReader.h"

namespace host {
namespace {

// Packets between two calls of a progress callback.
constexpr unsigned long long kProgressStep = 256;

// Bytes of the read that a packet takes: all of a packet of a usual length, and of
// a tiny one what its header may need.
constexpr unsigned long long kMaxReadBytes = 0x10000;
constexpr unsigned long long kMinReadBytes = 256;
// Bytes of a read beyond that: bodies are stepped over, so a header is all there is
// to see.
constexpr unsigned long long kFurtherReadBytes = 256;

// One packet after another of a file, in memory.
class FilePackets final : public PacketBytes {
 public:
  FilePackets(IDataSource* source, const AsfLayout& layout)
      : reader_(source),
        fileEnd_(layout.fileSize.value_or(kNowhere)),
        firstRead_(
            std::clamp<unsigned long long>(layout.packetLength, kMinReadBytes, kMaxReadBytes)),
        buffer_(static_cast<std::size_t>(firstRead_)) {}

  // Goes to the packet at `start` in the file. False: the source failed, or brings
  // nothing of it.
  bool Load(unsigned long long start) {
    start_ = start;
    return ReadAt(0, firstRead_) && size_ != 0;
  }
  // 0, or the source's failure.
  int status() const { return status_; }

  Piece From(unsigned long long offset, std::size_t size) override {
    const bool isHeld = offset >= offset_ && offset - offset_ <= size_ &&
                        size <= size_ - static_cast<std::size_t>(offset - offset_);
    if (!isHeld && !ReadAt(offset, kFurtherReadBytes)) return {nullptr, 0};
    const auto at = static_cast<std::size_t>(offset - offset_);
    return {buffer_.data() + at, size_ - at};
  }
  unsigned long long End() const override { return fileEnd_ > start_ ? fileEnd_ - start_ : 0; }

 private:
  bool ReadAt(unsigned long long offset, unsigned long long size) {
    const unsigned long long position = SaturatingAdd(start_, offset);
    unsigned long long got = 0;
    offset_ = offset;
    size_ = 0;
    if (status_ >= 0) status_ = reader_.ReadAt(position, buffer_.data(), size, &got);
    if (status_ < 0) return false;
    // A source that doesn't know its size ends where it brings less than asked for.
    if (got < size) fileEnd_ = std::min(fileEnd_, position + got);
    size_ = static_cast<std::size_t>(got);
    return true;
  }

  SourceReader reader_;
  unsigned long long fileEnd_;
  const unsigned long long firstRead_;
  std::vector<unsigned char> buffer_;
  unsigned long long start_ = 0;   // of the packet, in the file
  unsigned long long offset_ = 0;  // of what the buffer holds, from the packet's first byte
  std::size_t size_ = 0;           // bytes that it holds
  int status_ = 0;
};

// Adds the points that a packet has for the stream.
void AddPoints(const Packet& packet, unsigned char stream, bool isVideo,
               std::vector<SeekPoint>* points) {
  for (const Payload& payload : packet.payloads) {
    if (payload.stream != stream || payload.offset != 0 || (isVideo && !payload.keyFrame)) continue;
    points->push_back({packet.number, payload.timeMs});
    if (!isVideo) return;
  }
}

// The stream that a seek is steered by: the video track, else the audio track.
const StreamLayout* SteeringStream(const AsfLayout& layout) {
  const StreamLayout* found = nullptr;
  for (const StreamLayout& stream : layout.streams) {
    if (stream.isTrack && (found == nullptr || stream.kind == StreamKind::kVideo)) found = &stream;
  }
  return found;
}

}  // namespace

WalkResult WalkPackets(IDataSource* source, const AsfLayout& layout,
                       const std::function<bool(const Packet&)>& visit, unsigned long long first) {
  FilePackets packets(source, layout);
  const PacketReader reader(layout);
  const unsigned long long count = layout.PacketsInData();
  Packet packet = {};
  for (packet.number = first; packet.number < count; ++packet.number) {
    const bool isThere = packets.Load(layout.PacketPosition(packet.number));
    if (isThere) reader.Read(&packets, &packet);
    if (packets.status() < 0) return {WalkEnd::kSourceFailed, packets.status()};
    if (!isThere) break;
    if (!visit(packet)) return {WalkEnd::kCancelled, 0};
  }
  return {WalkEnd::kDone, 0};
}

std::map<unsigned char, unsigned int> LastObjectTimes(IDataSource* source,
                                                      const AsfLayout& layout) {
  std::map<unsigned char, unsigned int> times;
  const unsigned long long count = layout.PacketsInFile();
  const auto note = [&times](const Packet& packet) {
    for (const Payload& payload : packet.payloads) {
      if (payload.offset != 0) continue;
      unsigned int& time = times[payload.stream];
      time = std::max(time, payload.timeMs);
    }
    return true;
  };
  WalkPackets(source, layout, note, count - std::min(count, kTailPackets));
  return times;
}

WalkResult SeekPoints::Learn(IDataSource* source, const AsfLayout& layout,
                             const Progress& progress) {
  std::vector<SeekPoint> points;
  points_.clear();
  overflowed_ = false;
  const StreamLayout* stream = SteeringStream(layout);
  if (stream == nullptr) return {WalkEnd::kDone, 0};
  const bool isVideo = stream->kind == StreamKind::kVideo;
  const unsigned long long total = layout.PacketsInData();
  const WalkResult result = WalkPackets(source, layout, [&](const Packet& packet) {
    AddPoints(packet, stream->number, isVideo, &points);
    overflowed_ = points.size() > kMaxSeekPoints;
    const bool report = progress && packet.number % kProgressStep == 0;
    return !overflowed_ && (!report || progress(packet.number, total));
  });
  if (result.end == WalkEnd::kDone) points_ = std::move(points);
  return result;
}

}  // namespace host
