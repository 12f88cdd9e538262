// The walk over packet headers. It reads the fields as the parser does, quirks
// included, so that what it says about a packet is what the parser makes of it.
#include "host/PacketWalk.h"

#include <algorithm>
#include <utility>

#include "asf/format/ByteReader.h"
#include "asf/format/SourceReader.h"

namespace host {
namespace {

// The parser's limit for replicated data and payloads, bytes.
constexpr unsigned int kMaxPartBytes = 0x100000;
// What a packet can hold at most in fact; more are made up by a lying length.
constexpr std::size_t kMaxPayloads = 0x10000;
// Packets between two calls of a progress callback.
constexpr unsigned long long kProgressStep = 256;

bool IsPlausible(unsigned int size) { return size != 0 && size <= kMaxPartBytes; }

class PacketWalker {
 public:
  PacketWalker(IDataSource* source, const AsfLayout& layout)
      : reader_(source), layout_(layout), end_(layout.fileSize.value_or(~0ull)) {}

  WalkResult Walk(const std::function<bool(const Packet&)>& visit, unsigned long long first) {
    const unsigned long long count = layout_.PacketsInData();
    for (packet_.number = first; packet_.number < count; ++packet_.number) {
      const bool present = ReadPacket();
      if (status_ < 0) return {WalkEnd::kSourceFailed, status_};
      if (!present) break;
      if (!visit(packet_)) return {WalkEnd::kCancelled, 0};
    }
    return {WalkEnd::kDone, 0};
  }

 private:
  // What all payloads of a packet share.
  struct Shape {
    unsigned long long start;   // of the packet, file offset
    unsigned int packetLength;  // as it says itself
    unsigned char propertyFlags;
    bool multiple;
    unsigned char payloadLengthType;
  };

  // Reads `size` bytes, what is missing as 0; a failure is kept in status_.
  unsigned long long Read(void* out, unsigned int size) {
    unsigned long long got = 0;
    if (status_ >= 0) status_ = reader_.Read(out, size, &got);
    return got;
  }
  unsigned char ReadByte() {
    unsigned char byte = 0;
    Read(&byte, 1);
    return byte;
  }
  unsigned long long Position() {
    unsigned long long position = 0;
    if (status_ >= 0) status_ = reader_.Position(&position);
    return position;
  }
  void Skip(unsigned int bytes) {
    if (status_ >= 0 && bytes != 0) status_ = reader_.Skip(bytes);
  }
  bool Fail(const char* why) {
    if (status_ >= 0) packet_.failure = why;
    return false;
  }

  // False when the source brings nothing of it.
  bool ReadPacket() {
    packet_.payloads.clear();
    packet_.failure = nullptr;
    packet_.padding = 0;
    Shape shape = {};
    shape.start = layout_.packetsStart + packet_.number * layout_.packetLength;
    unsigned char bytes[6];
    unsigned long long got;
    status_ = reader_.ReadAt(shape.start, bytes, 1, &got);
    if (status_ < 0 || got == 0) return false;
    packet_.hasErrorCorrection = (bytes[0] & 0x80) != 0;
    if (!packet_.hasErrorCorrection) return true;
    Skip(2);
    Read(bytes, 2);
    const unsigned char lengthFlags = bytes[0];
    shape.propertyFlags = bytes[1];
    shape.packetLength = reader_.ReadCoded(lengthFlags >> 5 & 3);
    if (shape.packetLength == 0) shape.packetLength = layout_.minPacketLength;
    reader_.ReadCoded(lengthFlags >> 1 & 3);  // sequence
    packet_.padding = reader_.ReadCoded(lengthFlags >> 3 & 3);
    Read(bytes, 6);  // send time and duration
    ReadPayloads((lengthFlags & 1) != 0, shape);
    return true;
  }

  void ReadPayloads(bool multiple, Shape shape) {
    shape.multiple = multiple;
    const unsigned int flags = multiple ? ReadByte() : 1;
    shape.payloadLengthType = static_cast<unsigned char>(flags >> 6);
    for (unsigned int left = flags & 0x3F; left != 0 && status_ >= 0; --left) {
      if (!ReadPayload(shape)) return;
    }
  }

  bool ReadPayload(const Shape& shape) {
    Payload payload = {};
    const unsigned char stream = ReadByte();
    payload.stream = stream & 0x7F;
    payload.keyFrame = stream >> 7 != 0;
    payload.objectNumber = reader_.ReadCoded(shape.propertyFlags >> 4 & 3);
    payload.offset = reader_.ReadCoded(shape.propertyFlags >> 2 & 3);
    const unsigned int lengthType = shape.propertyFlags & 3;
    const unsigned int replicated = reader_.ReadCoded(lengthType);
    if (lengthType == 1 && replicated == 1) return ReadCompressed(shape, payload);
    return ReadOrdinary(shape, payload, replicated);
  }

  bool ReadOrdinary(const Shape& shape, Payload payload, unsigned int replicated) {
    if (!IsPlausible(replicated)) return Fail("a payload without replicated data");
    unsigned char bytes[8] = {};
    const unsigned int fixed = replicated < sizeof(bytes) ? replicated : sizeof(bytes);
    Read(bytes, fixed);
    Skip(replicated - fixed);
    const unsigned int time = LoadLe32(bytes + 4);
    payload.timeMs =
        time > layout_.prerollMs ? static_cast<unsigned int>(time - layout_.prerollMs) : 0;
    payload.size = ReadBodyLength(shape);
    if (!IsPlausible(payload.size)) return Fail("a payload of impossible size");
    return Add(payload);
  }

  bool ReadCompressed(const Shape& shape, Payload payload) {
    const unsigned char delta = ReadByte();
    payload.timeMs = payload.offset - static_cast<unsigned int>(layout_.prerollMs);
    payload.offset = 0;
    const unsigned int body = ReadBodyLength(shape);
    for (unsigned long long consumed = 0; consumed < body; consumed += payload.size + 1ull) {
      payload.size = ReadByte();
      if (payload.size == 0) return Fail("an empty sub-payload");
      if (!Add(payload)) return false;
      payload.timeMs += delta;
    }
    return status_ >= 0;
  }

  // One payload reaches to the padding; several have their lengths stated.
  unsigned int ReadBodyLength(const Shape& shape) {
    if (shape.multiple) return reader_.ReadCoded(shape.payloadLengthType);
    const auto headers = static_cast<unsigned int>(Position() - shape.start);
    return shape.packetLength - headers - packet_.padding;
  }

  // Keeps the payload and steps over its body.
  bool Add(const Payload& payload) {
    const unsigned long long position = Position();
    if (position > end_ || payload.size > end_ - position) return Fail("the file ends in it");
    if (packet_.payloads.size() == kMaxPayloads) return Fail("more payloads than it has room for");
    packet_.payloads.push_back(payload);
    Skip(payload.size);
    return status_ >= 0;
  }

  SourceReader reader_;
  const AsfLayout& layout_;
  const unsigned long long end_;  // of the file
  Packet packet_ = {};
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
  return PacketWalker(source, layout).Walk(visit, first);
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
