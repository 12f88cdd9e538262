// asftool seek: where a seek lands, and what it costs.
#include <algorithm>
#include <cmath>
#include <map>
#include <optional>

#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/Verdict.h"

namespace tool {
namespace {

const std::map<std::string, int> kModes = {
    {"previous", kSeekPreviousSync}, {"next", kSeekNextSync}, {"closest", kSeekClosestSync}};

struct Arguments {
  std::string file;
  double to = -1;          // seconds
  unsigned int sweep = 0;  // targets; 0: a single seek
  std::string mode = "previous";
  bool byte = false;
  bool exact = false;
  bool json = false;
};

struct Landing {
  std::string problem;  // why the seek failed; empty when it did not
  std::optional<unsigned long long> packet;
  unsigned long long probes = 0;                      // packets whose header the seek read
  unsigned long long bytesRead = 0;                   // by the seek alone
  std::map<host::TrackKind, host::AccessUnit> first;  // the first unit of each track
};

// Counts packets by the one-byte read that begins each.
class ProbeCounter {
 public:
  explicit ProbeCounter(Input* input) : trace_(input->trace()) {
    trace_->Reset();
    trace_->SetObserver([this](const host::SourceCall& call) {
      probes_ += call.operation == host::SourceOperation::kReadAt && call.requested == 1;
    });
  }
  ~ProbeCounter() { trace_->SetObserver({}); }
  ProbeCounter(const ProbeCounter&) = delete;
  ProbeCounter& operator=(const ProbeCounter&) = delete;

  void Store(Landing* landing) const {
    landing->probes = probes_;
    landing->bytesRead = trace_->AllTotals().bytes;
  }

 private:
  host::TraceSource* trace_;
  unsigned long long probes_ = 0;
};

// The packet that reading starts from: the first one that the source is asked for.
class FirstPacket {
 public:
  explicit FirstPacket(Input* input) : trace_(input->trace()) {
    const host::AsfLayout& layout = input->layout();
    trace_->SetObserver([this, &layout](const host::SourceCall& call) {
      const bool isFirst = !packet_ && call.operation == host::SourceOperation::kReadAt;
      if (isFirst && layout.packetLength != 0 && call.offset >= layout.packetsStart) {
        packet_ = (call.offset - layout.packetsStart) / layout.packetLength;
      }
    });
  }
  ~FirstPacket() { trace_->SetObserver({}); }
  FirstPacket(const FirstPacket&) = delete;
  FirstPacket& operator=(const FirstPacket&) = delete;

  std::optional<unsigned long long> packet() const { return packet_; }

