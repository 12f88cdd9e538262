// SeekSurvey: a Seeker goes to each target in each mode. No state of its own.
#include "tools/report/SeekSurvey.h"

#include <algorithm>

#include "tools/common/OutputFile.h"
#include "tools/seek/Landing.h"

namespace tool {
namespace {

constexpr unsigned int kTargets = 32;

struct Mode {
  const char* name;
  const char* should;
  SeekWay way;
  std::optional<long long> (*place)(const SeekTarget&);
};

std::optional<long long> OrElse(std::optional<long long> first, std::optional<long long> second) {
  return first ? first : second;
}

std::optional<long long> Closest(const SeekTarget& target) {
  if (!target.before || !target.after) return OrElse(target.before, target.after);
  const auto timeMs = static_cast<long long>(target.timeMs);
  return timeMs - *target.before <= *target.after - timeMs ? target.before : target.after;
}

std::optional<long long> Previous(const SeekTarget& target) {
  return OrElse(target.before, target.after);
}

std::optional<long long> Next(const SeekTarget& target) {
  return OrElse(target.after, target.before);
}

const Mode kModes[] = {
    {"previous",
     "the last place at or before the target where playing can start",
     {kSeekPreviousSync, 0, false},
     Previous},
    {"next",
     "the first place at or after the target where playing can start",
     {kSeekNextSync, 0, false},
     Next},
    {"closest", "of these two places the nearer one", {kSeekClosestSync, 0, false}, Closest},
    {"exact",
     "the place of mode \u201Cprevious\u201D, as the kit finds it",
     {0, 0, true},
     Previous},
};

// By the first unit of the track of `kind`.
SurveyedSeek Survey(Seeker* seeker, qo_host::TrackKind kind, const Mode& mode,
                    const SeekTarget& target) {
  const Landing landing = seeker->Land(target.timeMs, mode.way);
  SurveyedSeek seek{target.timeMs, mode.place(target), {}, landing.probes};
  const auto found = landing.first.find(kind);
  if (found != landing.first.end()) seek.landedMs = static_cast<long long>(found->second.timeMs);
  return seek;
}

}  // namespace

std::vector<unsigned long long> SeekTargetsMs(unsigned long long durationMs) {
  std::vector<unsigned long long> targets;
  if (durationMs == 0) return targets;
  const unsigned long long reach = std::min(durationMs, qo_host::ParserSession::kMaxSeekMs);
  for (unsigned int k = 0; k < kTargets; ++k) targets.push_back(reach * k / kTargets);
  return targets;
}

std::vector<SurveyedMode> SurveySeeks(Input* input, const std::vector<SeekTarget>& targets) {
  std::vector<SurveyedMode> modes;
  if (input->session().tracks().empty() || targets.empty()) return modes;
  const bool hasVideo = input->session().FindTrack(qo_host::TrackKind::kVideo) != nullptr;
  const auto judged = hasVideo ? qo_host::TrackKind::kVideo : qo_host::TrackKind::kAudio;
  RenewParser(*input, &input->session());
  Seeker seeker(input);
  for (const Mode& mode : kModes) {
    modes.push_back({mode.name, mode.should, {}});
    for (const SeekTarget& target : targets) {
      if (IsInterrupted()) throw Failure(kExitCannotRun, input->path() + ": interrupted");
      // An exact seek has a parser of its own; two that hold large pictures are too many.
      if (mode.way.exact) seeker.Renew();
      modes.back().seeks.push_back(Survey(&seeker, judged, mode, target));
    }
  }
  return modes;
}

}  // namespace tool
