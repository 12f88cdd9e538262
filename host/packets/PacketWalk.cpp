// The walk over packets: it brings each one into memory, where it is decoded.
#include "qo_host/PacketWalk.h"

#include <algorithm>
#include <utility>

#include "asf/format/Arithmetic.h"
#include "asf/format/Records.h"
#include "asf/format/SourceReader.h"
#include "host/packets/DataExtent.h"
#include "qo_host/BorrowedSource.h"

namespace qo_host {
namespace {

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

}  // namespace

AsfLayout FindPackets(IDataSource* source, const FileHeader& header) {
  BorrowedSource borrowed(source);
  const DataExtent data = FindData(&borrowed, header);
  AsfLayout layout;
  layout.isAsf = header.isAsf;
  layout.fileSize = data.fileSize;
  if (header.properties) layout.prerollMs = header.properties->prerollMs;
  layout.minPacketLength = layout.maxPacketLength = layout.packetLength = data.packetLength;
  layout.packetsStart = data.packetsStart;
  layout.headerSize = data.packetsStart - sizeof(asf_data_object);
  if (data.packetLength == 0 || data.packetsEnd <= data.packetsStart) return layout;
  layout.dataSize = data.packetsEnd - data.packetsStart + sizeof(asf_data_object);
  return layout;
}

WalkResult WalkPackets(IDataSource* source, const AsfLayout& layout,
                       const std::function<bool(const Packet&)>& visit, unsigned long long first,
                       PacketView view) {
  BorrowedSource borrowed(source);
  FilePackets packets(&borrowed, layout);
  const PacketReader reader(layout, view);
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

WalkResult LastObjectTimes(IDataSource* source, const AsfLayout& layout,
                           std::map<unsigned char, unsigned int>* times) {
  times->clear();
  const unsigned long long count = layout.PacketsInFile();
  const auto note = [times](const Packet& packet) {
    for (const Payload& payload : packet.payloads) {
      if (payload.offset != 0) continue;
      unsigned int& time = (*times)[payload.stream];
      time = std::max(time, payload.timeMs);
    }
    return true;
  };
  return WalkPackets(source, layout, note, count - std::min(count, kTailPackets));
}

}  // namespace qo_host