 private:
  host::TraceSource* trace_;
  std::optional<unsigned long long> packet_;
};

std::string Failed(const host::SeekStatus& status) {
  if (status.video < 0) return "video: " + host::ParserSession::StatusText(status.video);
  if (status.audio < 0) return "audio: " + host::ParserSession::StatusText(status.audio);
  return "";
}

void SeekTo(Input* input, unsigned long long timeMs, const Arguments& arguments, int mode,
            Landing* landing) {
  host::ParserSession& session = input->session();
  const ProbeCounter counter(input);
  if (!arguments.exact) {
    landing->problem = Failed(session.Seek(timeMs, mode, arguments.byte ? kSeekByteMode : 0));
  } else {
    const host::ExactSeek exact = session.SeekExact(timeMs);
    if (exact.outcome == host::ExactSeek::Outcome::kFailed) landing->problem = exact.problem;
    if (exact.outcome == host::ExactSeek::Outcome::kFound) landing->packet = exact.packet;
  }
  counter.Store(landing);
}

// `mode` is one of kModes; arguments.mode is not looked at.
Landing Land(Input* input, unsigned long long timeMs, const Arguments& arguments, int mode) {
  Landing landing;
  SeekTo(input, timeMs, arguments, mode, &landing);
  if (!landing.problem.empty()) return landing;
  const FirstPacket first(input);
  for (const host::TrackKind kind : {host::TrackKind::kVideo, host::TrackKind::kAudio}) {
    if (const host::AccessUnit* unit = input->session().NextUnit(kind)) landing.first[kind] = *unit;
  }
  if (!landing.packet) landing.packet = first.packet();
  return landing;
}

long long Distance(unsigned long long timeMs, unsigned long long target) {
  return static_cast<long long>(timeMs) - static_cast<long long>(target);
}

void PrintLandingJson(const Landing& landing, unsigned long long target) {
  Json json;
  json["target_ms"] = target;
  json["packet"] = nullptr;
  if (landing.packet) json["packet"] = *landing.packet;
  json["probes"] = landing.probes;
  json["bytes_read"] = landing.bytesRead;
  for (const auto kind : {host::TrackKind::kVideo, host::TrackKind::kAudio}) {
    json[TrackKindName(kind)] = nullptr;
    const auto found = landing.first.find(kind);
    if (found == landing.first.end()) continue;
    json[TrackKindName(kind)] = {{"time_ms", found->second.timeMs},
                                 {"size", found->second.size},
                                 {"distance_ms", Distance(found->second.timeMs, target)}};
  }
  Print(JsonText(json) + "\n");
}

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

// The track that a seek is judged by: video where there is one.
std::optional<long long> JudgedDistance(const Landing& landing, unsigned long long target) {
  for (const auto kind : {host::TrackKind::kVideo, host::TrackKind::kAudio}) {
    const auto found = landing.first.find(kind);
    if (found != landing.first.end()) return std::abs(Distance(found->second.timeMs, target));
  }
  return std::nullopt;
}

void SweepMode(Input* input, const Arguments& arguments, const std::string& name, int mode) {
  const unsigned long long duration = input->session().durationMs();
  std::vector<long long> distances;
  unsigned long long probes = 0, missed = 0;
  for (unsigned int k = 0; k < arguments.sweep; ++k) {
    const unsigned long long target = duration * k / arguments.sweep;
    const Landing landing = Land(input, target, arguments, mode);
    probes += landing.probes;
    if (const auto distance = JudgedDistance(landing, target)) {
      distances.push_back(*distance);
    } else {
      ++missed;
    }
  }
  std::sort(distances.begin(), distances.end());
  char line[160];
  std::snprintf(line, sizeof line, "%-10s %8zu %8llu %12lld %12lld %10.1f\n", name.c_str(),
                distances.size(), missed, distances.empty() ? 0 : distances[distances.size() / 2],
                distances.empty() ? 0 : distances.back(),
                static_cast<double>(probes) / arguments.sweep);
  Print(line);
}

void Sweep(Input* input, Arguments arguments) {
  Print("mode         landed   missed    median ms     worst ms    probes/seek\n");
  for (const auto& [name, mode] : kModes) SweepMode(input, arguments, name, mode);
  arguments.exact = true;
  SweepMode(input, arguments, "exact", kSeekPreviousSync);
}

void Run(const Arguments& arguments, const Options& options, int* exitCode) {
  if ((arguments.to >= 0) == (arguments.sweep != 0)) {
    throw Failure(kExitCannotRun, "name one of --to SECONDS and --sweep N");
  }
  Input input(options, arguments.file, Input::Trace::kOn);
  const Verdict verdict = OpenAndJudge(&input);
  *exitCode = verdict.exitCode();
  PrintProblems(input, verdict);
  if (input.session().tracks().empty() && !arguments.json) return;
  if (arguments.sweep != 0) {
    Sweep(&input, arguments);
    return;
  }
  const unsigned long long target = SecondsToMs(arguments.to);
  const Landing landing = Land(&input, target, arguments, kModes.at(arguments.mode));
  if (!landing.problem.empty()) {
    throw Failure(kExitBadFile,
                  arguments.file + ": seek to " + TimeText(target) + " failed: " + landing.problem);
  }
  if (arguments.json) {
    PrintLandingJson(landing, target);
  } else {
    PrintLanding(landing, target);
  }
}

}  // namespace

void AddSeek(CLI::App& app, const Options& options, int* exitCode) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = app.add_subcommand("seek", "Seek and say where it landed");
  command->add_option("FILE", arguments->file, "The file")->required();
  command->add_option("--to", arguments->to, "The target")
      ->check(NotNegative())
      ->type_name("SECONDS");
  CLI::Option* sweep =
      command->add_option("--sweep", arguments->sweep, "N evenly spaced targets, in every mode")
          ->check(NotNegative())
          ->type_name("N");
  command->add_option("--mode", arguments->mode, "Which key frame (default: previous)")
      ->check(CLI::IsMember(&kModes));
  command->add_flag("--byte", arguments->byte, "Take the index entry's packet without probing");
  command->add_flag("--exact", arguments->exact,
                    "The last key frame at or before the target, index or not");
  command->add_flag("--json", arguments->json, "Print JSON")->excludes(sweep);
  command->callback([arguments, &options, exitCode] { Run(*arguments, options, exitCode); });
}

}  // namespace tool
