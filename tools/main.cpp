// asftool: looks into ASF files with the parser's shared library, the way a host
// does. Wires the command line; each command has a source of its own.
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <sstream>
#include <string>

#include "tools/common/Commands.h"
#include "tools/common/Output.h"

namespace {

constexpr const char* kExitCodes =
    "Exit codes: 0 the file is good, perhaps with notes; 1 the file is bad (refused, no track,\n"
    "no unit, truncated, a packet that failed); 2 the command could not run,\n"
    "or a file could not be read.\n"
    "The parser's log is off unless QOCP_DEBUG_LEVEL is set or --log-level is given.";

// The tool's version and the file that the parser comes from, or why there is none.
std::string VersionText(const tool::Options& options) {
  std::string library;
  try {
    library = tool::LoadLibrary(options).path();
  } catch (const tool::Failure& failure) {
    library = failure.what();
  }
  return "asftool " QO_VERSION "\nparser library: " + library;
}

// Parses the command line, which runs the command. Returns the exit code.
int Run(int argc, char** argv) {
  CLI::App app(
      "Looks into ASF files (WMA, WMV): describes them, plays them out, takes them apart.");
  app.footer(kExitCodes);
  app.require_subcommand(0, 1);
  app.fallthrough();
  tool::Options options;
  int exitCode = tool::kExitGood;
  app.add_option("--library", options.library, "The parser's library; default: the one installed")
      ->type_name("PATH");
  app.add_option("--log-level", options.logLevel,
                 "The parser's log, a sum: 1 errors, 2 life cycle, 4 trace")
      ->type_name("N");
  app.add_flag("--as-is", options.asIs, "Show what the bare parser makes of the file");
  app.add_option("--audio-stream", options.audioStream, "Play this audio stream, by its number")
      ->check(CLI::Range(0, 127))
      ->type_name("N");
  app.add_option("--video-stream", options.videoStream, "Play this video stream, by its number")
      ->check(CLI::Range(0, 127))
      ->type_name("N");
  app.add_flag("--read-ahead", options.readAhead, "Read the file in large pieces, ahead of need");
  tool::AddInfo(app, options, &exitCode);
  tool::AddUnits(app, options, &exitCode);
  tool::AddTree(app, options, &exitCode);
  tool::AddExtract(app, options, &exitCode);
  tool::AddVerify(app, options, &exitCode);
  tool::AddRepair(app, options, &exitCode);
  tool::AddSeek(app, options, &exitCode);
  tool::AddReport(app, options, &exitCode);
  tool::AddTrace(app, options, &exitCode);
  tool::AddCompletion(app, options, &exitCode);
  app.set_version_flag("--version", [&options] { return VersionText(options); });
  try {
    app.parse(argc, argv);
    if (app.get_subcommands().empty()) throw CLI::RequiredError("A command");
  } catch (const CLI::ParseError& error) {
    std::ostringstream out;
    exitCode = app.exit(error, out) == 0 ? tool::kExitGood : tool::kExitCannotRun;
    tool::Print(out.str());
  }
  tool::FlushOutput();
  return exitCode;
}

// Where one of the three standard files is closed, the first file that a command opens
// would take its place.
void HoldStandardFiles() {
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(standard, F_GETFD) >= 0) continue;
    // The other way round, so that a use of it fails as that of a closed one.
    const int flags = standard == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (open("/dev/null", flags) != standard)
      throw tool::Failure(tool::kExitCannotRun, "/dev/null: cannot be opened");
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    HoldStandardFiles();
    return Run(argc, argv);
  } catch (const tool::Failure& failure) {
    std::fprintf(stderr, "asftool: %s\n", failure.what());
    return failure.exitCode();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "asftool: %s\n", error.what());
    return tool::kExitCannotRun;
  }
}
