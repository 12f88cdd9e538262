// ParserSession::SeekExact: the wanted time becomes a packet by what a walk over
// the packet headers has learned, the packet becomes the byte offset that a seek
// in time mode takes, and what comes out before the chosen unit is dropped.
#include <algorithm>

#include "host/ParserSession.h"

namespace host {
namespace {

// The last point with the greatest time that is not behind the target.
std::optional<std::size_t> LastPointUpTo(const std::vector<SeekPoint>& points,
                                         unsigned long long timeMs) {
  std::optional<std::size_t> best;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (points[i].timeMs <= timeMs && (!best || points[i].timeMs >= points[*best].timeMs)) best = i;
  }
  return best;
}

// The first point in the packet of point `index`.
std::size_t FirstInPacket(const std::vector<SeekPoint>& points, std::size_t index) {
  while (index != 0 && points[index - 1].packet == points[index].packet) --index;
  return index;
}

}  // namespace

ExactSeek ParserSession::SeekExact(unsigned long long timeMs,
                                   const SeekPoints::Progress& progress) {
  ExactSeek result = {ExactSeek::Outcome::kNothingBefore, 0, 0, ""};
  if (!LearnPoints(progress, &result)) return result;
  const auto point = LastPointUpTo(seekPoints_->points(), timeMs);
  const bool hasVideo = FindTrack(TrackKind::kVideo) != nullptr;
  if (point && (hasVideo ? SeekVideoExact(*point, timeMs, &result)
                         : SeekAudioExact(*point, timeMs, &result))) {
    return result;
  }
  if (result.outcome == ExactSeek::Outcome::kNothingBefore) Rewind();
  return result;
}

bool ParserSession::LearnPoints(const SeekPoints::Progress& progress, ExactSeek* result) {
  if (seekPoints_) return true;
  const auto fail = [result](const std::string& problem) {
    result->outcome = ExactSeek::Outcome::kFailed;
    result->problem = problem;
    return false;
  };
  if (tracks_.empty()) return fail("the file has no track");
  const int status = ReadLayout(source_.get(), &layout_);
  if (status < 0) return fail(StatusText(status));
  SeekPoints points;
  const WalkResult walk = points.Learn(source_.get(), layout_, progress);
  if (points.overflowed()) return fail("the file has too many key frames");
  if (walk.end == WalkEnd::kSourceFailed) return fail(StatusText(walk.status));
  if (walk.end == WalkEnd::kCancelled) {
    result->outcome = ExactSeek::Outcome::kCancelled;
    return false;
  }
  seekPoints_ = std::move(points);
  return true;
}

// Both tracks to a packet. Packet 0 takes Seek: audio follows a video packet only
// where that is not 0.
bool ParserSession::SeekToPacket(unsigned long long packet, ExactSeek* result) {
  if (packet == 0) {
    Rewind();
    return true;
  }
  unsigned long long offset = layout_.packetsStart + packet * layout_.packetLength;
  // Without video the parser goes one packet further than the offset says.
  if (FindTrack(TrackKind::kVideo) == nullptr) offset -= layout_.packetLength;
  for (const TrackKind kind : {TrackKind::kVideo, TrackKind::kAudio}) {
    const int status = SeekTrack(kind, 0, kSeekTimeMode, offset, kSeekPreviousSync);
    if (status >= 0) continue;
    result->outcome = ExactSeek::Outcome::kFailed;
    result->problem = StatusText(status);
    return false;
  }
  return true;
}

