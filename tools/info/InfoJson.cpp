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

Json DroppedJson(const qo_host::StreamLayout& stream) {
  return {{"stream", stream.number}, {"kind", StreamKindName(stream.kind)}};
}

Json TextOrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

template <typename Value>
Json ValueOrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

template <typename Value>
void SetMeasurable(const char* name, const std::optional<Measurable<Value>>& value, Json* json) {
  (*json)[name] = value ? Json(value->value) : Json();
  (*json)[std::string(name) + "_measured"] = value && value->isMeasured;
}

Json RatioJson(const std::optional<Ratio>& ratio) {
  if (!ratio) return nullptr;
  return std::to_string(ratio->x) + ":" + std::to_string(ratio->y);
}

Json TimedJson(const std::vector<TimedText>& texts) {
  Json json = Json::array();
  for (const TimedText& text : texts) {
    json.push_back({{"time_ms", text.timeMs}});
    if (!text.type.empty()) json.back()["type"] = text.type;
    json.back()["text"] = text.text;
  }
  return json;
}

Json CodecListJson(const qo_host::FileHeader& header) {
  Json json = Json::array();
  for (const qo_host::CodecEntry& codec : header.codecs) {
    json.push_back({{"name", codec.name}, {"description", codec.description}});
  }
  return json;
}

// Sizes and times of the container; those of the play-out are the parser's.
Json ContainerJson(Input* input, const FileFacts& facts) {
  const qo_host::AsfLayout& layout = input->layout();
  const auto& properties = input->header().properties;
  Json json;
  json["size"] = ValueOrNull(facts.size);
  json["duration_ms"] = input->session().durationMs();
  json["bitrate"] = ValueOrNull(facts.bitsPerSecond);
  json["max_bitrate"] = properties ? Json(properties->maxBitrate) : Json();
  json["created"] = TextOrNull(facts.created);
  json["writer"] = TextOrNull(facts.writer);
  json["broadcast"] = facts.isBroadcast;
  json["seekable"] = facts.isSeekable;
  json["packets"] = layout.PacketsInData();
  json["packet_length"] = layout.packetLength;
  json["min_packet_length"] = layout.minPacketLength;
  json["max_packet_length"] = layout.maxPacketLength;
  json["preroll_ms"] = layout.prerollMs;
  json["encrypted"] = layout.IsEncrypted();
  json["encryption"] = facts.encryption;
  json["truncated"] = layout.IsTruncated();
  json["index"] = nullptr;
  if (layout.simpleIndex) {
    json["index"] = {{"entries", layout.simpleIndex->entries},
                     {"interval_ms", layout.simpleIndex->interval / 10000}};
  }
  json["dropped_streams"] = Json::array();
  for (const qo_host::StreamLayout& stream : layout.streams) {
    if (!stream.isTrack) json["dropped_streams"].push_back(DroppedJson(stream));
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

Json StreamJson(const DescribedStream& facts) {
  const qo_host::StreamHeader& stream = *facts.header;
  Json json = {{"number", stream.number},
               {"kind", StreamKindName(stream.kind)},
               {"codec_name", TextOrNull(facts.codec)},
               {"tag", TextOrNull(facts.tag)},
               {"profile", TextOrNull(facts.profile)},
               {"language", TextOrNull(facts.language)},
               {"name", TextOrNull(facts.name)},
               {"chosen", facts.chosen},
               {"hidden", stream.hidden},
               {"encrypted", stream.encrypted}};
  SetMeasurable("bitrate", facts.bitrate, &json);
  json["start_ms"] = ValueOrNull(facts.startMs);
  json["duration_ms"] = ValueOrNull(facts.durationMs);
  json["config_bytes"] = stream.codecData.size;
  if (stream.video) {
    json["width"] = stream.video->encodedWidth;
    json["height"] = stream.video->encodedHeight;
    json["bits_per_pixel"] = stream.video->bitCount;
    json["pixel_aspect"] = RatioJson(facts.pixelAspect);
    json["display_aspect"] = RatioJson(facts.displayAspect);
    SetMeasurable("frame_rate", facts.frameRate, &json);
  }
  if (stream.audio) {
    json["channels"] = stream.audio->channels;
    json["sample_rate"] = stream.audio->samplesPerSecond;
    json["bits_per_sample"] = stream.audio->bitsPerSample;
    json["block_align"] = stream.audio->blockAlign;
  }
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

}  // namespace

Json DescriptionJson(Input* input, const Description& description) {
  const qo_host::ParserSession& session = input->session();
  Json json = Document(input->path());
  json["container"] = ContainerJson(input, description.file);
  json["streams"] = Json::array();
  for (const DescribedStream& facts : description.streams)
    json["streams"].push_back(StreamJson(facts));
  json["tracks"] = Json::array();
  for (const qo_host::Track& track : session.tracks()) json["tracks"].push_back(TrackJson(track));
  json["codec_list"] = CodecListJson(input->header());
  json["languages"] = input->header().languages;
  json["markers"] = TimedJson(description.file.markers);
  json["commands"] = TimedJson(description.file.commands);
  json["tags"] = TagsJson(session);
  json["picture"] = PictureJson(session);
  json["file_tags"] = FileTagsJson(input->header());
  json["problems"] = description.verdict.problems;
  json["notes"] = description.verdict.notes;
  return json;
}

}  // namespace tool
