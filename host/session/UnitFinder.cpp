// UnitFinder: tries in growing steps back from the target, and in halves between what is
// too early and what is too late.
#include "host/session/UnitFinder.h"

#include <algorithm>
#include <utility>

namespace qo_host {
namespace {

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

// Moves one track to a packet. Packet 0 takes a rewind: audio follows a video packet
// only where that is not 0. So video goes there first, wherever it stands.
void UnitFinder::StartAt(TrackKind kind, unsigned long long packet) {
  if (packet == 0) {
    probe_->Rewind(kind);
    return;
  }
  unsigned long long offset = near_->layout().PacketPosition(packet);
  if (HasVideo()) {
    const int status = probe_->SeekToOffset(TrackKind::kVideo, offset);
    if (status < 0) status_ = status;
    if (kind == TrackKind::kVideo) return;
  } else {
    offset -= near_->layout().packetLength;  // one packet further than it says
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

// Asks for more points until those that count are all there, and then of `find` which one
// it is. Points in front are needed as well where those that there are won't do.
template <typename Found, typename Find>
std::optional<Found> UnitFinder::Search(StreamKind kind, long long target, Find find) {
  bool isLearned = near_->LookAround(kind, target);
  for (; isLearned; isLearned = near_->LookFurther()) {
    const std::optional<Found> found = find();
    if (found || known().fromStart() || !IsSure()) return found;
  }
  isUnsure_ = true;
  return std::nullopt;
}

std::optional<SeekPoint> UnitFinder::FindVideo(long long target) {
  return Search<SeekPoint>(StreamKind::kVideo, target, [&]() -> std::optional<SeekPoint> {
    const std::size_t count = known().VideoUpTo(target);
    if (count == 0 || !near_->HasAllSince(Ms(known().video()[known().byTime()[count - 1]].timeMs)))
      return std::nullopt;
    const auto point = FindKnownVideo(target, count);
    return point && near_->HasAllSince(Ms(point->timeMs)) ? point : std::nullopt;
  });
}

// The delivery's own key frame test may refuse a frame that is flagged as one. So
// the first `count` points by time are tried in growing numbers, the latest first, until
// one of them comes out.
std::optional<SeekPoint> UnitFinder::FindKnownVideo(long long target, std::size_t count) {
  const std::vector<SeekPoint>& points = known().video();
  const auto behind = known().byTime().begin() + Signed(count);
  std::size_t low = count;
  for (std::size_t span = 1; low != 0; span *= 2) {
    const std::size_t high = low;
    if (span > count && !known().fromStart()) break;
    low = count - std::min(count, span);
    while (low != 0 && HasTimeOfNext(low - 1)) --low;
    const auto [first, last] = std::minmax_element(known().byTime().begin() + Signed(low), behind);
    const Times seen =
        KeyFrameTimes(*first, *last, points[known().byTime()[count - 1]].timeMs, target);
    if (const auto found = LastThatCameOut(low, high, seen)) return points[*found];
  }
  return std::nullopt;
}

bool UnitFinder::HasTimeOfNext(std::size_t k) const {
  const std::vector<SeekPoint>& points = known().video();
  return points[known().byTime()[k]].timeMs == points[known().byTime()[k + 1]].timeMs;
}

// Of the points known().byTime()[low] to known().byTime()[high - 1] the latest whose time was seen,
// among equals the last in the file that the delivery accepts.
std::optional<std::size_t> UnitFinder::LastThatCameOut(std::size_t low, std::size_t high,
                                                       const Times& seen) {
  for (std::size_t end = high; end > low;) {
    std::size_t begin = end - 1;
    while (begin > low && HasTimeOfNext(begin - 1)) --begin;
    if (Has(seen, known().video()[known().byTime()[begin]].timeMs)) {
      const std::vector<std::size_t> group(known().byTime().begin() + Signed(begin),
                                           known().byTime().begin() + Signed(end));
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
  const std::vector<SeekPoint>& points = known().video();
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
  const std::vector<SeekPoint>& points = known().video();
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
    first = NextPointBehind(points, first, near_->layout().PacketAt(view_->lastReadAt()));
  }
  std::sort(seen.begin(), seen.end());
  return seen;
}

bool UnitFinder::StartAtKeyFrame(const SeekPoint& point) {
  const AccessUnit* unit = FirstKeyFrame(point);
  return unit != nullptr && unit->timeMs == point.timeMs;
}

std::optional<UnitFinder::AudioPlace> UnitFinder::FindAudio(long long target) {
  if (probe_->FindTrack(TrackKind::kAudio) == nullptr) return std::nullopt;
  const auto found =
      Search<AudioPlace>(StreamKind::kAudio, target, [&] { return FindKnownAudio(target); });
  if (!found) probe_->Rewind(TrackKind::kAudio);
  return found;
}

// The packet of the last point before the target need not bring a unit: units may be
// stamped later than their object.
std::optional<UnitFinder::AudioPlace> UnitFinder::FindKnownAudio(long long target) {
  const std::vector<SeekPoint>& points = known().audio();
  const std::size_t best = known().LastAudioUpTo(target);
  if (best == points.size() || !near_->HasAllSince(Ms(points[best].timeMs))) return std::nullopt;
  const auto point = LastWithAudio(best, target);
  const auto unit = point ? LastAudioUnit(points[*point].packet, target) : std::nullopt;
  if (!unit || !StartAtAudio(points[*point].packet, *unit)) return std::nullopt;
  return AudioPlace{points[*point].packet, unit->timeMs};
}

// The last point up to `best` from which reading begins at or before the target.
std::optional<std::size_t> UnitFinder::LastWithAudio(std::size_t best, long long target) {
  const auto begins = [&](std::size_t point) {
    StartAt(TrackKind::kAudio, known().audio()[point].packet);
    const AccessUnit* unit = probe_->PeekUnit(TrackKind::kAudio);
    return unit != nullptr && Ms(unit->timeMs) <= target;
  };
  std::size_t found = best, beyond = best + 1;
  for (std::size_t step = 1; !begins(found); step *= 2) {
    if (found == 0 || (step > found && !known().fromStart())) return std::nullopt;
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
