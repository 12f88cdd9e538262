// UnitFinder: tries in growing steps back from the target, and in halves between what is
// too early and what is too late.
#include "host/session/UnitFinder.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace qo_host {
namespace {

constexpr long long kTimesInAll = 1ll << 32;

std::ptrdiff_t Signed(std::size_t index) { return static_cast<std::ptrdiff_t>(index); }

bool Has(const std::vector<unsigned long long>& sorted, unsigned long long value) {
  return std::binary_search(sorted.begin(), sorted.end(), value);
}

// The first point behind point `from` whose packet lies behind `packet`.
std::size_t NextPointBehind(const std::vector<SeekPoint>& points, std::size_t from,
                            unsigned long long packet) {
  do {
    ++from;
  } while (from < points.size() && points[from].packet <= packet);
  return from;
}

}  // namespace

KnownPoints::KnownPoints(const AsfLayout& layout, SeekPoints points)
    : layout_(layout), points_(std::move(points)), byTime_(video().size()) {
  std::iota(byTime_.begin(), byTime_.end(), std::size_t{0});
  std::stable_sort(byTime_.begin(), byTime_.end(), [this](std::size_t a, std::size_t b) {
    return SignedMs(layout_, video()[a].timeMs) < SignedMs(layout_, video()[b].timeMs);
  });
}

long long SignedMs(const AsfLayout& layout, unsigned long long timeMs) {
  const auto time = static_cast<long long>(timeMs);
  const auto preroll = static_cast<long long>(
      std::min(layout.prerollMs, static_cast<unsigned long long>(kTimesInAll / 2)));
  return time >= kTimesInAll - preroll ? time - kTimesInAll : time;
}

// Moves one track to a packet. Packet 0 takes a rewind: audio follows a video packet
// only where that is not 0. So video goes there first, wherever it stands.
void UnitFinder::StartAt(TrackKind kind, unsigned long long packet) {
  if (packet == 0) {
    probe_->Rewind(kind);
    return;
  }
  unsigned long long offset = known_.layout().PacketPosition(packet);
  if (HasVideo()) {
    const int status = probe_->SeekToOffset(TrackKind::kVideo, offset);
    if (status < 0) status_ = status;
    if (kind == TrackKind::kVideo) return;
  } else {
    offset -= known_.layout().packetLength;  // one packet further than it says
  }
  const int status = probe_->SeekToOffset(TrackKind::kAudio, offset);
  if (status < 0) status_ = status;
}

// The first key frame that comes out when reading starts with the media object of
// `point`.
const AccessUnit* UnitFinder::FirstKeyFrame(const SeekPoint& point) {
  StartAt(TrackKind::kVideo, point.packet);
  for (unsigned int k = 0; k < point.before; ++k) {
    if (!probe_->SkipVideoObject()) return nullptr;
  }
  return probe_->PeekUnit(TrackKind::kVideo, true);
}

// The delivery's own key frame test may refuse a frame that is flagged as one. So
// the points up to the target are tried in growing numbers, the latest first, until
// one of them comes out.
std::optional<SeekPoint> UnitFinder::FindVideo(long long target) {
  const std::vector<SeekPoint>& points = known_.video();
  const auto behind =
      std::partition_point(known_.byTime().begin(), known_.byTime().end(),
                           [&](std::size_t point) { return Ms(points[point].timeMs) <= target; });
  const auto count = static_cast<std::size_t>(behind - known_.byTime().begin());
  std::size_t low = count;
  for (std::size_t span = 1; low != 0; span *= 2) {
    const std::size_t high = low;
    low = count - std::min(count, span);
    while (low != 0 && HasTimeOfNext(low - 1)) --low;
    const auto [first, last] = std::minmax_element(known_.byTime().begin() + Signed(low), behind);
    const Times seen =
        KeyFrameTimes(*first, *last, points[known_.byTime()[count - 1]].timeMs, target);
    if (const auto found = LastThatCameOut(low, high, seen)) return points[*found];
  }
  return std::nullopt;
}

bool UnitFinder::HasTimeOfNext(std::size_t k) const {
  const std::vector<SeekPoint>& points = known_.video();
  return points[known_.byTime()[k]].timeMs == points[known_.byTime()[k + 1]].timeMs;
}

// Of the points known_.byTime()[low] to known_.byTime()[high - 1] the latest whose time was seen,
// among equals the last in the file that the delivery accepts.
std::optional<std::size_t> UnitFinder::LastThatCameOut(std::size_t low, std::size_t high,
                                                       const Times& seen) {
  for (std::size_t end = high; end > low;) {
    std::size_t begin = end - 1;
    while (begin > low && HasTimeOfNext(begin - 1)) --begin;
    if (Has(seen, known_.video()[known_.byTime()[begin]].timeMs)) {
      const std::vector<std::size_t> group(known_.byTime().begin() + Signed(begin),
                                           known_.byTime().begin() + Signed(end));
      if (const auto found = LastAccepted(group)) return found;
    }
    end = begin;
  }
  return std::nullopt;
}

