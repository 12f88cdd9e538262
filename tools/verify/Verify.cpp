// asftool verify: plays files out at full speed, looks at all of their packets, and says in
// plain words what a host should know about them.
#include <algorithm>
#include <thread>

#include "tools/common/Commands.h"
#include "tools/common/Output.h"
#include "tools/common/OutputFile.h"
#include "tools/common/Verdict.h"
#include "tools/verify/Collection.h"
#include "tools/verify/Judge.h"
#include "tools/verify/VerdictJson.h"

namespace tool {
namespace {

constexpr unsigned int kMaxJobs = 256;

std::string TotalsText(const qo_host::TrackTotals& total) {
  std::string text = Count(total.units, "unit") + ", " + Count(total.bytes, "byte");
  if (total.units > 0) text += ", " + TimeText(total.firstMs) + " to " + TimeText(total.lastMs);
  return text;
}

void PrintText(Input* input, const PlayOut& played) {
  Print(Bold(Printable(input->path()) + ": " + JudgementText(played.judgement()), stdout) + "\n");
  for (const qo_host::Track& track : input->session().tracks()) {
    Print(std::string("  ") + TrackKindName(track.kind) + "  " +
          TotalsText(played.totals.of(track.kind)) + "\n");
  }
  for (const std::string& note : played.verdict.notes) Print("  note: " + Printable(note) + "\n");
}

PlayOut JudgeWithProgress(Input* input) {
  ProgressBar bar(ProgressBar::Measure::kBytes);
  unsigned long long size = 0;
  if (input->file()->GetSize(&size) != 0) size = 0;  // then there is no bar
  return Judge(input, [&](unsigned long long done) {
    bar.Show(done, size);
    return true;
  });
}

int JudgeFile(const std::string& file, bool json, const Options& options) {
  Input input(options, file);
  const PlayOut played = JudgeWithProgress(&input);
  if (json) {
    Print(JsonText(VerdictJson(&input, played)) + "\n");
  } else {
    PrintText(&input, played);
  }
  PrintProblems(input, played.verdict);
  return played.verdict.exitCode();
}

}  // namespace

void AddVerify(CLI::App& app, const Options& options, int* exitCode) {
  auto arguments = std::make_shared<CollectionOptions>();
  arguments->jobs = std::clamp(std::thread::hardware_concurrency(), 1u, kMaxJobs);
  Command command(app, "verify", "Play files out and judge them");
  command.Texts("FILE", &arguments->names, "The files, or with -r folders").Required();
  command.Flag("-r,--recursive", &arguments->entersFolders,
               "Judge what is in folders and below: names ending in .asf, .wma or .wmv");
  command.Number("-j,--jobs", &arguments->jobs, "Files at once (default: one a core)")
      .Between(1, kMaxJobs)
      .Type("N");
  command
      .Text("--log", &arguments->log,
            "Append what is found, and pass over what it has: goes on where it stopped")
      .Type("F");
  command.Flag("--json", &arguments->json, "Print JSON; of several files a line each");
  command.OnUse([arguments, &options, exitCode] {
    const bool isOne =
        arguments->names.size() == 1 && !arguments->entersFolders && arguments->log.empty();
    *exitCode = isOne ? JudgeFile(arguments->names.front(), arguments->json, options)
                      : JudgeCollection(*arguments, options);
  });
}

}  // namespace tool
