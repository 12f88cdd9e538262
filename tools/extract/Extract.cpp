// asftool extract: writes elementary streams, configuration bytes and cover art
// to files.
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <system_error>
#include <vector>

#include "tools/common/Commands.h"
#include "tools/common/Output.h"
#include "tools/common/OutputFile.h"
#include "tools/common/Verdict.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

struct Arguments {
  std::string file;
  std::string audio, video;              // elementary streams
  std::string configAudio, configVideo;  // codec configuration bytes
  std::string cover;

  // The paths to be written, of what was asked for.
  std::vector<std::string> Outputs() const {
    std::vector<std::string> paths;
    for (const std::string* path : {&audio, &video, &configAudio, &configVideo, &cover}) {
      if (!path->empty()) paths.push_back(*path);
    }
    return paths;
  }
};

// Throws Failure where an output would take the place of the input or of another
// output.
void CheckOutputs(const Arguments& arguments) {
  const std::vector<std::string> paths = arguments.Outputs();
  if (paths.empty()) {
    throw Failure(kExitCannotRun, "nothing to extract: name at least one output, --video F say");
  }
  std::error_code ignored;  // a path that cannot be looked up fails when it is opened
  std::set<fs::path> seen;
  for (const std::string& path : paths) {
    if (fs::equivalent(path, arguments.file, ignored)) {
      throw Failure(kExitCannotRun, path + ": is the input: name another file to write");
    }
    if (!seen.insert(fs::absolute(path).lexically_normal()).second) {
      throw Failure(kExitCannotRun, path + ": named for two outputs");
    }
  }
}

void ExtractConfig(Input* input, qo_host::TrackKind kind, const std::string& path,
                   Verdict* verdict) {
  if (path.empty()) return;
  const qo_host::Track* track = input->session().FindTrack(kind);
  if (!track || track->config.empty()) {
    verdict->problems.push_back(std::string("no ") + TrackKindName(kind) +
                                " configuration to put into " + path);
    return;
  }
  WriteWhole(path, track->config.data(), track->config.size());
}

void ExtractCover(Input* input, const std::string& path, Verdict* verdict) {
  if (path.empty()) return;
  const auto& picture = input->session().picture();
  if (!picture) {
    verdict->problems.push_back("no cover art to put into " + path);
    return;
  }
  WriteWhole(path, picture->bytes.data(), picture->bytes.size());
}

using Outputs = std::map<qo_host::TrackKind, std::unique_ptr<OutputFile>>;

void OpenOutput(Input* input, qo_host::TrackKind kind, const std::string& path, Outputs* outputs,
                Verdict* verdict) {
  if (path.empty()) return;
  if (input->session().FindTrack(kind)) {
    (*outputs)[kind] = std::make_unique<OutputFile>(path);
  } else {
    verdict->problems.push_back(std::string("no ") + TrackKindName(kind) + " track to put into " +
                                path);
  }
}

// Plays out the tracks that are wanted: all by time, or a single one.
qo_host::Totals ExtractStreams(Input* input, const Outputs& outputs) {
  qo_host::Totals totals;
  if (outputs.empty()) return totals;
  qo_host::ParserSession& session = input->session();
  const bool isSingle = outputs.size() == 1;
  ProgressBar bar;
  while (const qo_host::AccessUnit* unit =
             isSingle ? session.NextUnit(outputs.begin()->first) : session.NextUnit()) {
    if (IsInterrupted()) throw Failure(kExitCannotRun, input->path() + ": interrupted");
    totals.Add(*unit);
    outputs.at(unit->kind)->Write(unit->data, unit->size);
    bar.Show(unit->timeMs, session.durationMs());
  }
  return totals;
}

// Gives the streams that hold anything their names.
void FinishStreams(const Outputs& outputs, const qo_host::Totals& totals, Verdict* verdict) {
  for (const auto& [kind, file] : outputs) {
    if (totals.of(kind).units != 0) {
      file->Finish();
    } else {
      verdict->problems.push_back(std::string("no unit came out of the ") + TrackKindName(kind) +
                                  " track");
    }
  }
}

void Run(const Arguments& arguments, const Options& options, int* exitCode) {
  CheckOutputs(arguments);
  NoticeInterruptions();
  Input input(options, arguments.file);
  Verdict verdict = OpenAndJudge(&input);
  ExtractConfig(&input, qo_host::TrackKind::kAudio, arguments.configAudio, &verdict);
  ExtractConfig(&input, qo_host::TrackKind::kVideo, arguments.configVideo, &verdict);
  ExtractCover(&input, arguments.cover, &verdict);
  Outputs outputs;
  OpenOutput(&input, qo_host::TrackKind::kAudio, arguments.audio, &outputs, &verdict);
  OpenOutput(&input, qo_host::TrackKind::kVideo, arguments.video, &outputs, &verdict);
  FinishStreams(outputs, ExtractStreams(&input, outputs), &verdict);
  PrintProblems(input, verdict);
  *exitCode = verdict.exitCode();
}

}  // namespace

void AddExtract(CLI::App& app, const Options& options, int* exitCode) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command =
      app.add_subcommand("extract", "Write elementary streams, configuration and cover art");
  command->add_option("FILE", arguments->file, "The file")->required();
  const auto output = [command](const char* name, std::string* path, const char* text) {
    command->add_option(name, *path, text)->type_name("F");
  };
  output("--audio", &arguments->audio, "The audio units, one behind the other");
  output("--video", &arguments->video, "The video units, one behind the other");
  output("--config-audio", &arguments->configAudio, "The audio codec's configuration bytes");
  output("--config-video", &arguments->configVideo, "The video codec's configuration bytes");
  output("--cover", &arguments->cover, "The cover art's picture");
  command->callback([arguments, &options, exitCode] { Run(*arguments, options, exitCode); });
}

}  // namespace tool
