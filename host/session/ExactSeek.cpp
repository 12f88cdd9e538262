// ExactSeeker: a walk over the packets tells where key frames may begin; a parser of
// its own, the probe, tells which of them the delivery accepts and which audio unit
// belongs to the one found. What the probe has found the session then goes on with.
#include "qo_host/ExactSeek.h"

#include <algorithm>
#include <limits>
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

ExactSeeker::ExactSeeker(ParserSession* session) : session_(session) {}

ExactSeeker::~ExactSeeker() = default;

ExactSeek ExactSeeker::Seek(unsigned long long timeMs, const SeekPoints::Progress& progress) {
  constexpr auto kLargest = static_cast<unsigned long long>(std::numeric_limits<long long>::max());
  const auto target = static_cast<long long>(std::min(timeMs, kLargest));
  result_ = {};
  if (Learn(progress) && OpenProbe()) Settle(HasVideo() ? FindVideo(target) : FindAudio(target));
  probe_.reset();
  return result_;
}

void ExactSeeker::Fail(ExactSeek::Problem problem, int status) {
  result_.outcome = ExactSeek::Outcome::kFailed;
  result_.problem = problem;
  result_.status = status;
}

bool ExactSeeker::Learn(const SeekPoints::Progress& progress) {
  if (points_) return true;
  if (session_->tracks().empty()) return Fail(ExactSeek::Problem::kNoTrack), false;
  const int status = ReadLayout(session_->view(), &layout_);
  if (status < 0) return Fail(ExactSeek::Problem::kSourceFailed, status), false;
  SeekPoints points;
  const WalkResult walk = points.Learn(session_->view(), layout_, progress);
  if (points.overflowed()) return Fail(ExactSeek::Problem::kTooManyPoints), false;
  if (walk.end == WalkEnd::kSourceFailed) {
    return Fail(ExactSeek::Problem::kSourceFailed, walk.status), false;
  }
  if (walk.end == WalkEnd::kCancelled) {
    result_.outcome = ExactSeek::Outcome::kCancelled;
    return false;
  }
  points_ = std::move(points);
  const std::vector<SeekPoint>& video = points_->video();
  byTime_.resize(video.size());
  std::iota(byTime_.begin(), byTime_.end(), std::size_t{0});
  std::stable_sort(byTime_.begin(), byTime_.end(), [&](std::size_t a, std::size_t b) {
    return Ms(video[a].timeMs) < Ms(video[b].timeMs);
  });
  return true;
}

bool ExactSeeker::OpenProbe() {
  auto view = std::make_unique<BorrowedSource>(session_->view());
  view_ = view.get();
  int status = kParserOk;
  probe_ = session_->MakeTwin(std::move(view), &status);
  if (!probe_) Fail(ExactSeek::Problem::kParserRefused, status);
  return probe_ != nullptr;
}

// Whatever failed on the way may have hidden the unit wanted: nothing moves then.
void ExactSeeker::Settle(bool found) {
  if (view_->failure() < 0) {
    Fail(ExactSeek::Problem::kSourceFailed, view_->failure());
  } else if (result_.problem != ExactSeek::Problem::kNone) {
    return;
  } else if (found) {
    result_.outcome = ExactSeek::Outcome::kFound;
    session_->TakeOver(probe_.get());
  } else {
    session_->Rewind();
  }
}

// The time as a number that may lie before 0: one that lies within the preroll of a
// compressed payload has wrapped in 32 bits.
long long ExactSeeker::Ms(unsigned long long timeMs) const {
  const auto time = static_cast<long long>(timeMs);
  const auto preroll = static_cast<long long>(
      std::min(layout_.prerollMs, static_cast<unsigned long long>(kTimesInAll / 2)));
  return time >= kTimesInAll - preroll ? time - kTimesInAll : time;
}

// Moves one track to a packet. Packet 0 takes a rewind: audio follows a video packet
// only where that is not 0. So video goes there first, wherever it stands.
void ExactSeeker::StartAt(TrackKind kind, unsigned long long packet) {
  if (packet == 0) {
    probe_->Rewind(kind);
    return;
  }
  unsigned long long offset = layout_.PacketPosition(packet);
  if (HasVideo()) {
    const int status = probe_->SeekToOffset(TrackKind::kVideo, offset);
    if (status < 0) Fail(ExactSeek::Problem::kParserRefused, status);
    if (kind == TrackKind::kVideo) return;
  } else {
    offset -= layout_.packetLength;  // one packet further than it says
  }
  const int status = probe_->SeekToOffset(TrackKind::kAudio, offset);
  if (status < 0) Fail(ExactSeek::Problem::kParserRefused, status);
}

// The first key frame that comes out when reading starts with the media object of
// `point`.
const AccessUnit* ExactSeeker::StartAtKeyFrame(const SeekPoint& point) {
  StartAt(TrackKind::kVideo, point.packet);
  for (unsigned int k = 0; k < point.before; ++k) {
    if (!probe_->SkipVideoObject()) return nullptr;
  }
  return probe_->PeekUnit(TrackKind::kVideo, true);
}

// The delivery's own key frame test may refuse a frame that is flagged as one. So
// the points up to the target are tried in growing numbers, the latest first, until
// one of them comes out.
bool ExactSeeker::FindVideo(long long target) {
  const std::vector<SeekPoint>& points = points_->video();
  const auto behind = std::partition_point(byTime_.begin(), byTime_.end(), [&](std::size_t point) {
    return Ms(points[point].timeMs) <= target;
  });
  const auto count = static_cast<std::size_t>(behind - byTime_.begin());
  std::size_t low = count;
  for (std::size_t span = 1; low != 0; span *= 2) {
    const std::size_t high = low;
    low = count - std::min(count, span);
    while (low != 0 && HasTimeOfNext(low - 1)) --low;
    const auto [first, last] = std::minmax_element(byTime_.begin() + Signed(low), behind);
    const Times seen = KeyFrameTimes(*first, *last, points[byTime_[count - 1]].timeMs, target);
    if (const auto found = LastThatCameOut(low, high, seen)) return SettleOn(points[*found]);
  }
  return false;
}

