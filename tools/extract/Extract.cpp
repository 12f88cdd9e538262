// asftool extract: the command line, and the play-out that feeds what is written.
#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/common/Commands.h"
#include "tools/common/Output.h"
#include "tools/common/OutputFile.h"
#include "tools/common/Verdict.h"
#include "tools/extract/Format.h"
#include "tools/extract/StreamReader.h"
#include "tools/extract/Texts.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

using qo_host::TrackKind;

constexpr const char* kStandardOutput = "-";

struct Arguments {
  std::string file;
  std::vector<std::string> outputs;      // formats by their names
  std::string audio, video;              // of one kind, or raw
  std::string configAudio, configVideo;  // codec configuration bytes
  std::string cover;
  std::string format;  // of the standard output
  bool raw = false;

  // The paths to be written, of what was asked for.
  std::vector<std::string> Paths() const {
    std::vector<std::string> paths = outputs;
    for (const std::string* path : {&audio, &video, &configAudio, &configVideo, &cover}) {
      if (!path->empty()) paths.push_back(*path);
    }
    return paths;
  }
};

// Throws Failure where an output would take the place of the input or of another
// output.
void CheckOutputs(const Arguments& arguments) {
  const std::vector<std::string> paths = arguments.Paths();
  if (paths.empty()) {
    throw Failure(kExitCannotRun, "nothing to extract: name at least one output, out.mkv say");
  }
  std::set<fs::path> seen;
  for (const std::string& path : paths) {
    if (path == kStandardOutput && paths.size() > 1) {
      throw Failure(kExitCannotRun, "-: the standard output takes one output, and no other");
    }
    CheckIsNotInput(path, arguments.file);
    if (!seen.insert(fs::absolute(path).lexically_normal()).second) {
      throw Failure(kExitCannotRun, path + ": named for two outputs");
    }
  }
}

std::unique_ptr<OutputFile> OpenOutput(const std::string& path) {
  return path == kStandardOutput ? OutputFile::Standard() : std::make_unique<OutputFile>(path);
}

const char* TakenText(const Format& format) {
  if (format.takes == Format::Takes::kStreams) return "";
  return format.takes == Format::Takes::kAudio ? "audio " : "video ";
}

// An output that takes frames.
struct StreamOutput {
  std::string path;
  const Format* format;                // null: raw
  std::vector<StreamReader*> streams;  // as its writer counts them
  std::unique_ptr<OutputFile> file;
  WriterPointer writer;
};

// One run of the command.
class Extraction {
 public:
  Extraction(const Arguments& arguments, const Options& options)
      : arguments_(arguments), options_(options), input_(options, arguments.file) {}

  int Run();

 private:
  void AddHeaderOutputs();
  void AddConfig(TrackKind kind, const std::string& path);
  void AddPicture(const Format* format, const std::string& path);
  void AddText(const Format& format, const std::string& path);
  void AddStreamOutputs();
  void AddRaw(TrackKind kind, const std::string& path);
  void AddFormat(const Format& format, const std::string& path, std::optional<TrackKind> kind);
  std::vector<StreamReader*> StreamsFor(const Format& format, std::optional<TrackKind> kind);
  std::vector<StreamReader*> AllStreams(std::optional<TrackKind> kind);
  StreamReader* ReaderOf(TrackKind kind);
  StreamReader* ReaderOf(const qo_host::StreamHeader& stream);
  const Format& FormatOf(const std::string& path) const;
  void WriteBytes(const std::string& path, const std::string& bytes);
  void AddProblem(const std::string& problem) { verdict_.problems.push_back(problem); }

  void Begin(StreamOutput* output);
  void PlayOut();
  StreamReader* FirstInTime();
  void Finish();

  const Arguments& arguments_;
  const Options& options_;
  Input input_;
  Verdict verdict_;
  std::vector<std::unique_ptr<StreamReader>> readers_;
  std::vector<StreamOutput> outputs_;
};

int Extraction::Run() {
  verdict_ = OpenAndJudge(&input_);
  AddStreamOutputs();
  AddHeaderOutputs();
  PlayOut();
  Finish();
  PrintProblems(input_, verdict_);
  return verdict_.exitCode();
}

const Format& Extraction::FormatOf(const std::string& path) const {
  if (path != kStandardOutput) return FormatOfName(path);
  if (!arguments_.format.empty()) return FormatOfEnding(arguments_.format);
  throw Failure(kExitCannotRun, "-: say with --format what is to be written");
}

