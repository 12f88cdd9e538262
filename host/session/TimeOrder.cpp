// TimeOrder: each run is held against all others.
#include "host/session/TimeOrder.h"

#include <algorithm>

namespace qo_host {
namespace {

// What was seen is a part of what there is: as much again, and more, is allowed for.
constexpr long long kSlackOfSeen = 4;
// Ms. Frames are stored in the order in which they are decoded, up to this much out of
// the order of their times.
constexpr long long kMinSlackMs = 500;
constexpr long long kMaxBackMs = 10000;

}  // namespace

void TimeOrder::Note(long long earlierInFileMs, long long laterInFileMs) {
  backMs_ = std::max(backMs_, earlierInFileMs - laterInFileMs);
}

void TimeOrder::Extend(std::optional<TimeRun>* run, const TimeRun& packet) {
  if (!*run) {
    *run = packet;
    return;
  }
  TimeRun& all = **run;
  Note(all.latestMs, packet.earliestMs);
  all.last = packet.last;
  all.earliestMs = std::min(all.earliestMs, packet.earliestMs);
  all.latestMs = std::max(all.latestMs, packet.latestMs);
}

void TimeOrder::Add(const TimeRun& run) {
  for (const TimeRun& other : runs_) {
    if (other.last < run.first) Note(other.latestMs, run.earliestMs);
    if (run.last < other.first) Note(run.latestMs, other.earliestMs);
  }
  runs_.push_back(run);
}

long long TimeOrder::SlackMs() const { return std::max(kMinSlackMs, kSlackOfSeen * backMs_); }

bool TimeOrder::IsKept() const { return backMs_ <= kMaxBackMs; }

}  // namespace qo_host
