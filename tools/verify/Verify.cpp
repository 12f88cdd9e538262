// asftool verify: plays a file out at full speed, looks at all of its packets, and says
// in plain words what a host should know about it.
#include "qo_host/FileCheck.h"
#include "tools/common/Commands.h"
#include "tools/common/Output.h"
#include "tools/common/Verdict.h"
#include "tools/verify/VerdictJson.h"

namespace tool {
namespace {

struct Arguments {
  std::string file;
  bool json = false;
};

// Judges the open file by all there is to see.
void PlayOut(Input* input, qo_host::Totals* totals, Verdict* verdict) {
  qo_host::FileCheck check(input->session(), input->file());
  while (const qo_host::AccessUnit* unit = input->session().NextUnit()) {
    totals->Add(*unit);
    input->CheckRead(check.Follow());
  }
  JudgePlayOut(input, *totals, verdict);
  std::vector<qo_host::Finding> findings;
  input->CheckRead(check.Finish(verdict->findings, &findings));
  verdict->Add(findings);
}

std::string TotalsText(const qo_host::TrackTotals& total) {
  std::string text = Count(total.units, "unit") + ", " + Count(total.bytes, "byte");
  if (total.units > 0) text += ", " + TimeText(total.firstMs) + " to " + TimeText(total.lastMs);
  return text;
}

void PrintText(Input* input, const qo_host::Totals& totals, const Verdict& verdict) {
  const bool isMended = verdict.isMended();
  const bool isBad = verdict.exitCode() != kExitGood;
  const char* const judgement = isBad ? "bad" : isMended ? "good with the kit" : "good";
  Print(Bold(Printable(input->path()) + ": " + judgement, stdout) + "\n");
  for (const qo_host::Track& track : input->session().tracks()) {
    Print(std::string("  ") + TrackKindName(track.kind) + "  " + TotalsText(totals.of(track.kind)) +
          "\n");
  }
  for (const std::string& note : verdict.notes) Print("  note: " + Printable(note) + "\n");
}

void Run(const Arguments& arguments, const Options& options, int* exitCode) {
  Input input(options, arguments.file);
  Verdict verdict = OpenAndJudge(&input);
  qo_host::Totals totals;
  if (input.openStatus() == kParserOk) PlayOut(&input, &totals, &verdict);
  if (arguments.json) {
    Print(JsonText(VerdictJson(&input, totals, verdict)) + "\n");
  } else {
    PrintText(&input, totals, verdict);
  }
  PrintProblems(input, verdict);
  *exitCode = verdict.exitCode();
}

}  // namespace

void AddVerify(CLI::App& app, const Options& options, int* exitCode) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = app.add_subcommand("verify", "Play a file out and judge it");
  command->add_option("FILE", arguments->file, "The file")->required();
  command->add_flag("--json", arguments->json, "Print JSON");
  command->callback([arguments, &options, exitCode] { Run(*arguments, options, exitCode); });
}

}  // namespace tool
