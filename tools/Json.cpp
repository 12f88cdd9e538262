// Building of JSON. No state.
#include "tools/Json.h"

#include "qo_host/CodecNames.h"
#include "tools/Output.h"
#include "tools/Words.h"

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

// What the finding names, under names that its code gives a meaning.
Json FindingJson(const qo_host::Finding& finding) {
  Json json;
  const auto set = [&json](const char* name, const auto& value) {
    if (value) json[name] = *value;
  };
  json["code"] = FindingName(finding);
  json["severity"] = SeverityName(finding.severity);
  json["text"] = FindingText(finding);
  if (finding.kind) json["track"] = TrackKindName(*finding.kind);
  if (finding.stream) json["stream"] = finding.stream->number;
  set("packet", finding.packet);
  set("count", finding.count);
  set("total", finding.total);
  set("time_ms", finding.timeMs);
  set("stated", finding.stated);
  set("actual", finding.actual);
  return json;
}

Json TotalsJson(const qo_host::Track& track, const qo_host::TrackTotals& total) {
  Json json = {{"kind", TrackKindName(track.kind)}, {"units", total.units}, {"bytes", total.bytes}};
  json["stream"] = nullptr;
  if (track.stream) json["stream"] = *track.stream;
  json["first_ms"] = json["last_ms"] = nullptr;
  if (total.units == 0) return json;
  json["first_ms"] = total.firstMs;
  json["last_ms"] = total.lastMs;
  return json;
}

}  // namespace

std::string JsonText(const Json& json, int indent) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

Json FileJson(const std::string& path, const qo_host::ParserSession& session,
              const qo_host::AsfLayout& layout) {
  Json json;
  json["file"] = path;
  json["container"] = ContainerJson(session, layout);
  json["tracks"] = Json::array();
  for (const qo_host::Track& track : session.tracks()) json["tracks"].push_back(TrackJson(track));
  json["tags"] = TagsJson(session);
  json["picture"] = PictureJson(session);
  return json;
}

Json VerdictJson(Input* input, const qo_host::Totals& totals, const Verdict& verdict) {
  Json json;
  json["file"] = input->path();
  const bool isMended = verdict.isMended();
  const bool isBad = verdict.exitCode() != kExitGood;
  json["verdict"] = isBad ? "bad" : isMended ? "good-with-kit" : "good";
  json["tracks"] = Json::array();
  for (const qo_host::Track& track : input->session().tracks()) {
    json["tracks"].push_back(TotalsJson(track, totals.of(track.kind)));
  }
  json["findings"] = Json::array();
  for (const qo_host::Finding& finding : verdict.findings) {
    json["findings"].push_back(FindingJson(finding));
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

Json UnitJson(unsigned long long number, const qo_host::AccessUnit& unit) {
  return {{"number", number},
          {"track", TrackKindName(unit.kind)},
          {"time_ms", unit.timeMs},
          {"size", unit.size},
          {"md5", Md5Text(unit.data, unit.size)}};
}

Json LandingJson(const Landing& landing, unsigned long long target) {
  Json json;
  json["target_ms"] = target;
  json["packet"] = nullptr;
  if (landing.packet) json["packet"] = *landing.packet;
  json["probes"] = landing.probes;
  json["bytes_read"] = landing.bytesRead;
  for (const auto kind : {qo_host::TrackKind::kVideo, qo_host::TrackKind::kAudio}) {
    json[TrackKindName(kind)] = nullptr;
    const auto found = landing.first.find(kind);
    if (found == landing.first.end()) continue;
    json[TrackKindName(kind)] = {{"time_ms", found->second.timeMs},
                                 {"size", found->second.size},
                                 {"distance_ms", Distance(found->second.timeMs, target)}};
  }
  return json;
}

}  // namespace tool
