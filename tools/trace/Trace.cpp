// asftool trace: every call that reaches the file during an open, a play-out or a
// seek, with totals: what a slow source will feel.
#include <functional>
#include <optional>

#include "tools/common/Commands.h"
#include "tools/common/Output.h"
#include "tools/common/Verdict.h"

namespace tool {
namespace {

struct Arguments {
  std::string file;
  std::string command;
  std::optional<unsigned long long> toMs;
  bool totalsOnly = false;
};

void PrintCall(const qo_host::SourceCall& call) {
  std::string line = qo_host::SourceOperationName(call.operation);
  switch (call.operation) {
    case qo_host::SourceOperation::kReadAt:
    case qo_host::SourceOperation::kRead:
      line += "\tat " + std::to_string(call.offset) + "\tasked " + std::to_string(call.requested) +
              "\tgot " + std::to_string(call.value);
      break;
    case qo_host::SourceOperation::kSeekTo:
      line += std::string("\t") + (call.whence == 0 ? "to " : "by ") + std::to_string(call.offset);
      break;
    case qo_host::SourceOperation::kGetSize:
    case qo_host::SourceOperation::kGetPosition:
      line += "\tis " + std::to_string(call.value);
      break;
    case qo_host::SourceOperation::kOpen:
    case qo_host::SourceOperation::kClose:
      break;
  }
  if (call.status < 0) line += "\tfailed " + std::to_string(call.status);
  Print(line + "\n");
}

void PrintTotalsLine(const char* name, const qo_host::SourceTotals& totals) {
  char line[120];
  std::snprintf(line, sizeof line, "%-12s %12llu calls %14llu bytes %6llu failed\n", name,
                totals.calls, totals.bytes, totals.failures);
  Print(line);
}

void PrintTotals(const qo_host::TraceSource& trace) {
  for (std::size_t k = 0; k < qo_host::kSourceOperationCount; ++k) {
    const auto operation = static_cast<qo_host::SourceOperation>(k);
    const qo_host::SourceTotals& totals = trace.Totals(operation);
    if (totals.calls != 0) PrintTotalsLine(SourceOperationName(operation), totals);
  }
  PrintTotalsLine("all", trace.AllTotals());
}

void Run(const Arguments& arguments, const Options& options, int* exitCode) {
  Input input(options, arguments.file, Input::Trace::kOn);
  if (arguments.command == "seek") RefuseLongPipe(input.file());
  qo_host::TraceSource& trace = *input.fileCalls();
  const auto watch = [&] {
    trace.Reset();
    if (!arguments.totalsOnly) trace.SetObserver(PrintCall);
  };
  const bool tracesOpen = arguments.command == "open";
  if (tracesOpen) watch();
  const Verdict verdict = OpenAndJudge(&input);
  if (!tracesOpen) watch();
  if (arguments.command == "play") {
    while (input.session().NextUnit()) continue;
  } else if (arguments.command == "seek") {
    CheckTime(input, arguments.toMs.value_or(0));
    SeekPlainly(&input, arguments.toMs.value_or(0), kSeekPreviousSync);
  }
  trace.SetObserver({});
  PrintTotals(trace);
  PrintProblems(input, verdict);
  *exitCode = verdict.exitCode();
}

}  // namespace

void AddTrace(CLI::App& app, const Options& options, int* exitCode) {
  auto arguments = std::make_shared<Arguments>();
  Command command(app, "trace", "List every call that reaches the file");
  command.Text("FILE", &arguments->file, "The file").Required();
  command.Text("COMMAND", &arguments->command, "What to trace: open, play or seek")
      .Required()
      .OneOf({"open", "play", "seek"});
  command.Time("--to", &arguments->toMs, "Where to seek (default: the beginning)");
  command.Flag("--totals", &arguments->totalsOnly, "Only the totals");
  command.OnUse([arguments, &options, exitCode] { Run(*arguments, options, exitCode); });
}

}  // namespace tool
