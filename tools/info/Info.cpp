// asftool info: describes files: container, streams, tags and cover art.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "tools/common/Commands.h"
#include "tools/common/Output.h"
#include "tools/info/InfoJson.h"
#include "tools/info/InfoText.h"

namespace tool {
namespace {

struct Arguments {
  std::vector<std::string> files;
  bool json = false;
};

// Of several files each is one line of JSON, so that they can be read one by one.
void Describe(const std::string& path, const Arguments& arguments, const Options& options,
              int* exitCode) {
  Input input(options, path);
  Description description;
  description.verdict = OpenAndJudge(&input);
  description.file = GatherFile(&input);
  description.streams = GatherStreams(&input);
  if (arguments.json) {
    const int indent = arguments.files.size() == 1 ? 2 : -1;
    Print(JsonText(DescriptionJson(&input, description), indent) + "\n");
  } else {
    PrintDescription(&input, description);
  }
  PrintProblems(input, description.verdict);
  *exitCode = std::max(*exitCode, description.verdict.exitCode());
}

// A file that can't be read is told, and the others are described.
void DescribeAll(const Arguments& arguments, const Options& options, int* exitCode) {
  for (const std::string& path : arguments.files) {
    try {
      Describe(path, arguments, options, exitCode);
    } catch (const Failure& failure) {
      if (arguments.files.size() == 1) throw;
      std::fprintf(stderr, "asftool: %s\n", Printable(failure.what()).c_str());
      *exitCode = std::max(*exitCode, failure.exitCode());
    }
  }
}

}  // namespace

void AddInfo(CLI::App& app, const Options& options, int* exitCode) {
  auto arguments = std::make_shared<Arguments>();
  Command command(app, "info", "Describe files: container, streams, tags, cover art");
  command.Texts("FILE", &arguments->files, "The files").Required();
  command.Flag("--json", &arguments->json, "Print JSON; of several files, each on one line");
  command.OnUse([arguments, &options, exitCode] { DescribeAll(*arguments, options, exitCode); });
}

}  // namespace tool
