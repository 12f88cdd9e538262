// asftool info: describes a file's container, tracks, tags and cover art.
#include <algorithm>
#include <vector>

#include "qo_host/CodecNames.h"
#include "tools/common/Commands.h"
#include "tools/common/Output.h"
#include "tools/common/Verdict.h"
#include "tools/info/InfoJson.h"
#include "tools/info/Streams.h"

namespace tool {
namespace {

// Codec configuration can be kilobytes; a person is shown its beginning.
constexpr std::size_t kConfigBytesShown = 24;

void PrintJson(Input* input, const Verdict& verdict) {
  Json json = FileJson(input->path(), input->session(), input->layout());
  json["streams"] = Json::array();
  for (const ListedStream& stream : ListStreams(input))
    json["streams"].push_back(StreamJson(stream));
  json["file_tags"] = FileTagsJson(input->header());
  json["problems"] = verdict.problems;
  json["notes"] = verdict.notes;
  Print(JsonText(json) + "\n");
}

// Columns in front of the text: of most lines, and where the names are a file's own.
constexpr std::size_t kColumn = 18;
constexpr std::size_t kWideColumn = 30;

void PrintLine(const std::string& name, const std::string& text, std::size_t column = kColumn) {
  std::string line = "  " + name;
  line.resize(std::max(line.size() + 1, column), ' ');
  Print(line + text + "\n");
}

void PrintContainer(Input* input) {
  const qo_host::AsfLayout& layout = input->layout();
  PrintLine("duration", TimeText(input->session().durationMs()));
  PrintLine("packets",
            std::to_string(layout.PacketsInData()) + " of " + Count(layout.packetLength, "byte"));
  if (!layout.simpleIndex) {
    PrintLine("index", "none");
    return;
  }
  PrintLine("index", std::to_string(layout.simpleIndex->entries) + " entries, every " +
                         std::to_string(layout.simpleIndex->interval / 10000) + " ms");
}

std::string ConfigText(const std::vector<unsigned char>& config) {
  const std::size_t shown = std::min(config.size(), kConfigBytesShown);
  return Count(config.size(), "byte") + ": " + HexText(config.data(), shown) +
         (shown < config.size() ? "..." : "");
}

void PrintTrack(const qo_host::Track& track) {
  std::string text = TrackText(track);
  if (track.kind == qo_host::TrackKind::kAudio) {
    text += ", " + std::to_string(track.info.bitrate / 1000) + " kbit/s";
  }
  PrintLine(TrackKindName(track.kind), text);
  if (!track.config.empty()) PrintLine("  configuration", ConfigText(track.config));
}

void PrintTags(const qo_host::ParserSession& session) {
  for (const qo_host::Tag& tag : session.tags()) {
    const bool isText = tag.type != kMetaBytes && tag.type <= kMetaWord;
    if (isText) PrintLine(qo_host::TagName(tag.key), Printable(tag.text));
  }
  if (const auto& picture = session.picture()) {
    PrintLine("cover art",
              Printable(picture->mimeType) + ", " + Count(picture->bytes.size(), "byte"));
  }
}

// What a tag holds, and whose it is where that is not the whole file.
std::string FileTagText(const qo_host::FileHeader& header, const qo_host::HeaderTag& tag) {
  const bool isBytes = tag.type == kMetaBytes || tag.type > qo_host::kMetaGuid;
  std::string text = isBytes ? Count(tag.value.size, "byte") : Printable(tag.text);
  if (tag.stream != 0) text += ", of stream " + std::to_string(tag.stream);
  const std::string language = header.Language(tag.language);
  if (tag.language != 0 && !language.empty()) text += ", " + Printable(language);
  return text;
}

void PrintFileTags(const qo_host::FileHeader& header) {
  if (!header.tags.empty()) Print("  tags by the file's own names\n");
  for (const qo_host::HeaderTag& tag : header.tags) {
    PrintLine("  " + Printable(tag.name), FileTagText(header, tag), kWideColumn);
  }
}

void PrintText(Input* input, const Verdict& verdict) {
  Print(Bold(Printable(input->path()), stdout) + "\n");
  if (input->layout().isAsf) PrintContainer(input);
  for (const ListedStream& stream : ListStreams(input)) {
    PrintLine("stream " + std::to_string(stream.number), StreamLine(stream));
  }
  for (const qo_host::Track& track : input->session().tracks()) PrintTrack(track);
  PrintTags(input->session());
  PrintFileTags(input->header());
  for (const std::string& note : verdict.notes) PrintLine("note", Printable(note));
}

}  // namespace

void AddInfo(CLI::App& app, const Options& options, int* exitCode) {
  struct Arguments {
    std::string file;
    bool json = false;
  };
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = app.add_subcommand("info", "Describe a file: container, tracks, tags");
  command->add_option("FILE", arguments->file, "The file")->required();
  command->add_flag("--json", arguments->json, "Print JSON");
  command->callback([arguments, &options, exitCode] {
    Input input(options, arguments->file);
    const Verdict verdict = OpenAndJudge(&input);
    if (arguments->json) {
      PrintJson(&input, verdict);
    } else {
      PrintText(&input, verdict);
    }
    PrintProblems(input, verdict);
    *exitCode = verdict.exitCode();
  });
}

}  // namespace tool
