// asftool units: one line per access unit, as committed dumps hold them.
#include <limits>
#include <optional>

#include "tools/common/Commands.h"
#include "tools/common/Json.h"
#include "tools/common/Output.h"
#include "tools/common/Verdict.h"

namespace tool {
namespace {

struct Arguments {
  std::string file;
  std::string track;  // "audio", "video"; empty: both
  unsigned long long limit = std::numeric_limits<unsigned long long>::max();
  double from = -1;  // seconds; below 0: the beginning
  bool json = false;

  // Whether the whole file is played out, so that it can be judged.
  bool isWhole() const {
    return track.empty() && from < 0 && limit == std::numeric_limits<unsigned long long>::max();
  }
};

const qo_host::AccessUnit* NextUnit(const Arguments& arguments, qo_host::ParserSession* session) {
  if (arguments.track.empty()) return session->NextUnit();
  return session->NextUnit(arguments.track == "audio" ? qo_host::TrackKind::kAudio
                                                      : qo_host::TrackKind::kVideo);
}

std::string UnitLine(unsigned long long number, const qo_host::AccessUnit& unit) {
  return std::to_string(number) + "\t" + TrackKindName(unit.kind) + "\t" +
         std::to_string(unit.timeMs) + "\t" + std::to_string(unit.size) + "\t" +
         Md5Text(unit.data, unit.size) + "\n";
}

// An access unit, with its number in the list of them.
Json UnitJson(unsigned long long number, const qo_host::AccessUnit& unit) {
  return {{"number", number},
          {"track", TrackKindName(unit.kind)},
          {"time_ms", unit.timeMs},
          {"size", unit.size},
          {"md5", Md5Text(unit.data, unit.size)}};
}

std::string JsonElement(unsigned long long number, const qo_host::AccessUnit& unit) {
  return (number == 0 ? "\n" : ",\n") + JsonText(UnitJson(number, unit), -1);
}

void Run(const Arguments& arguments, const Options& options, int* exitCode) {
  Input input(options, arguments.file);
  Verdict verdict = OpenAndJudge(&input);
  qo_host::ParserSession& session = input.session();
  if (arguments.from >= 0) SeekPlainly(&input, SecondsToMs(arguments.from), kSeekPreviousSync);
  qo_host::Totals totals;
  if (arguments.json) {
    Print("{\"format\": " + std::to_string(kJsonFormat) +
          ", \"file\": " + JsonText(Json(arguments.file)) + ", \"units\": [");
  } else {
    Print("#number\ttrack\tms\tsize\tmd5\n");
  }
  for (unsigned long long number = 0; number < arguments.limit; ++number) {
    const qo_host::AccessUnit* unit = NextUnit(arguments, &session);
    if (!unit) break;
    totals.Add(*unit);
    Print(arguments.json ? JsonElement(number, *unit) : UnitLine(number, *unit));
  }
  if (arguments.json) Print("\n]}\n");
  if (arguments.isWhole()) JudgePlayOut(&input, totals, &verdict);
  PrintProblems(input, verdict);
  *exitCode = verdict.exitCode();
}

}  // namespace

void AddUnits(CLI::App& app, const Options& options, int* exitCode) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = app.add_subcommand(
      "units", "List the access units: number, track, time in ms, size in bytes, MD5");
  command->add_option("FILE", arguments->file, "The file")->required();
  command->add_option("--track", arguments->track, "One track only")
      ->check(CLI::IsMember({"audio", "video"}));
  command->add_option("--limit", arguments->limit, "Stop after so many units")
      ->check(NotNegative())
      ->type_name("N");
  command->add_option("--from", arguments->from, "Seek there first")
      ->check(NotNegative())
      ->type_name("SECONDS");
  command->add_flag("--json", arguments->json, "Print JSON");
  command->callback([arguments, &options, exitCode] { Run(*arguments, options, exitCode); });
}

}  // namespace tool