// The delivery's own key frame test may refuse a frame that is flagged as one.
// So the points in front of the best one are tried in growing numbers, until one
// of them comes out.
bool ParserSession::SeekVideoExact(std::size_t best, unsigned long long timeMs, ExactSeek* result) {
  const std::vector<SeekPoint>& points = seekPoints_->points();
  for (std::size_t span = 0;; span = 2 * span + 1) {
    const std::size_t from = FirstInPacket(points, best - std::min(best, span));
    if (!SeekToPacket(points[from].packet, result)) return false;
    const auto found = ScanKeyFrames(from, best, timeMs);
    if (found && *found != best) {
      const std::size_t first = FirstInPacket(points, *found);
      if (!SeekToPacket(points[first].packet, result)) return false;
      ScanKeyFrames(first, *found, timeMs);
    }
    if (found) {
      SettleOn(TrackKind::kVideo, points[*found].packet, result);
      return true;
    }
    if (from == 0) return false;
  }
}

// Reads key frames as the delivery sees them, from the packet of point `from` on,
// and tells which of the points up to `last` came out last that is not behind the
// target. When that is `last`, its unit is left waiting.
std::optional<std::size_t> ParserSession::ScanKeyFrames(std::size_t from, std::size_t last,
                                                        unsigned long long timeMs) {
  const std::vector<SeekPoint>& points = seekPoints_->points();
  std::vector<unsigned long long> times;
  for (std::size_t i = from; i <= last; ++i) times.push_back(points[i].timeMs);
  std::sort(times.begin(), times.end());
  Lane& lane = LaneOf(TrackKind::kVideo);
  std::optional<unsigned long long> found;
  for (; Fill(TrackKind::kVideo, true); lane.pending = false) {
    const unsigned long long time = lane.unit.timeMs;
    const bool isPoint = std::binary_search(times.begin(), times.end(), time);
    // No point and not behind the target: a further picture of the same object.
    if (!isPoint && time > timeMs) break;
    if (isPoint && time <= timeMs && time >= found.value_or(0)) found = time;
    if (time == points[last].timeMs) return last;
  }
  if (!found) return std::nullopt;
  std::size_t index = last;
  while (points[index].timeMs != *found) --index;
  return index;
}

// The units of a packet may all lie behind the target though its first object
// begins before it: they are stamped later than their object. Then an earlier
// packet has the one wanted.
bool ParserSession::SeekAudioExact(std::size_t best, unsigned long long timeMs, ExactSeek* result) {
  const std::vector<SeekPoint>& points = seekPoints_->points();
  for (std::size_t i = best;; --i) {
    if (!SeekToPacket(points[i].packet, result)) return false;
    if (const auto unit = LastAudioUnit(timeMs)) {
      if (!SeekToPacket(points[i].packet, result)) return false;
      if (DropAudioUntil(*unit)) {
        SettleOn(TrackKind::kAudio, points[i].packet, result);
        return true;
      }
    }
    if (i == 0) return false;
  }
}

std::optional<ParserSession::UnitMark> ParserSession::LastAudioUnit(unsigned long long timeMs) {
  Lane& lane = LaneOf(TrackKind::kAudio);
  std::optional<UnitMark> last;
  for (; Fill(TrackKind::kAudio) && lane.unit.timeMs <= timeMs; lane.pending = false) {
    const bool again = last && last->timeMs == lane.unit.timeMs;
    last = UnitMark{lane.unit.timeMs, again ? last->count + 1 : 1};
  }
  return last;
}

bool ParserSession::DropAudioUntil(UnitMark mark) {
  Lane& lane = LaneOf(TrackKind::kAudio);
  for (; Fill(TrackKind::kAudio); lane.pending = false) {
    if (lane.unit.timeMs == mark.timeMs && --mark.count == 0) return true;
  }
  return false;
}

// The unit that waits in the lane of `kind` is the one: audio in front of a video
// unit is dropped.
void ParserSession::SettleOn(TrackKind kind, unsigned long long packet, ExactSeek* result) {
  result->outcome = ExactSeek::Outcome::kFound;
  result->packet = packet;
  result->timeMs = LaneOf(kind).unit.timeMs;
  Lane& audio = LaneOf(TrackKind::kAudio);
  for (; Fill(TrackKind::kAudio) && audio.unit.timeMs < result->timeMs; audio.pending = false) {
  }
}

}  // namespace host
