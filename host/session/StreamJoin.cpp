// StreamJoin: halves the file to the packet, then learns points from ever further in
// front of it until one of them will do.
#include "host/session/StreamJoin.h"

#include <algorithm>
#include <utility>

#include "qo_host/PacketWalk.h"

namespace qo_host {
namespace {

// Bytes in front of the packet that are looked at first.
constexpr unsigned long long kFirstLook = 128u << 10;

// Packets without a payload that are passed to learn a time.
constexpr unsigned long long kEmptyPackets = 64;

// Ms. Of objects that stand side by side none is expected to be this much later than
// another: what comes behind one need not be looked at.
constexpr long long kMaxSkewMs = 10000;

}  // namespace

int StreamJoin::GoTo(unsigned long long timeMs) {
  const int status = ReadLayout(view_, &layout_);
  if (status < 0) return status;
  target_ = SignedMs(layout_, timeMs);
  packet_ = PacketAtTime();
  return view_->failure();
}

unsigned long long StreamJoin::PacketAtTime() const {
  unsigned long long low = 0;
  for (unsigned long long high = layout_.PacketsInFile(); high - low > 1;) {
    const unsigned long long middle = low + (high - low) / 2;
    const auto time = TimeIn(middle, high);
    (time && *time <= target_ ? low : high) = middle;
  }
  return low;
}

// Of the first payload that there is.
std::optional<long long> StreamJoin::TimeIn(unsigned long long first,
                                            unsigned long long end) const {
  std::optional<long long> time;
  const auto look = [&](const Packet& packet) {
    if (packet.number >= end || packet.number - first > kEmptyPackets) return false;
    if (!packet.payloads.empty()) time = SignedMs(layout_, packet.payloads.front().timeMs);
    return !time;
  };
  WalkPackets(view_, layout_, look, first);
  return time;
}

int StreamJoin::JoinVideo() {
  return Search(TrackKind::kVideo, [this](UnitFinder* finder) {
    const auto point = finder->FindVideo(target_);
    return point && finder->StartAtKeyFrame(*point);
  });
}

int StreamJoin::JoinAudio() {
  const int status = Search(TrackKind::kAudio, [this](UnitFinder* finder) {
    return finder->FindAudio(target_ - 1).has_value();
  });
  const auto isEarly = [this](const AccessUnit* unit) {
    return unit != nullptr && SignedMs(layout_, unit->timeMs) < target_;
  };
  while (status >= 0 && isEarly(session_->PeekUnit(TrackKind::kAudio))) {
    session_->NextUnit(TrackKind::kAudio);
  }
  return std::min(status, view_->failure());
}

// Asks `find` with more and more points, until it has found a unit.
template <typename Find>
int StreamJoin::Search(TrackKind kind, Find find) {
  if (session_->FindTrack(kind) == nullptr) return kParserOk;
  unsigned long long packets = kFirstLook / std::max(layout_.packetLength, 1u) + 1;
  for (;; packets *= 4) {
    const unsigned long long first = packet_ - std::min(packet_, packets);
    std::optional<KnownPoints> known;
    const int status = Learn(first, kind, &known);
    if (status < 0) return status;
    UnitFinder finder(*known, session_, view_);
    const bool found = find(&finder);
    if (view_->failure() < 0) return view_->failure();
    if (found || finder.status() < 0) return finder.status();
    if (first != 0) continue;
    session_->Rewind(kind);
    return kParserOk;
  }
}

int StreamJoin::Learn(unsigned long long first, TrackKind kind,
                      std::optional<KnownPoints>* known) const {
  SeekPoints points;
  const auto add = [&](const Packet& packet) {
    points.Add(packet, layout_);
    return !points.overflowed() && !(packet.number >= packet_ && IsBehind(packet, kind));
  };
  const WalkResult walk = WalkPackets(view_, layout_, add, first);
  if (walk.status < 0) return walk.status;
  if (points.overflowed()) return kParserOutOfRange;
  known->emplace(layout_, std::move(points));
  return kParserOk;
}

// Whether nothing of the kind up to the target is expected behind the packet.
bool StreamJoin::IsBehind(const Packet& packet, TrackKind kind) const {
  const StreamKind wanted = kind == TrackKind::kVideo ? StreamKind::kVideo : StreamKind::kAudio;
  const auto stream = std::find_if(layout_.streams.begin(), layout_.streams.end(),
                                   [=](const auto& s) { return s.isTrack && s.kind == wanted; });
  return std::any_of(packet.payloads.begin(), packet.payloads.end(), [&](const Payload& payload) {
    const long long time = SignedMs(layout_, payload.timeMs);
    const bool isWanted = stream != layout_.streams.end() && payload.stream == stream->number;
    return payload.offset == 0 && time > target_ + (isWanted ? 0 : kMaxSkewMs);
  });
}

}  // namespace qo_host
