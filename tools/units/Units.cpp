// asftool units: one line per access unit, as committed dumps hold them.
#include <limits>
#include <optional>

#include "qo_host/UnitPlaces.h"
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
  std::optional<unsigned long long> fromMs;  // nothing: the beginning
  bool json = false;

  // Whether the whole file is played out, so that it can be judged.
  bool isWhole() const {
    return track.empty() && !fromMs && limit == std::numeric_limits<unsigned long long>::max();
  }
};

const qo_host::AccessUnit* NextUnit(const Arguments& arguments, qo_host::ParserSession* session) {
  if (arguments.track.empty()) return session->NextUnit();
  return session->NextUnit(arguments.track == "audio" ? qo_host::TrackKind::kAudio
                                                      : qo_host::TrackKind::kVideo);
}

// A unit, and what is told of it besides.
struct ListedUnit {
  unsigned long long number;  // in the list
  const qo_host::AccessUnit& unit;
  bool isPresented;  // otherwise neither key frames nor places are known
  std::optional<qo_host::UnitPlace> place;
};

constexpr char kColumns[] = "#number\ttrack\tms\tsize\tmd5";
constexpr char kPresentedColumns[] = "\tkey\tposition\tpacket";

std::string UnitLine(const ListedUnit& listed) {
  const qo_host::AccessUnit& unit = listed.unit;
  std::string line = std::to_string(listed.number) + "\t" + TrackKindName(unit.kind) + "\t" +
                     std::to_string(unit.timeMs) + "\t" + std::to_string(unit.size) + "\t" +
                     Md5Text(unit.data, unit.size);
  if (!listed.isPresented) return line + "\n";
  const auto& place = listed.place;
  line += unit.isKeyFrame ? "\t1" : "\t0";
  line += "\t" + (place ? std::to_string(place->position) : "-");
  line += "\t" + (place ? std::to_string(place->packet) : "-");
  return line + "\n";
}

Json UnitJson(const ListedUnit& listed) {
  const qo_host::AccessUnit& unit = listed.unit;
  const auto& place = listed.place;
  return {{"number", listed.number},
          {"track", TrackKindName(unit.kind)},
          {"time_ms", unit.timeMs},
          {"size", unit.size},
          {"md5", Md5Text(unit.data, unit.size)},
          {"key_frame", listed.isPresented ? Json(unit.isKeyFrame) : Json()},
          {"position", place ? Json(place->position) : Json()},
          {"packet", place ? Json(place->packet) : Json()}};
}

// Prints units as they come.
class UnitPrinter {
 public:
  UnitPrinter(const std::string& path, bool json, bool isPresented)
      : json_(json), isPresented_(isPresented) {
    if (!json) {
      Print(kColumns + std::string(isPresented ? kPresentedColumns : "") + "\n");
      return;
    }
    std::string beginning = JsonText(Document(path), -1);
    beginning.pop_back();
    Print(beginning + ",\"units\":[");
  }

  void Add(const qo_host::AccessUnit& unit, std::optional<qo_host::UnitPlace> place) {
    const ListedUnit listed{number_++, unit, isPresented_, place};
    if (!json_) return Print(UnitLine(listed));
    Print((listed.number == 0 ? "\n" : ",\n") + JsonText(UnitJson(listed), -1));
  }
  void End() const {
    if (json_) Print("\n]}\n");
  }

 private:
  const bool json_;
  const bool isPresented_;
  unsigned long long number_ = 0;
};

void Run(const Arguments& arguments, const Options& options, int* exitCode) {
  Input input(options, arguments.file);
  Verdict verdict = OpenAndJudge(&input);
  qo_host::ParserSession& session = input.session();
  if (arguments.fromMs) {
    RefuseLongPipe(input.file());
    CheckTime(input, *arguments.fromMs);
    SeekPlainly(&input, *arguments.fromMs, kSeekPreviousSync);
  }
  qo_host::Totals totals;
  qo_host::UnitPlaces places(session, input.file());
  UnitPrinter printer(arguments.file, arguments.json,
                      session.presented() != nullptr && session.presented()->isPresented());
  for (unsigned long long left = arguments.limit; left != 0; --left) {
    const qo_host::AccessUnit* unit = NextUnit(arguments, &session);
    if (!unit) break;
    totals.Add(*unit);
    printer.Add(*unit, places.Find(*unit));
  }
  printer.End();
  if (arguments.isWhole()) JudgePlayOut(&input, totals, &verdict);
  PrintProblems(input, verdict);
  *exitCode = verdict.exitCode();
}

}  // namespace

void AddUnits(CLI::App& app, const Options& options, int* exitCode) {
  auto arguments = std::make_shared<Arguments>();
  Command command(
      app, "units",
      "List the access units: track, time in ms, size in bytes, MD5, key frame, file position");
  command.Text("FILE", &arguments->file, "The file").Required();
  command.Text("--track", &arguments->track, "One track only").OneOf({"audio", "video"});
  command.Number("--limit", &arguments->limit, "Stop after so many units").NotNegative().Type("N");
  command.Time("--from", &arguments->fromMs, "Seek there first");
  command.Flag("--json", &arguments->json, "Print JSON");
  command.OnUse([arguments, &options, exitCode] { Run(*arguments, options, exitCode); });
}

}  // namespace tool
