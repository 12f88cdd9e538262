// PacketScan: reads blocks of packets and takes each one apart.
#include "tools/report/PacketScan.h"

#include <algorithm>
#include <vector>

#include "qo_host/BorrowedSource.h"

namespace tool {
namespace {

constexpr unsigned long long kReadBytes = 64ull << 10;  // at once, unless a packet is longer
constexpr unsigned int kLongestPacket = 1u << 20;       // bytes; no writer makes longer ones

// The packets between the first and the end of the file, or of the data where something
// follows it.
unsigned long long CountPackets(const qo_host::AsfLayout& layout) {
  const unsigned long long fileEnd = layout.fileSize.value_or(layout.DataEnd());
  const bool isUnfinished = layout.PacketsInData() == 0;
  const unsigned long long end = isUnfinished ? fileEnd : std::min(fileEnd, layout.DataEnd());
  if (end <= layout.packetsStart) return 0;
  return (end - layout.packetsStart - 1) / layout.packetLength + 1;
}

}  // namespace

PacketExtent FindPackets(Input* input) {
  const qo_host::PresentedFile* const presented = input->session().presented();
  const bool isPresented = presented != nullptr && presented->isPresented();
  PacketExtent extent;
  extent.source = input->file();
  extent.layout = input->layout();
  if (isPresented && extent.layout.packetsStart == 0) {
    extent.source = input->session().view();
    extent.layout = input->playedLayout();
  }
  if (isPresented) {
    extent.layout.packetLength = input->playedLayout().packetLength;
    extent.layout.minPacketLength = extent.layout.packetLength;
  }
  const unsigned int length = extent.layout.packetLength;
  if (extent.layout.packetsStart == 0 || length == 0 || length > kLongestPacket) {
    extent.layout.packetLength = 0;
    return extent;
  }
  extent.count = isPresented ? presented->packetCount() : CountPackets(extent.layout);
  const unsigned long long stated = extent.layout.PacketsInData();
  extent.stated = std::max(stated, extent.count);
  return extent;
}

void ScanPackets(const Input& input, const PacketExtent& extent,
                 const std::function<bool(const qo_host::Packet&)>& visit) {
  const unsigned long long length = extent.layout.packetLength;
  if (length == 0) return;
  const qo_host::PacketReader reader(extent.layout, qo_host::PacketView::kStated);
  const unsigned long long atOnce = std::max(1ull, kReadBytes / length);
  std::vector<unsigned char> block(static_cast<std::size_t>(atOnce * length));
  qo_host::BorrowedSource source(extent.source);
  qo_host::Packet packet = {};
  while (packet.number < extent.count) {
    const unsigned long long wanted = std::min(atOnce, extent.count - packet.number) * length;
    unsigned long long got = wanted;
    input.CheckRead(source.ReadAt(extent.layout.PacketPosition(packet.number), block.data(), &got));
    got = std::min(got, wanted);
    if (got == 0) return;
    for (unsigned long long at = 0; at < got; at += length) {
      const unsigned long long present = std::min(length, got - at);
      reader.Read(block.data() + at, static_cast<std::size_t>(present), &packet);
      if (!visit(packet)) throw Failure(kExitCannotRun, input.path() + ": interrupted");
      ++packet.number;
    }
  }
}

}  // namespace tool
