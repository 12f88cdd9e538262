// asftool repair: writes a mended copy of a file, which gets its name once it has been
// read again.
#include "qo_host/Repair.h"

#include <filesystem>
#include <system_error>

#include "qo_host/RepairCheck.h"
#include "tools/common/Commands.h"
#include "tools/common/Output.h"
#include "tools/common/OutputFile.h"
#include "tools/common/Words.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

constexpr unsigned int kPasses = 3;  // that read the file

struct Arguments {
  std::string in, out;
  bool force = false;
};

void CheckOutput(const Arguments& arguments) {
  CheckIsNotInput(arguments.out, arguments.in);
  std::error_code ignored;  // a path that cannot be looked up fails when it is opened
  if (fs::exists(arguments.out, ignored) && !fs::is_regular_file(arguments.out, ignored)) {
    throw Failure(kExitCannotRun, arguments.out + ": is no file, which could be read again");
  }
}

// Throws where the repair did not come to its end.
void CheckStatus(const Arguments& arguments, const qo_host::Repair& repair,
                 qo_host::RepairStatus status) {
  switch (status) {
    case qo_host::RepairStatus::kGood:
    case qo_host::RepairStatus::kMendable:
    case qo_host::RepairStatus::kWriteFailed:  // thrown where it happened
      return;
    case qo_host::RepairStatus::kPastMending:
      throw Failure(kExitBadFile, arguments.in + ": past mending: " + RefusalText(*repair.file()));
    case qo_host::RepairStatus::kReadFailed:
      throw Failure(kExitCannotRun, arguments.in + ": cannot be read");
    case qo_host::RepairStatus::kCancelled:
      throw Failure(kExitCannotRun, arguments.in + ": interrupted");
  }
}

void CheckVerdict(const Arguments& arguments, qo_host::RepairVerdict verdict) {
  switch (verdict) {
    case qo_host::RepairVerdict::kGood:
      return;
    case qo_host::RepairVerdict::kCancelled:
      throw Failure(kExitCannotRun, arguments.in + ": interrupted");
    case qo_host::RepairVerdict::kNotMended:
      throw Failure(kExitBadFile, arguments.in + ": past mending: the copy would not be right");
    case qo_host::RepairVerdict::kUnitsDiffer:
      throw Failure(kExitBadFile,
                    arguments.in + ": past mending: the copy would not play as the file does");
  }
}

void PrintMended(const Arguments& arguments, const qo_host::Repair& repair) {
  const bool isGood = repair.findings().empty();
  const std::string result = isGood ? "good: copied to " : "mended, written to ";
  Print(Bold(Printable(arguments.in + ": " + result + arguments.out), stdout) + "\n");
  for (const qo_host::RepairFinding& finding : repair.findings()) {
    Print("  mended: " + RepairText(finding) + "\n");
  }
  const std::size_t lost = repair.damage().objects.size();
  if (lost != 0) Print("  note: " + Count(lost, "media object") + " lost fragments\n");
}

// Looks at the file, writes the copy, and compares the two. False: there is nothing to
// write.
bool Mend(const Arguments& arguments, const qo_host::ParserFactory& factory, IDataSource* in,
          qo_host::Repair* repair) {
  ProgressBar bar(ProgressBar::Measure::kPackets);
  const auto pass = [&bar](unsigned int number) {
    return [&bar, number](unsigned long long done, unsigned long long total) {
      bar.Show(number * total + done, kPasses * total);
      return !IsInterrupted();
    };
  };
  CheckStatus(arguments, *repair, repair->Survey(pass(0)));
  if (repair->findings().empty() && !arguments.force) return false;
  OutputFile out(arguments.out);
  const auto sink = [&out](const unsigned char* data, std::size_t size) {
    out.Write(data, size);
    return true;
  };
  CheckStatus(arguments, *repair, repair->Write(sink, pass(1)));
  const auto written = OpenSource(out.Flush());
  CheckVerdict(arguments, qo_host::CheckRepair(factory, in, written.get(), pass(2)));
  out.Finish();
  return true;
}

void Run(const Arguments& arguments, const Options& options) {
  CheckOutput(arguments);
  NoticeInterruptions();
  const qo_host::ParserFactory parser = LoadParser(options);
  const auto in = OpenSource(arguments.in);
  RefuseLongPipe(in.get());
  CheckStreamChoice(options, arguments.in, in.get());
  qo_host::Repair repair(in.get());
  if (Mend(arguments, parser, in.get(), &repair)) {
    PrintMended(arguments, repair);
  } else {
    Print(Bold(Printable(arguments.in) + ": good, nothing is written", stdout) + "\n");
  }
}

}  // namespace

void AddRepair(CLI::App& app, const Options& options, int*) {
  auto arguments = std::make_shared<Arguments>();
  Command command(app, "repair", "Write a mended copy");
  command.Text("IN", &arguments->in, "The file").Required();
  command.Text("OUT", &arguments->out, "The copy").Required();
  command.Flag("--force", &arguments->force, "Copy a good file as well");
  command.OnUse([arguments, &options] { Run(*arguments, options); });
}

}  // namespace tool