bool ExactSeeker::HasTimeOfNext(std::size_t k) const {
  const std::vector<SeekPoint>& points = points_->video();
  return points[byTime_[k]].timeMs == points[byTime_[k + 1]].timeMs;
}

// Of the points byTime_[low] to byTime_[high - 1] the latest whose time was seen,
// among equals the last in the file that the delivery accepts.
std::optional<std::size_t> ExactSeeker::LastThatCameOut(std::size_t low, std::size_t high,
                                                        const Times& seen) {
  for (std::size_t end = high; end > low;) {
    std::size_t begin = end - 1;
    while (begin > low && HasTimeOfNext(begin - 1)) --begin;
    if (Has(seen, points_->video()[byTime_[begin]].timeMs)) {
      const std::vector<std::size_t> group(byTime_.begin() + Signed(begin),
                                           byTime_.begin() + Signed(end));
      if (const auto found = LastAccepted(group)) return found;
    }
    end = begin;
  }
  return std::nullopt;
}

// Of points that have one time, in file order, the last that the delivery accepts.
// Reading that starts with a point brings that time as long as one that is accepted
// lies ahead.
std::optional<std::size_t> ExactSeeker::LastAccepted(const std::vector<std::size_t>& group) {
  const std::vector<SeekPoint>& points = points_->video();
  const unsigned long long time = points[group[0]].timeMs;
  std::size_t from = 0;
  for (std::size_t beyond = group.size(); beyond - from > 1;) {
    const std::size_t middle = from + (beyond - from) / 2;
    const Times seen = KeyFrameTimes(group[middle], group.back(), time, Ms(time));
    (Has(seen, time) ? from : beyond) = middle;
  }
  const AccessUnit* unit = StartAtKeyFrame(points[group[from]]);
  if (unit == nullptr || unit->timeMs != time) return std::nullopt;
  return group[from];
}

// The times, sorted, of the key frames that come out when reading starts with point
// `first`, until point `last` is passed, or a key frame with the time `wanted` has
// come, or one behind `target` that is none of the points.
ExactSeeker::Times ExactSeeker::KeyFrameTimes(std::size_t first, std::size_t last,
                                              unsigned long long wanted, long long target) {
  const std::vector<SeekPoint>& points = points_->video();
  Times known;
  for (std::size_t i = first; i <= last; ++i) known.push_back(points[i].timeMs);
  std::sort(known.begin(), known.end());
  Times seen;
  bool isPassed = false;
  while (first <= last && !isPassed) {
    const AccessUnit* unit = StartAtKeyFrame(points[first]);
    for (; unit != nullptr && !isPassed; unit = probe_->PeekUnit(TrackKind::kVideo, true)) {
      const bool isPoint = Has(known, unit->timeMs);
      if (isPoint) seen.push_back(unit->timeMs);
      isPassed = isPoint ? unit->timeMs == wanted : Ms(unit->timeMs) > target;
      if (!isPassed) probe_->NextUnit(TrackKind::kVideo);
    }
    // A packet that fails ends the reading; behind it there may be more.
    first = NextPointBehind(points, first, layout_.PacketAt(view_->lastReadAt()));
  }
  std::sort(seen.begin(), seen.end());
  return seen;
}

// Audio first: it follows video, so that its own seeks move video.
bool ExactSeeker::SettleOn(const SeekPoint& point) {
  FindAudio(Ms(point.timeMs));
  const AccessUnit* unit = StartAtKeyFrame(point);
  result_.packet = point.packet;
  result_.timeMs = point.timeMs;
  return unit != nullptr && unit->timeMs == point.timeMs;
}

// Puts audio on the last unit at or before the target, or, where there is none, on
// the first of the track. False in that case. The packet of the last point before
// the target need not bring one: units may be stamped later than their object.
bool ExactSeeker::FindAudio(long long target) {
  const std::vector<SeekPoint>& points = points_->audio();
  std::optional<std::size_t> best;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const long long time = Ms(points[i].timeMs);
    if (time <= target && (!best || time >= Ms(points[*best].timeMs))) best = i;
  }
  const auto point = best ? LastWithAudio(*best, target) : std::nullopt;
  const auto unit = point ? LastAudioUnit(points[*point].packet, target) : std::nullopt;
  if (!unit || !StartAtAudio(points[*point].packet, *unit)) {
    probe_->Rewind(TrackKind::kAudio);
    return false;
  }
  result_.packet = points[*point].packet;
  result_.timeMs = unit->timeMs;
  return true;
}

// The last point up to `best` from which reading begins at or before the target.
std::optional<std::size_t> ExactSeeker::LastWithAudio(std::size_t best, long long target) {
  const auto begins = [&](std::size_t point) {
    StartAt(TrackKind::kAudio, points_->audio()[point].packet);
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

std::optional<ExactSeeker::UnitMark> ExactSeeker::LastAudioUnit(unsigned long long packet,
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

bool ExactSeeker::StartAtAudio(unsigned long long packet, UnitMark mark) {
  StartAt(TrackKind::kAudio, packet);
  while (const AccessUnit* unit = probe_->PeekUnit(TrackKind::kAudio)) {
    if (unit->timeMs == mark.timeMs && --mark.count == 0) return true;
    probe_->NextUnit(TrackKind::kAudio);
  }
  return false;
}

}  // namespace qo_host
