// asftool report: a page about a file, to be looked at in a browser.
#include <filesystem>

#include "tools/common/Commands.h"
#include "tools/common/OutputFile.h"
#include "tools/report/Page.h"
#include "tools/report/Sections.h"

namespace tool {
namespace {

struct Arguments {
  std::string file;
  std::string output;
};

void WritePage(const Gathered& gathered, OutputFile* out) {
  const auto write = [out](const std::string& text) {
    out->Write(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  };
  write(PageStart(std::filesystem::path(gathered.input->path()).filename().string()));
  for (const auto section :
       {OverviewSection, StreamsSection, TagsSection, BitrateSection, KeyFrameSection,
        InterleaveSection, PacketSection, SeekSection, TreeSection}) {
    write(section(gathered));
  }
  write(PageEnd());
}

void Run(const Arguments& arguments, const Options& options, int* exitCode) {
  CheckIsNotInput(arguments.output, arguments.file);
  NoticeInterruptions();
  Input input(options, arguments.file);
  RefuseLongPipe(input.file());
  OutputFile out(arguments.output);
  const Gathered gathered = Gather(&input);
  WritePage(gathered, &out);
  out.Finish();
  PrintProblems(input, gathered.played.verdict);
  *exitCode = gathered.played.verdict.exitCode();
}

}  // namespace

void AddReport(CLI::App& app, const Options& options, int* exitCode) {
  auto arguments = std::make_shared<Arguments>();
  Command command(app, "report", "Write a page about a file, to be looked at in a browser");
  command.Text("FILE", &arguments->file, "The file").Required();
  command.Text("-o,--output", &arguments->output, "The page (HTML)").Required().Type("PAGE");
  command.Footer(
      "The page tells what verify finds, and draws over time the bit rate of each stream and the\n"
      "distance of key frames, over the file its interleave and a map of its packets, and where\n"
      "seeks land against where they should; tags, cover and objects follow. It stands alone:\n"
      "no network, no script. A file that is bad has a page as well. Exit codes as those of "
      "verify.");
  command.OnUse([arguments, &options, exitCode] { Run(*arguments, options, exitCode); });
}

}  // namespace tool
