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
  std::map<unsigned char, unsigned int> latest;  // ms, of the first packets
  std::map<unsigned char, unsigned long long> bytes;
  const auto noteFirst = [&](const Payload& payload) {
    StreamSample& sample = (*samples)[payload.stream];
    bytes[payload.stream] += payload.present;
    if (payload.offset != 0) return;
    sample.firstMs = std::min(sample.firstMs.value_or(payload.timeMs), payload.timeMs);
    unsigned int& latestMs = latest[payload.stream];
    latestMs = std::max(latestMs, payload.timeMs);
    ++sample.objects;
  };
  const auto noteLast = [&](const Payload& payload) {
    StreamSample& sample = (*samples)[payload.stream];
    bytes[payload.stream] += payload.present;
    if (payload.offset == 0) sample.lastMs = std::max(sample.lastMs.value_or(0), payload.timeMs);
  };
  WalkResult result = WalkPart(source, layout, {0, sampled, noteFirst});
  if (result.end != WalkEnd::kSourceFailed) {
    result = WalkPart(source, layout, {count - sampled, sampled, noteLast});
  }
  for (auto& [stream, sample] : *samples) {
    if (sample.objects != 0) --sample.objects;
    if (sample.firstMs) sample.spanMs = latest[stream] - *sample.firstMs;
    const double all = 2.0 * static_cast<double>(sampled) * static_cast<double>(length);
    sample.share = std::min(1.0, static_cast<double>(bytes[stream]) / all);
  }
  return result;
}

}  // namespace qo_host
