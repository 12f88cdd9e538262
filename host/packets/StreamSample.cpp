// Two walks over few packets.
#include "qo_host/StreamSample.h"

#include <algorithm>
#include <functional>

namespace qo_host {
namespace {

// A number of packets from one on, and what to do with their payloads.
struct Part {
  unsigned long long first;
  unsigned long long count;
  std::function<void(const Payload&)> note;
};

// What is gathered of a stream: one look-up for each payload.
struct Tally {
  StreamSample sample;
  unsigned int latestMs = 0;  // of the first packets
  unsigned long long bytes = 0;
};

WalkResult WalkPart(IDataSource* source, const AsfLayout& layout, const Part& part) {
  const auto visit = [&part](const Packet& packet) {
    for (const Payload& payload : packet.payloads) part.note(payload);
    return packet.number + 1 < part.first + part.count;
  };
  WalkResult result = WalkPackets(source, layout, visit, part.first, PacketView::kStated);
  if (result.end == WalkEnd::kCancelled) result.end = WalkEnd::kDone;
  return result;
}

}  // namespace

WalkResult SampleStreams(IDataSource* source, const AsfLayout& layout,
                         std::map<unsigned char, StreamSample>* samples) {
  samples->clear();
  const unsigned long long count = layout.PacketsInFile();
  const unsigned long long length = std::max(layout.packetLength, 1u);
  const unsigned long long sampled = std::min(count, std::max(1ull, kSampledBytes / length));
  std::map<unsigned char, Tally> tallies;
  const auto noteFirst = [&](const Payload& payload) {
    Tally& tally = tallies[payload.stream];
    tally.bytes += payload.present;
    if (payload.offset != 0) return;
    StreamSample& sample = tally.sample;
    sample.firstMs = std::min(sample.firstMs.value_or(payload.timeMs), payload.timeMs);
    tally.latestMs = std::max(tally.latestMs, payload.timeMs);
    ++sample.objects;
  };
  const auto noteLast = [&](const Payload& payload) {
    Tally& tally = tallies[payload.stream];
    tally.bytes += payload.present;
    if (payload.offset != 0) return;
    tally.sample.lastMs = std::max(tally.sample.lastMs.value_or(0), payload.timeMs);
  };
  WalkResult result = WalkPart(source, layout, {0, sampled, noteFirst});
  if (result.end != WalkEnd::kSourceFailed) {
    result = WalkPart(source, layout, {count - sampled, sampled, noteLast});
  }
  for (const auto& [stream, tally] : tallies) {
    StreamSample& sample = (*samples)[stream] = tally.sample;
    if (sample.objects != 0) --sample.objects;
    if (sample.firstMs) sample.spanMs = tally.latestMs - *sample.firstMs;
    const double all = 2.0 * static_cast<double>(sampled) * static_cast<double>(length);
    sample.share = std::min(1.0, static_cast<double>(tally.bytes) / all);
  }
  return result;
}

}  // namespace qo_host
