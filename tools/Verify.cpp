// asftool verify: plays a file out at full speed and says in plain words what a
// host should know about it.
#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/Verdict.h"

namespace tool {
namespace {

void PrintTotals(const qo_host::Totals& totals, qo_host::TrackKind kind) {
  const qo_host::TrackTotals& total = totals.of(kind);
  std::string line = std::string("  ") + TrackKindName(kind) + "  " + Count(total.units, "unit") +
                     ", " + Count(total.bytes, "byte");
  if (total.units > 0) line += ", " + TimeText(total.firstMs) + " to " + TimeText(total.lastMs);
  Print(line + "\n");
}

void Run(const std::string& file, bool explain, const Options& options, int* exitCode) {
  Input input(options, file);
  Verdict verdict = OpenAndJudge(&input);
  qo_host::Totals totals;
  while (const qo_host::AccessUnit* unit = input.session().NextUnit()) totals.Add(*unit);
  JudgePlayOut(&input, totals, explain, &verdict);
  const char* const good = verdict.isMended ? "good with the kit" : "good";
  const char* const judgement = verdict.exitCode() == kExitGood ? good : "bad";
  Print(Bold(Printable(file) + ": " + judgement, stdout) + "\n");
  for (const qo_host::Track& track : input.session().tracks()) {
    PrintTotals(totals, track.kind);
  }
  for (const std::string& note : verdict.notes) Print("  note: " + Printable(note) + "\n");
  PrintProblems(input, verdict);
  *exitCode = verdict.exitCode();
}

}  // namespace

void AddVerify(CLI::App& app, const Options& options, int* exitCode) {
  struct Arguments {
    std::string file;
    bool explain = false;
  };
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = app.add_subcommand("verify", "Play a file out and judge it");
  command->add_option("FILE", arguments->file, "The file")->required();
  command->add_flag("--explain", arguments->explain, "Look at every packet header as well");
  command->callback([arguments, &options, exitCode] {
    Run(arguments->file, arguments->explain, options, exitCode);
  });
}

}  // namespace tool
