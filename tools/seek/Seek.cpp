// asftool seek: where a seek lands, and what it costs.
#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/common/Commands.h"
#include "tools/common/Json.h"
#include "tools/common/Output.h"
#include "tools/common/Verdict.h"
#include "tools/seek/Landing.h"

namespace tool {
namespace {

const std::map<std::string, int> kModes = {
    {"previous", kSeekPreviousSync}, {"next", kSeekNextSync}, {"closest", kSeekClosestSync}};

constexpr unsigned int kMaxSweep = 10000;  // targets

struct Arguments {
  std::string file;
  std::optional<unsigned long long> toMs;
  unsigned int sweep = 0;  // targets; 0: a single seek
  std::string mode = "previous";
  bool byte = false;
  bool exact = false;
  bool json = false;
};

void PrintLanding(const Landing& landing, unsigned long long target) {
  Print("target  " + TimeText(target) + "\n");
  if (landing.packet) Print("packet  " + std::to_string(*landing.packet) + "\n");
  for (const auto& [kind, unit] : landing.first) {
    const long long distance = Distance(unit.timeMs, target);
    Print(std::string(TrackKindName(kind)) + "   " + TimeText(unit.timeMs) + ", " +
          Count(unit.size, "byte") + ", " + (distance > 0 ? "+" : "") + std::to_string(distance) +
          " ms\n");
  }
  Print("cost    " + Count(landing.probes, "packet") + " probed, " +
        Count(landing.bytesRead, "byte") + " read\n");
}

// The unit that a seek is judged by: video where there is some.
const qo_host::AccessUnit* JudgedUnit(const Landing& landing) {
  for (const auto kind : {qo_host::TrackKind::kVideo, qo_host::TrackKind::kAudio}) {
    const auto found = landing.first.find(kind);
    if (found != landing.first.end()) return &found->second;
  }
  return nullptr;
}

// Evenly spaced over the duration; for each the time of the last key frame at or before
// it, or of the first there is.
struct Targets {
  std::vector<unsigned long long> timesMs;
  std::vector<unsigned long long> keysMs;
};

Targets MakeTargets(Seeker* seeker, unsigned int count, unsigned long long durationMs) {
  Targets targets;
  for (unsigned int k = 0; k < count; ++k) {
    const unsigned long long timeMs = durationMs * k / count;
    CheckReader();
    const Landing landing = seeker->Land(timeMs, {kSeekPreviousSync, 0, true});
    const qo_host::AccessUnit* unit = JudgedUnit(landing);
    targets.timesMs.push_back(timeMs);
    targets.keysMs.push_back(unit ? unit->timeMs : 0);
  }
  return targets;
}

// What came of the seeks of one way.
struct Tally {
  unsigned int onKey = 0, earlier = 0, later = 0;  // by the first unit, against keysMs
  unsigned int missed = 0;                         // failed, or no unit came
  unsigned int audioLate = 0;                      // beside video: audio begins behind the target
  unsigned long long probes = 0;
  std::vector<long long> distances;  // ms between target and first unit
};

void Count(const Landing& landing, unsigned long long target, unsigned long long key,
           Tally* tally) {
  tally->probes += landing.probes;
  const qo_host::AccessUnit* unit = JudgedUnit(landing);
  if (!unit) {
    ++tally->missed;
    return;
  }
  tally->distances.push_back(std::abs(Distance(unit->timeMs, target)));
  ++(unit->timeMs == key ? tally->onKey : unit->timeMs < key ? tally->earlier : tally->later);
  const auto audio = landing.first.find(qo_host::TrackKind::kAudio);
  if (unit->kind == qo_host::TrackKind::kVideo && audio != landing.first.end() &&
      audio->second.timeMs > target) {
    ++tally->audioLate;
  }
}

void SweepWay(Seeker* seeker, const Targets& targets, const std::string& name, const SeekWay& way) {
  Tally tally;
  const std::size_t count = targets.timesMs.size();
  for (std::size_t k = 0; k < count; ++k) {
    CheckReader();
    Count(seeker->Land(targets.timesMs[k], way), targets.timesMs[k], targets.keysMs[k], &tally);
  }
  std::vector<long long>& distances = tally.distances;
  std::sort(distances.begin(), distances.end());
  char line[160];
  std::snprintf(line, sizeof line, "%-8s %7u %7u %7u %7u %10u %10lld %10lld %11.1f\n", name.c_str(),
                tally.onKey, tally.earlier, tally.later, tally.missed, tally.audioLate,
                distances.empty() ? 0 : distances[distances.size() / 2],
                distances.empty() ? 0 : distances.back(),
                static_cast<double>(tally.probes) / static_cast<double>(count));
  Print(line);
  FlushOutput();
}

void Sweep(Seeker* seeker, const Targets& targets, int flags) {
  Print("mode      on key earlier   later  missed audio late  median ms   worst ms probes/seek\n");
  for (const auto& [name, mode] : kModes) SweepWay(seeker, targets, name, {mode, flags, false});
  SweepWay(seeker, targets, "exact", {kSeekPreviousSync, flags, true});
}

// Where a seek to `target` ms in a file landed.
Json LandingJson(const std::string& file, const Landing& landing, unsigned long long target) {
  Json json = Document(file);
  json["target_ms"] = target;
  json["packet"] = nullptr;
  if (landing.packet) json["packet"] = *landing.packet;
  json["probes"] = landing.probes;
  json["bytes_read"] = landing.bytesRead;
  for (const auto kind : {qo_host::TrackKind::kVideo, qo_host::TrackKind::kAudio}) {
    json[TrackKindName(kind)] = nullptr;
    const auto found = landing.first.find(kind);
    if (found == landing.first.end()) continue;
    json[TrackKindName(kind)] = {{"time_ms", found->second.timeMs},
                                 {"size", found->second.size},
                                 {"distance_ms", Distance(found->second.timeMs, target)}};
  }
  return json;
}

void Run(const Arguments& arguments, const Options& options, int* exitCode) {
  if (arguments.toMs.has_value() == (arguments.sweep != 0)) {
    throw Failure(kExitCannotRun, "name one of --to TIME and --sweep N");
  }
  Input input(options, arguments.file);
  RefuseLongPipe(input.file());
  const Verdict verdict = OpenAndJudge(&input);
  *exitCode = verdict.exitCode();
  PrintProblems(input, verdict);
  if (input.session().tracks().empty() && !arguments.json) return;
  Seeker seeker(&input);
  const int flags = arguments.byte ? kSeekByteMode : 0;
  if (arguments.sweep != 0) {
    const unsigned long long durationMs = input.session().durationMs();
    Sweep(&seeker, MakeTargets(&seeker, arguments.sweep, durationMs), flags);
    return;
  }
  const unsigned long long target = *arguments.toMs;
  CheckTime(input, target);
  const Landing landing = seeker.Land(target, {kModes.at(arguments.mode), flags, arguments.exact});
  if (!landing.problem.empty()) {
    throw Failure(kExitBadFile,
                  arguments.file + ": seek to " + TimeText(target) + " failed: " + landing.problem);
  }
  if (arguments.json) {
    Print(JsonText(LandingJson(arguments.file, landing, target)) + "\n");
  } else {
    PrintLanding(landing, target);
  }
  if (landing.first.empty()) {
    throw Failure(kExitBadFile, arguments.file + ": no unit follows " + TimeText(target));
  }
}

}  // namespace

void AddSeek(CLI::App& app, const Options& options, int* exitCode) {
  auto arguments = std::make_shared<Arguments>();
  Command command(app, "seek", "Seek and say where it landed");
  command.Text("FILE", &arguments->file, "The file").Required();
  command.Time("--to", &arguments->toMs, "The target: seconds, or 1:02.5");
  const CommandOption sweep =
      command
          .Number("--sweep", &arguments->sweep,
                  "N evenly spaced targets, in every mode, against the last key frame "
                  "at or before each; at most 10000")
          .Between(1, kMaxSweep)
          .Type("N");
  std::vector<std::string> modes;
  for (const auto& mode : kModes) modes.push_back(mode.first);
  command.Text("--mode", &arguments->mode, "Which key frame (default: previous)").OneOf(modes);
  command.Flag("--byte", &arguments->byte, "Take the index entry's packet without probing");
  command.Flag("--exact", &arguments->exact,
               "The last key frame at or before the target, index or not");
  command.Flag("--json", &arguments->json, "Print JSON").Excludes(sweep);
  command.OnUse([arguments, &options, exitCode] { Run(*arguments, options, exitCode); });
}

}  // namespace tool
