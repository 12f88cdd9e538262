// SeekPoints: what a walk over the packets leaves behind.
#include "qo_host/SeekPoints.h"

#include <algorithm>

namespace qo_host {
namespace {

// Packets between two calls of a progress callback.
constexpr unsigned long long kProgressStep = 256;

// The number of the file's audio or video track; -1 without one.
int TrackStream(const AsfLayout& layout, StreamKind kind) {
  for (const StreamLayout& stream : layout.streams) {
    if (stream.isTrack && stream.kind == kind) return stream.number;
  }
  return -1;
}

}  // namespace

WalkResult SeekPoints::Learn(IDataSource* source, const AsfLayout& layout,
                             const Progress& progress) {
  *this = {};
  const unsigned long long total = layout.PacketsInData();
  const WalkResult result = WalkPackets(source, layout, [&](const Packet& packet) {
    Add(packet, layout);
    const bool report = progress && packet.number % kProgressStep == 0;
    return !overflowed_ && (!report || progress(packet.number, total));
  });
  if (result.end != WalkEnd::kDone) {
    video_.clear();
    audio_.clear();
  }
  return result;
}

void SeekPoints::Add(const Packet& packet, const AsfLayout& layout) {
  const int video = TrackStream(layout, StreamKind::kVideo);
  const int audio = TrackStream(layout, StreamKind::kAudio);
  if (video >= 0) AddVideo(packet, static_cast<unsigned char>(video));
  if (audio >= 0) AddAudio(packet, static_cast<unsigned char>(audio));
  overflowed_ = video_.size() > kMaxSeekPoints;
}

void SeekPoints::Append(const SeekPoints& later) {
  video_.insert(video_.end(), later.video_.begin(), later.video_.end());
  for (const SeekPoint& point : later.audio_) KeepAudio(point);
  overflowed_ = video_.size() > kMaxSeekPoints;
}

void SeekPoints::AddVideo(const Packet& packet, unsigned char stream) {
  unsigned int before = 0;
  for (const Payload& payload : packet.payloads) {
    if (payload.stream != stream || payload.offset != 0) continue;
    if (payload.keyFrame) video_.push_back({packet.number, payload.timeMs, before});
    ++before;
  }
}

void SeekPoints::AddAudio(const Packet& packet, unsigned char stream) {
  const auto first = std::find_if(
      packet.payloads.begin(), packet.payloads.end(),
      [stream](const Payload& payload) { return payload.stream == stream && payload.offset == 0; });
  if (first != packet.payloads.end()) KeepAudio({packet.number, first->timeMs, 0});
}

void SeekPoints::KeepAudio(const SeekPoint& point) {
  if (audioPackets_++ % audioKeptOneIn_ != 0) return;
  audio_.push_back(point);
  if (audio_.size() < kMaxSeekPoints) return;
  for (std::size_t i = 0; 2 * i < audio_.size(); ++i) audio_[i] = audio_[2 * i];
  audio_.resize((audio_.size() + 1) / 2);
  audioKeptOneIn_ *= 2;
}

}  // namespace qo_host