// Of points that have one time, in file order, the last that the delivery accepts.
// Reading that starts with a point brings that time as long as one that is accepted
// lies ahead.
std::optional<std::size_t> UnitFinder::LastAccepted(const std::vector<std::size_t>& group) {
  const std::vector<SeekPoint>& points = known_.video();
  const unsigned long long time = points[group[0]].timeMs;
  std::size_t from = 0;
  for (std::size_t beyond = group.size(); beyond - from > 1;) {
    const std::size_t middle = from + (beyond - from) / 2;
    const Times seen = KeyFrameTimes(group[middle], group.back(), time, Ms(time));
    (Has(seen, time) ? from : beyond) = middle;
  }
  const AccessUnit* unit = FirstKeyFrame(points[group[from]]);
  if (unit == nullptr || unit->timeMs != time) return std::nullopt;
  return group[from];
}

// The times, sorted, of the key frames that come out when reading starts with point
// `first`, until point `last` is passed, or a key frame with the time `wanted` has
// come, or one behind `target` that is none of the points.
UnitFinder::Times UnitFinder::KeyFrameTimes(std::size_t first, std::size_t last,
                                            unsigned long long wanted, long long target) {
  const std::vector<SeekPoint>& points = known_.video();
  Times known;
  for (std::size_t i = first; i <= last; ++i) known.push_back(points[i].timeMs);
  std::sort(known.begin(), known.end());
  Times seen;
  bool isPassed = false;
  while (first <= last && !isPassed) {
    const AccessUnit* unit = FirstKeyFrame(points[first]);
    for (; unit != nullptr && !isPassed; unit = probe_->PeekUnit(TrackKind::kVideo, true)) {
      const bool isPoint = Has(known, unit->timeMs);
      if (isPoint) seen.push_back(unit->timeMs);
      isPassed = isPoint ? unit->timeMs == wanted : Ms(unit->timeMs) > target;
      if (!isPassed) probe_->NextUnit(TrackKind::kVideo);
    }
    // A packet that fails ends the reading; behind it there may be more.
    first = NextPointBehind(points, first, known_.layout().PacketAt(view_->lastReadAt()));
  }
  std::sort(seen.begin(), seen.end());
  return seen;
}

bool UnitFinder::StartAtKeyFrame(const SeekPoint& point) {
  const AccessUnit* unit = FirstKeyFrame(point);
  return unit != nullptr && unit->timeMs == point.timeMs;
}

// The packet of the last point before the target need not bring a unit: units may be
// stamped later than their object.
std::optional<UnitFinder::AudioPlace> UnitFinder::FindAudio(long long target) {
  const std::vector<SeekPoint>& points = known_.audio();
  std::optional<std::size_t> best;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const long long time = Ms(points[i].timeMs);
    if (time <= target && (!best || time >= Ms(points[*best].timeMs))) best = i;
  }
  const auto point = best ? LastWithAudio(*best, target) : std::nullopt;
  const auto unit = point ? LastAudioUnit(points[*point].packet, target) : std::nullopt;
  if (!unit || !StartAtAudio(points[*point].packet, *unit)) {
    probe_->Rewind(TrackKind::kAudio);
    return std::nullopt;
  }
  return AudioPlace{points[*point].packet, unit->timeMs};
}

// The last point up to `best` from which reading begins at or before the target.
std::optional<std::size_t> UnitFinder::LastWithAudio(std::size_t best, long long target) {
  const auto begins = [&](std::size_t point) {
    StartAt(TrackKind::kAudio, known_.audio()[point].packet);
    const AccessUnit* unit = probe_->PeekUnit(TrackKind::kAudio);
    return unit != nullptr && Ms(unit->timeMs) <= target;
  };
  std::size_t found = best, beyond = best + 1;
  for (std::size_t step = 1; !begins(found); step *= 2) {
    if (found == 0) return std::nullopt;
    beyond = found;
    found -= std::min(found, step);
  }
  while (beyond - found > 1) {
    const std::size_t middle = found + (beyond - found) / 2;
    (begins(middle) ? found : beyond) = middle;
  }
  return found;
}

std::optional<UnitFinder::UnitMark> UnitFinder::LastAudioUnit(unsigned long long packet,
                                                              long long target) {
  StartAt(TrackKind::kAudio, packet);
  std::optional<UnitMark> last;
  const AccessUnit* unit = nullptr;
  while ((unit = probe_->PeekUnit(TrackKind::kAudio)) != nullptr && Ms(unit->timeMs) <= target) {
    const bool again = last && last->timeMs == unit->timeMs;
    last = UnitMark{unit->timeMs, again ? last->count + 1 : 1};
    probe_->NextUnit(TrackKind::kAudio);
  }
  return last;
}

bool UnitFinder::StartAtAudio(unsigned long long packet, UnitMark mark) {
  StartAt(TrackKind::kAudio, packet);
  while (const AccessUnit* unit = probe_->PeekUnit(TrackKind::kAudio)) {
    if (unit->timeMs == mark.timeMs && --mark.count == 0) return true;
    probe_->NextUnit(TrackKind::kAudio);
  }
  return false;
}

}  // namespace qo_host
