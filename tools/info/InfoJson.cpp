// A file as JSON. No state.
#include "tools/info/InfoJson.h"

#include "qo_host/CodecNames.h"
#include "tools/common/Output.h"

namespace tool {
namespace {

// A tag's name as a JSON key.
std::string KeyOf(const qo_host::Tag& tag) {
  std::string key = qo_host::TagName(tag.key);
  for (char& c : key) {
    if (c == ' ') c = '_';
  }
  return key;
}

Json StreamJson(const qo_host::StreamLayout& stream) {
  return {{"stream", stream.number}, {"kind", StreamKindName(stream.kind)}};
}

Json ContainerJson(const qo_host::ParserSession& session, const qo_host::AsfLayout& layout) {
  Json json;
  json["duration_ms"] = session.durationMs();
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
  for (const qo_host::StreamLayout& stream : layout.streams) {
    if (!stream.isTrack) json["dropped_streams"].push_back(StreamJson(stream));
  }
  return json;
}

Json TrackJson(const qo_host::Track& track) {
  const TrackInfo& info = track.info;
  Json json;
  json["index"] = track.index;
  json["kind"] = TrackKindName(track.kind);
  json["codec"] = info.codec;
  json["codec_name"] = qo_host::CodecName(info.codec);
  if (track.kind == qo_host::TrackKind::kVideo) {
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

Json TagsJson(const qo_host::ParserSession& session) {
  Json json = Json::object();
  for (const qo_host::Tag& tag : session.tags()) {
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

Json PictureJson(const qo_host::ParserSession& session) {
  const auto& picture = session.picture();
  if (!picture) return nullptr;
  return {{"type", picture->type},
          {"mime_type", picture->mimeType},
          {"description", picture->description},
          {"bytes", picture->bytes.size()},
          {"md5", Md5Text(picture->bytes.data(), picture->bytes.size())}};
}

}  // namespace

Json FileJson(const std::string& path, const qo_host::ParserSession& session,
              const qo_host::AsfLayout& layout) {
  Json json = Document();
  json["file"] = path;
  json["container"] = ContainerJson(session, layout);
  json["tracks"] = Json::array();
  for (const qo_host::Track& track : session.tracks()) json["tracks"].push_back(TrackJson(track));
  json["tags"] = TagsJson(session);
  json["picture"] = PictureJson(session);
  return json;
}

Json FileTagsJson(const qo_host::FileHeader& header) {
  Json json = Json::array();
  for (const qo_host::HeaderTag& tag : header.tags) {
    Json entry = {{"name", tag.name}, {"bytes", tag.value.size}, {"value", nullptr}};
    if (tag.type == kMetaBool) {
      entry["value"] = tag.number != 0;
    } else if (tag.type == kMetaString || tag.type == qo_host::kMetaGuid) {
      entry["value"] = tag.text;
    } else if (tag.type > kMetaBool && tag.type <= kMetaWord) {
      entry["value"] = tag.number;
    }
    if (tag.stream != 0) entry["stream"] = tag.stream;
    const std::string language = header.Language(tag.language);
    if (!language.empty()) entry["language"] = language;
    json.push_back(std::move(entry));
  }
  return json;
}

}  // namespace tool
