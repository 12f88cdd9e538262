// NearPoints: samples the file evenly, halves what lies between two samples, and looks
// back and ahead from there until times say that all is in the window.
#include "host/session/NearPoints.h"

#include <algorithm>
#include <utility>

#include "qo_host/PacketWalk.h"

namespace qo_host {
namespace {

// In files with fewer packets, looking for places takes as long as looking at all.
constexpr unsigned long long kFewPackets = 256;
// Places that are looked at first, and how many packets that tell times there, if so many
// lie together.
constexpr unsigned long long kSamples = 16;
constexpr unsigned int kSampleTimes = 8;
constexpr unsigned long long kSamplePackets = 32;
// A place is near enough when it is so many packets too early.
constexpr unsigned long long kNearPackets = 16;
// Bytes in front of the place that are looked at first.
constexpr unsigned long long kFirstLook = 128u << 10;
// Packets that have to agree that the target has been left behind: one may be damaged, or
// far out of order.
constexpr unsigned int kWitnesses = 8;
constexpr unsigned long long kStepGrowth = 2;
// Times, ms, later and earlier than any sum of others, and later than any packet's; and what
// is behind all packets.
constexpr long long kNoBack = std::numeric_limits<long long>::max();
constexpr long long kNoFront = std::numeric_limits<long long>::min();
constexpr long long kLatest = 1ll << 32;
constexpr unsigned long long kNoEnd = std::numeric_limits<unsigned long long>::max();
// Packets between two calls of a progress callback.
constexpr unsigned long long kProgressStep = 256;

int TrackStream(const AsfLayout& layout, StreamKind kind) {
  const auto found =
      std::find_if(layout.streams.begin(), layout.streams.end(),
                   [kind](const auto& stream) { return stream.isTrack && stream.kind == kind; });
  return found != layout.streams.end() ? found->number : -1;
}

}  // namespace

NearPoints::NearPoints(IDataSource* source, AsfLayout layout)
    : source_(source), layout_(std::move(layout)), count_(layout_.PacketsInFile()) {
  tracks_[0].stream = TrackStream(layout_, StreamKind::kVideo);
  tracks_[1].stream = TrackStream(layout_, StreamKind::kAudio);
}

bool NearPoints::LookAround(StreamKind kind, long long target) {
  if (isWhole_) return true;
  track_ = &tracks_[kind == StreamKind::kVideo ? 0 : 1];
  target_ = std::min(target, kLatest);
  window_ = {};
  step_ = kFirstLook / std::max(layout_.packetLength, 1u) + 1;
  if (!IsWorthwhile()) return LookEverywhere();
  if (!Sample() || !FindPlace() || !LookAhead()) return false;
  return LookFurther();
}

bool NearPoints::LookFurther() {
  if (IsWorthwhile() && !LookBack()) return false;
  // What lies in front may tell that times are less in order than it seemed.
  const bool isShort = window_.backMs <= target_ + track_->order.SlackMs();
  if (IsWorthwhile() && isShort && !LookAhead()) return false;
  if (!IsWorthwhile()) return LookEverywhere();
  points_.emplace(layout_, window_.points, window_.first == 0);
  return true;
}

bool NearPoints::LookEverywhere() {
  if (isWhole_) return true;
  const SeekPoints::Progress none;
  result_ = window_.points.Learn(source_, layout_, progress_ != nullptr ? *progress_ : none);
  if (overflowed() || result_.end != WalkEnd::kDone) return false;
  isWhole_ = true;
  points_.emplace(layout_, std::exchange(window_.points, {}), true);
  return true;
}

bool NearPoints::HasAllSince(long long sinceMs) const {
  return points_->fromStart() || window_.frontMs < sinceMs - track_->order.SlackMs();
}

bool NearPoints::IsWorthwhile() const {
  return count_ >= kFewPackets && track_->stream >= 0 && track_->order.IsKept() &&
         looked_ < count_ / 2 && !overflowed();
}

// Of the packets [first, end), for as long as they are worth it. False: the source failed,
// or the callback cancels.
template <typename Visit>
bool NearPoints::Walk(unsigned long long first, unsigned long long end, Visit visit) {
  if (first >= end) return true;
  bool isCancelled = false;
  const auto look = [&](const Packet& packet) {
    const bool isReported = looked_++ % kProgressStep == 0 && progress_ != nullptr && *progress_;
    isCancelled = isReported && !(*progress_)(looked_ - 1, count_);
    return !isCancelled && visit(packet) && packet.number + 1 < end && IsWorthwhile();
  };
  result_ = WalkPackets(source_, layout_, look, first);
  if (isCancelled || result_.end == WalkEnd::kSourceFailed) return false;
  result_ = {WalkEnd::kDone, 0};
  return true;
}

// Of the track; nothing where the packet tells none.
std::optional<TimeRun> NearPoints::TimesOf(const Packet& packet) const {
  std::optional<TimeRun> times;
  for (const Payload& payload : packet.payloads) {
    if (payload.stream != track_->stream) continue;
    const long long time = SignedMs(layout_, payload.timeMs);
    if (!times) times = TimeRun{packet.number, packet.number, time, time};
    times->earliestMs = std::min(times->earliestMs, time);
    times->latestMs = std::max(times->latestMs, time);
  }
  return times;
}

// The times of the first of the packets [first, end) that tells any, and of those behind it
// until there are `wanted`.
bool NearPoints::Probe(unsigned long long first, unsigned long long end, unsigned int wanted,
                       std::optional<TimeRun>* run) {
  run->reset();
  const auto look = [&](const Packet& packet) {
    const auto times = TimesOf(packet);
    if (times) track_->order.Extend(run, *times), --wanted;
    return wanted != 0 && !(*run && packet.number - (*run)->first >= kSamplePackets);
  };
  if (!Walk(first, end, look)) return false;
  if (*run) track_->order.Add(**run);
  return true;
}

bool NearPoints::Sample() {
  track_->order.Forget();
  if (track_->isSampled) return true;
  std::optional<TimeRun> run;
  const unsigned long long apart = count_ / kSamples;
  for (unsigned long long k = 0; k <= kSamples; ++k) {
    const bool isLast = k == kSamples;
    const unsigned long long first = isLast ? count_ - kSamples : apart * k;
    if (!Probe(first, isLast ? count_ : first + apart, kSampleTimes, &run)) return false;
  }
  track_->order.Mark();
  track_->isSampled = true;
  return true;
}

// Where the window begins to grow: at a packet that is not behind the target, if there is
// one.
bool NearPoints::FindPlace() {
  unsigned long long low = 0, high = count_;
  for (const TimeRun& sample : track_->order.runs()) {
    const bool isEarly = sample.earliestMs <= target_;
    if (isEarly) low = sample.first;
    high = isEarly ? count_ : std::min(high, sample.first);
  }
  while (high - low > kNearPackets && IsWorthwhile()) {
    const unsigned long long middle = low + (high - low) / 2;
    std::optional<TimeRun> run;
    if (!Probe(middle, high, 1, &run)) return false;
    const bool isEarly = run && run->earliestMs <= target_;
    (isEarly ? low : high) = isEarly ? run->first : middle;
  }
  window_.first = window_.end = low;
  return true;
}

bool NearPoints::LookBack() {
  const unsigned long long first = window_.first - std::min(window_.first, step_);
  step_ *= kStepGrowth;
  SeekPoints points;
  std::optional<TimeRun> run;
  unsigned int witnesses = 0;
  long long frontMs = kNoFront;
  const auto look = [&](const Packet& packet) {
    points.Add(packet, layout_);
    const auto times = TimesOf(packet);
    if (!times) return true;
    if (witnesses++ < kWitnesses) frontMs = std::max(frontMs, times->latestMs);
    track_->order.Extend(&run, *times);
    return true;
  };
  if (!Walk(first, window_.first, look)) return false;
  if (run) track_->order.Add(*run);
  window_.frontMs = witnesses < kWitnesses ? std::max(frontMs, window_.frontMs) : frontMs;
  window_.first = first;
  points.Append(window_.points);
  window_.points = std::move(points);
  return true;
}

bool NearPoints::LookAhead() {
  std::optional<TimeRun> run;
  unsigned int witnesses = 0;
  const auto look = [&](const Packet& packet) {
    window_.points.Add(packet, layout_);
    window_.end = packet.number + 1;
    const auto times = TimesOf(packet);
    if (!times) return true;
    track_->order.Extend(&run, *times);
    if (times->earliestMs <= target_ + track_->order.SlackMs()) {
      witnesses = 0;
    } else {
      window_.backMs = std::min(witnesses++ == 0 ? kNoBack : window_.backMs, times->earliestMs);
    }
    return witnesses < kWitnesses;
  };
  if (!Walk(window_.end, kNoEnd, look)) return false;
  if (run) track_->order.Add(*run);
  if (witnesses < kWitnesses) window_.backMs = kNoBack;  // at the end of the file
  return true;
}

}  // namespace qo_host
