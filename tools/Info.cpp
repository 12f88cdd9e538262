// asftool info: describes a file's container, tracks, tags and cover art.
#include <algorithm>
#include <vector>

#include "host/CodecNames.h"
#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/Verdict.h"

namespace tool {
namespace {

// Codec configuration can be kilobytes; a person is shown its beginning.
constexpr std::size_t kConfigBytesShown = 24;

// A tag's name as a JSON key.
std::string KeyOf(const host::Tag& tag) {
  std::string key = host::TagName(tag.key);
  for (char& c : key) {
    if (c == ' ') c = '_';
  }
  return key;
}

Json StreamJson(const host::StreamLayout& stream) {
  return {{"stream", stream.number}, {"kind", StreamKindName(stream.kind)}};
}

Json ContainerJson(Input* input) {
  const host::AsfLayout& layout = input->layout();
  Json json;
  json["duration_ms"] = input->session().durationMs();
  json["packets"] = layout.PacketsInData();
  json["packet_length"] = layout.packetLength;
  json["preroll_ms"] = layout.prerollMs;
  json["encrypted"] = layout.IsEncrypted();
  json["truncated"] = layout.IsTruncated();
  json["index"] = nullptr;
  if (layout.simpleIndex) {
    json["index"] = {{"entries", layout.simpleIndex->entries},
                     {"interval_ms", layout.simpleIndex->interval / 10000}};
  }
  json["dropped_streams"] = Json::array();
  for (const host::StreamLayout& stream : layout.streams) {
    if (!stream.isTrack) json["dropped_streams"].push_back(StreamJson(stream));
  }
  return json;
}

Json TrackJson(const host::Track& track) {
  const TrackInfo& info = track.info;
  Json json;
  json["index"] = track.index;
  json["kind"] = TrackKindName(track.kind);
  json["codec"] = info.codec;
  json["codec_name"] = host::CodecName(info.codec);
  if (track.kind == host::TrackKind::kVideo) {
    json["width"] = info.value1;
    json["height"] = info.value2;
    json["seekable"] = info.seekable != 0;
  } else {
    json["channels"] = info.value1;
    json["sample_rate"] = info.value2;
    json["bits_per_sample"] = info.value3;
    json["bitrate"] = info.bitrate;
    json["block_align"] = info.blockAlign;
  }
  json["config"] = HexText(track.config.data(), track.config.size());
  json["config_bytes"] = track.config.size();
  json["config_md5"] = nullptr;
  if (!track.config.empty()) json["config_md5"] = Md5Text(track.config.data(), track.config.size());
  return json;
}

Json TagsJson(const host::ParserSession& session) {
  Json json = Json::object();
  for (const host::Tag& tag : session.tags()) {
    if (tag.type == kMetaString) {
      json[KeyOf(tag)] = tag.text;
    } else if (tag.type == kMetaBool) {
      json[KeyOf(tag)] = tag.number != 0;
    } else if (tag.type != kMetaBytes && tag.type <= kMetaWord) {
      json[KeyOf(tag)] = tag.number;
    }
  }
  return json;
}

Json PictureJson(const host::ParserSession& session) {
  const auto& picture = session.picture();
  if (!picture) return nullptr;
  return {{"type", picture->type},
          {"mime_type", picture->mimeType},
          {"description", picture->description},
          {"bytes", picture->bytes.size()},
          {"md5", Md5Text(picture->bytes.data(), picture->bytes.size())}};
}

void PrintJson(Input* input, const Verdict& verdict) {
  const host::ParserSession& session = input->session();
  Json json;
  json["file"] = input->path();
  json["container"] = ContainerJson(input);
  json["tracks"] = Json::array();
  for (const host::Track& track : session.tracks()) json["tracks"].push_back(TrackJson(track));
  json["tags"] = TagsJson(session);
  json["picture"] = PictureJson(session);
  json["problems"] = verdict.problems;
  json["notes"] = verdict.notes;
  Print(JsonText(json) + "\n");
}

void PrintLine(const std::string& name, const std::string& text) {
  std::string line = "  " + name;
  line.resize(std::max<std::size_t>(line.size() + 1, 18), ' ');
  Print(line + text + "\n");
}

void PrintContainer(Input* input) {
  const host::AsfLayout& layout = input->layout();
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

void PrintTrack(const host::Track& track) {
  std::string text = TrackText(track);
  if (track.kind == host::TrackKind::kAudio) {
    text += ", " + std::to_string(track.info.bitrate / 1000) + " kbit/s";
  }
  PrintLine(TrackKindName(track.kind), text);
  if (!track.config.empty()) PrintLine("  configuration", ConfigText(track.config));
}

void PrintTags(const host::ParserSession& session) {
  for (const host::Tag& tag : session.tags()) {
    const bool isText = tag.type != kMetaBytes && tag.type <= kMetaWord;
    if (isText) PrintLine(host::TagName(tag.key), Printable(tag.text));
  }
  if (const auto& picture = session.picture()) {
    PrintLine("cover art",
              Printable(picture->mimeType) + ", " + Count(picture->bytes.size(), "byte"));
  }
}

void PrintText(Input* input, const Verdict& verdict) {
  Print(Bold(Printable(input->path()), stdout) + "\n");
  if (input->layout().isAsf) PrintContainer(input);
  for (const host::Track& track : input->session().tracks()) PrintTrack(track);
  PrintTags(input->session());
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
