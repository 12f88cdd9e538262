// What the header tells of each stream, beside what the session plays. No state.
#include "tools/info/Streams.h"

#include <algorithm>
#include <cstdio>

#include "qo_host/CodecNames.h"
#include "qo_parser_asf/Codecs.h"
#include "tools/common/Output.h"

namespace tool {
namespace {

using qo_host::StreamHeader;
using qo_host::StreamKind;

// As it is, the file's first audio and first video stream are the tracks.
const qo_host::Track* TrackOf(Input* input, const StreamHeader& stream) {
  const bool isAudio = stream.kind == StreamKind::kAudio;
  if (!isAudio && stream.kind != StreamKind::kVideo) return nullptr;
  const qo_host::Track* const track =
      input->session().FindTrack(isAudio ? qo_host::TrackKind::kAudio : qo_host::TrackKind::kVideo);
  if (track == nullptr) return nullptr;
  if (track->stream) return *track->stream == stream.number ? track : nullptr;
  const auto& known = input->layout().streams;
  const bool isTrack = std::any_of(known.begin(), known.end(), [&](const auto& other) {
    return other.isTrack && other.number == stream.number && other.kind == stream.kind;
  });
  return isTrack && !stream.hidden ? track : nullptr;
}

std::string TagText(const StreamHeader& stream) {
  if (stream.kind == StreamKind::kVideo) return qo_host::FourCcText(stream.codecTag);
  if (stream.kind != StreamKind::kAudio) return "";
  unsigned int tag = stream.codecTag;
  if (stream.extensible) tag = stream.extensible->formatTag.value_or(tag);
  char text[16];
  std::snprintf(text, sizeof text, "0x%04X", tag);
  return text;
}

ListedStream Listed(Input* input, const qo_host::FileHeader& header, const StreamHeader& stream) {
  const qo_host::Track* const track = TrackOf(input, stream);
  const std::string tag = TagText(stream);
  const bool isNamed = track != nullptr && track->info.codec != kCodecUnknown;
  ListedStream listed{stream.number,
                      stream.kind,
                      isNamed ? qo_host::CodecName(track->info.codec) : tag,
                      tag,
                      "",
                      "",
                      track != nullptr,
                      stream.hidden,
                      stream.encrypted};
  if (const qo_host::ExtendedStream* extended = header.Extended(stream.number)) {
    listed.language = header.Language(extended->language);
    if (!extended->names.empty()) listed.name = extended->names.front().text;
  }
  return listed;
}

}  // namespace

std::vector<ListedStream> ListStreams(Input* input) {
  const qo_host::FileHeader& header = input->header();
  std::vector<ListedStream> streams;
  for (const StreamHeader& stream : header.streams) {
    streams.push_back(Listed(input, header, stream));
  }
  return streams;
}

std::string StreamLine(const ListedStream& stream) {
  std::string line = StreamKindName(stream.kind);
  if (!stream.codec.empty()) line += ", " + Printable(stream.codec);
  if (!stream.language.empty()) line += ", " + Printable(stream.language);
  if (!stream.name.empty()) line += ", \"" + Printable(stream.name) + "\"";
  if (stream.chosen) line += ", chosen";
  if (stream.hidden) line += ", in the header extension only";
  if (stream.encrypted) line += ", encrypted";
  return line;
}

Json StreamJson(const ListedStream& stream) {
  const auto textOrNull = [](const std::string& text) {
    return text.empty() ? Json() : Json(text);
  };
  return {{"number", stream.number},
          {"kind", StreamKindName(stream.kind)},
          {"codec_name", textOrNull(stream.codec)},
          {"tag", textOrNull(stream.tag)},
          {"language", textOrNull(stream.language)},
          {"name", textOrNull(stream.name)},
          {"chosen", stream.chosen},
          {"hidden", stream.hidden},
          {"encrypted", stream.encrypted}};
}

}  // namespace tool