void Extraction::WriteBytes(const std::string& path, const std::string& bytes) {
  const std::unique_ptr<OutputFile> file = OpenOutput(path);
  file->Write(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  file->Finish();
}

// What needs no frames.
void Extraction::AddHeaderOutputs() {
  AddConfig(TrackKind::kAudio, arguments_.configAudio);
  AddConfig(TrackKind::kVideo, arguments_.configVideo);
  if (!arguments_.cover.empty()) AddPicture(nullptr, arguments_.cover);
  for (const std::string& path : arguments_.outputs) {
    const Format& format = FormatOf(path);
    if (format.takes == Format::Takes::kPicture) AddPicture(&format, path);
    if (format.takes == Format::Takes::kCaptions || format.takes == Format::Takes::kTexts)
      AddText(format, path);
  }
}

void Extraction::AddConfig(TrackKind kind, const std::string& path) {
  if (path.empty()) return;
  const qo_host::Track* const track = input_.session().FindTrack(kind);
  if (track == nullptr || track->config.empty()) {
    AddProblem(std::string("no ") + TrackKindName(kind) + " configuration to put into " + path);
    return;
  }
  WriteBytes(path, {track->config.begin(), track->config.end()});
}

void Extraction::AddPicture(const Format* format, const std::string& path) {
  const auto& picture = input_.session().picture();
  if (!picture) {
    AddProblem("no cover art to put into " + path);
    return;
  }
  const std::string ending = PictureEnding(picture->bytes);
  if (format != nullptr && ending != format->ending) {
    throw Failure(kExitCannotRun, path + ": the cover art goes into a file " +
                                      (ending.empty() ? "that --cover names" : ending) +
                                      ", not into " + format->ending);
  }
  WriteBytes(path, {picture->bytes.begin(), picture->bytes.end()});
}

void Extraction::AddText(const Format& format, const std::string& path) {
  const bool isCaptions = format.takes == Format::Takes::kCaptions;
  const FileFacts facts = GatherFile(&input_);
  const std::string text = isCaptions ? CaptionsText(facts.commands, input_.session().durationMs())
                                      : CommandsText(facts);
  if (!text.empty()) {
    WriteBytes(path, text);
  } else {
    AddProblem(std::string("no ") + (isCaptions ? "captions" : "script commands or markers") +
               " to put into " + path);
  }
}

void Extraction::AddStreamOutputs() {
  for (const std::string& path : arguments_.outputs) AddFormat(FormatOf(path), path, std::nullopt);
  const std::pair<TrackKind, const std::string*> kinds[] = {{TrackKind::kAudio, &arguments_.audio},
                                                            {TrackKind::kVideo, &arguments_.video}};
  for (const auto& [kind, path] : kinds) {
    if (path->empty()) continue;
    if (arguments_.raw) {
      AddRaw(kind, *path);
    } else {
      AddFormat(FormatOf(*path), *path, kind);
    }
  }
}

void Extraction::AddRaw(TrackKind kind, const std::string& path) {
  StreamOutput output{path, nullptr, {ReaderOf(kind)}, nullptr, nullptr};
  if (output.streams.front() != nullptr) {
    Begin(&output);
  } else {
    AddProblem(std::string("no ") + TrackKindName(kind) + " track to put into " + path);
  }
}

void Extraction::AddFormat(const Format& format, const std::string& path,
                           std::optional<TrackKind> kind) {
  if (format.fits == nullptr) {
    if (!kind) return;
    throw Failure(kExitCannotRun, path + ": is no format for " + TrackKindName(*kind));
  }
  if (options_.asIs) {
    throw Failure(kExitCannotRun, path + ": with --as-is units are written as they are: --raw");
  }
  StreamOutput output{path, &format, StreamsFor(format, kind), nullptr, nullptr};
  if (!output.streams.empty()) {
    Begin(&output);
  } else {
    AddProblem(std::string("no ") + TakenText(format) + "track to put into " + path);
  }
}

std::vector<StreamReader*> Extraction::StreamsFor(const Format& format,
                                                  std::optional<TrackKind> kind) {
  if (format.takes == Format::Takes::kStreams) return AllStreams(kind);
  const bool isAudio = format.takes == Format::Takes::kAudio;
  StreamReader* const reader = ReaderOf(isAudio ? TrackKind::kAudio : TrackKind::kVideo);
  const bool isWanted = reader != nullptr && reader->header() != nullptr &&
                        kind.value_or(reader->track().kind) == reader->track().kind;
  return isWanted ? std::vector<StreamReader*>{reader} : std::vector<StreamReader*>{};
}

// Of each kind all streams of the file, or the one that was chosen.
std::vector<StreamReader*> Extraction::AllStreams(std::optional<TrackKind> kind) {
  std::vector<StreamReader*> readers;
  for (const qo_host::StreamHeader& stream : input_.header().streams) {
    const bool isAudio = stream.kind == qo_host::StreamKind::kAudio;
    if (!isAudio && stream.kind != qo_host::StreamKind::kVideo) continue;
    if (kind && isAudio != (*kind == TrackKind::kAudio)) continue;
    const std::optional<int>& chosen = isAudio ? options_.audioStream : options_.videoStream;
    if (chosen.value_or(stream.number) != stream.number) continue;
    if (StreamReader* const reader = ReaderOf(stream)) {
      // A number may come twice.
      if (std::find(readers.begin(), readers.end(), reader) == readers.end())
        readers.push_back(reader);
    } else {
      AddProblem(std::string(StreamKindName(stream.kind)) + " stream " +
                 std::to_string(stream.number) + " can't be played");
    }
  }
  return readers;
}

// Of the session's own track; null without one.
StreamReader* Extraction::ReaderOf(TrackKind kind) {
  const qo_host::Track* const track = input_.session().FindTrack(kind);
  if (track == nullptr) return nullptr;
  for (const auto& reader : readers_) {
    if (reader->track().kind == kind && reader->track().stream == track->stream)
      return reader.get();
  }
  readers_.push_back(std::make_unique<StreamReader>(&input_.session(), kind));
  return readers_.back().get();
}

// Null where the stream can't be played.
StreamReader* Extraction::ReaderOf(const qo_host::StreamHeader& stream) {
  const TrackKind kind =
      stream.kind == qo_host::StreamKind::kAudio ? TrackKind::kAudio : TrackKind::kVideo;
  const qo_host::Track* const track = input_.session().FindTrack(kind);
  if (track != nullptr && track->stream == stream.number) return ReaderOf(kind);
  for (const auto& reader : readers_) {
    if (reader->track().stream == stream.number) return reader.get();
  }
  auto reader = StreamReader::OpenBeside(LoadParser(options_), input_.session().source(), stream);
  if (reader == nullptr) return nullptr;
  readers_.push_back(std::move(reader));
  return readers_.back().get();
}

// A stream without frames is left out; an output that none is left of isn't made.
void Extraction::Begin(StreamOutput* output) {
  std::vector<StreamReader*> streams;
  StreamList setup;
  for (StreamReader* const reader : output->streams) {
    if (reader->Peek() == nullptr) {
      AddProblem(std::string("no unit came out of the ") + TrackKindName(reader->track().kind) +
                 " track");
      continue;
    }
    streams.push_back(reader);
    if (output->format == nullptr) continue;
    setup.push_back(reader->setup());
    CheckFit(*output->format, output->path, setup.back());
  }
  if (streams.empty()) return;
  output->streams = std::move(streams);
  output->file = OpenOutput(output->path);
  output->writer = output->format != nullptr ? output->format->make(output->file.get(), setup)
                                             : MakeRawWriter(output->file.get());
  outputs_.push_back(std::move(*output));
}

// Null when all are at their ends.
StreamReader* Extraction::FirstInTime() {
  StreamReader* first = nullptr;
  for (const auto& reader : readers_) {
    const Frame* const frame = reader->Peek();
    if (frame != nullptr && (first == nullptr || frame->timeMs < first->Peek()->timeMs))
      first = reader.get();
  }
  return first;
}

// One walk over the file for all that is written.
void Extraction::PlayOut() {
  if (outputs_.empty()) return;
  ProgressBar bar;
  while (StreamReader* const reader = FirstInTime()) {
    if (IsInterrupted()) throw Failure(kExitCannotRun, input_.path() + ": interrupted");
    const Frame& frame = *reader->Peek();
    for (const StreamOutput& output : outputs_) {
      for (std::size_t i = 0; i < output.streams.size(); ++i) {
        if (output.streams[i] == reader) output.writer->Write(i, frame);
      }
    }
    bar.Show(static_cast<unsigned long long>(std::max<std::int64_t>(frame.timeMs, 0)),
             input_.session().durationMs());
    reader->Drop();
  }
  input_.CheckWhole();
}

void Extraction::Finish() {
  for (const StreamOutput& output : outputs_) {
    output.writer->Finish();
    output.file->Finish();
  }
  for (const auto& reader : readers_) {
    if (reader->incompleteFrames() == 0) continue;
    const std::string noun = std::string(TrackKindName(reader->track().kind)) + " unit";
    AddProblem(Count(reader->incompleteFrames(), noun.c_str()) +
               " lost fragments: what is left of them is written");
  }
}

void Run(const Arguments& arguments, const Options& options, int* exitCode) {
  CheckOutputs(arguments);
  NoticeInterruptions();
  *exitCode = Extraction(arguments, options).Run();
}

}  // namespace

void AddExtract(CLI::App& app, const Options& options, int* exitCode) {
  auto arguments = std::make_shared<Arguments>();
  Command command(app, "extract", "Write streams to files that play");
  command.Text("FILE", &arguments->file, "The file").Required();
  const CommandOption outputs = command.Texts(
      "OUT", &arguments->outputs, "Files to write, each in the format that its name ends in");
  const auto output = [&command](const char* name, std::string* path, const char* text) {
    command.Text(name, path, text).Type("F");
  };
  output("--audio", &arguments->audio, "The audio alone, in the format of this name");
  output("--video", &arguments->video, "The video alone, in the format of this name");
  output("--config-audio", &arguments->configAudio, "The audio codec's configuration bytes");
  output("--config-video", &arguments->configVideo, "The video codec's configuration bytes");
  output("--cover", &arguments->cover, "The cover art, of whatever kind");
  output("--format", &arguments->format, "The format of -, the standard output: mkv, say");
  command
      .Flag("--raw", &arguments->raw,
            "--audio and --video as they are: one unit behind the other, under any name")
      .Excludes(outputs);
  command.Footer("Formats:\n" + FormatList());
  command.OnUse([arguments, &options, exitCode] { Run(*arguments, options, exitCode); });
}

}  // namespace tool
