// A file in lines: a name, and what there is of it.
#include "tools/info/InfoText.h"

#include <algorithm>
#include <cstdio>

#include "tools/common/Output.h"

namespace tool {
namespace {

// Codec configuration can be kilobytes; a person is shown its beginning.
constexpr std::size_t kConfigBytesShown = 24;

// Columns in front of the text: of most lines, and where the names are a file's own.
constexpr std::size_t kColumn = 18;
constexpr std::size_t kWideColumn = 30;

void PrintLine(const std::string& name, const std::string& text, std::size_t column = kColumn) {
  std::string line = "  " + name;
  line.resize(std::max(line.size() + 1, column), ' ');
  Print(line + text + "\n");
}

// One of a stream's.
void PrintStreamLine(const std::string& name, const std::string& text) {
  if (!text.empty()) PrintLine("  " + name, text);
}

// "25", "29.97"
std::string DecimalText(double value) {
  char text[48];
  std::snprintf(text, sizeof text, "%.3f", value);
  std::string trimmed = text;
  trimmed.erase(trimmed.find_last_not_of('0') + 1);
  if (trimmed.back() == '.') trimmed.pop_back();
  return trimmed;
}

std::string BitrateText(unsigned long long bitsPerSecond) {
  return DecimalText(static_cast<double>(bitsPerSecond) / 1000) + " kbit/s";
}

std::string RatioText(const Ratio& ratio) {
  return std::to_string(ratio.x) + ":" + std::to_string(ratio.y);
}

std::string ConfigText(const qo_host::FileHeader& header, qo_host::ByteRange data) {
  if (data.size == 0) return "";
  const std::size_t shown = std::min(data.size, kConfigBytesShown);
  return Count(data.size, "byte") + ": " + HexText(header.Data(data), shown) +
         (shown < data.size ? "..." : "");
}

void PrintPackets(Input* input) {
  const qo_host::AsfLayout& layout = input->layout();
  std::string sizes = Count(layout.packetLength, "byte");
  if (layout.minPacketLength != layout.maxPacketLength) {
    sizes += " (stated: " + std::to_string(layout.minPacketLength) + " to " +
             std::to_string(layout.maxPacketLength) + ")";
  }
  PrintLine("packets", std::to_string(layout.PacketsInData()) + " of " + sizes + ", preroll " +
                           std::to_string(layout.prerollMs) + " ms");
  if (!layout.simpleIndex) {
    PrintLine("index", layout.fileSize ? "none" : "not known, it would stand behind the data");
    return;
  }
  const unsigned int entries = layout.simpleIndex->entries;
  PrintLine("index", std::to_string(entries) + (entries == 1 ? " entry" : " entries") + ", every " +
                         std::to_string(layout.simpleIndex->interval / 10000) + " ms");
}

void PrintContainer(Input* input, const FileFacts& facts) {
  if (facts.size) PrintLine("size", Count(*facts.size, "byte"));
  PrintLine("duration", TimeText(input->session().durationMs()));
  std::string bitrate;
  if (facts.bitsPerSecond) bitrate = BitrateText(*facts.bitsPerSecond) + " of the whole file";
  const auto& properties = input->header().properties;
  if (properties && properties->maxBitrate != 0) {
    bitrate += (bitrate.empty() ? "" : ", ") + BitrateText(properties->maxBitrate) + " at most";
  }
  if (!bitrate.empty()) PrintLine("bitrate", bitrate);
  if (!facts.created.empty()) PrintLine("created", facts.created);
  if (!facts.writer.empty()) PrintLine("writer", Printable(facts.writer));
  PrintLine("flags", std::string(facts.isSeekable ? "seekable" : "not seekable") +
                         (facts.isBroadcast ? ", broadcast" : ""));
  PrintPackets(input);
  for (const std::string& line : facts.encryption) PrintLine("encryption", Printable(line));
}

std::string PictureText(const DescribedStream& facts) {
  const auto& video = facts.header->video;
  if (!video) return "";
  std::string text =
      std::to_string(video->encodedWidth) + "x" + std::to_string(video->encodedHeight);
  if (facts.pixelAspect) text += ", pixels " + RatioText(*facts.pixelAspect);
  if (facts.displayAspect) text += ", display " + RatioText(*facts.displayAspect);
  if (facts.frameRate) {
    text += ", " + DecimalText(facts.frameRate->value) + " frames/s" +
            (facts.frameRate->isMeasured ? " (measured)" : "");
  }
  return text + ", " + Count(video->bitCount, "bit") + " a pixel";
}

std::string SoundText(const DescribedStream& facts) {
  const auto& audio = facts.header->audio;
  if (!audio) return "";
  std::string text =
      std::to_string(audio->samplesPerSecond) + " Hz, " + Count(audio->channels, "channel");
  // Many codecs have no such number.
  if (audio->bitsPerSample != 0) text += ", " + Count(audio->bitsPerSample, "bit") + " a sample";
  return text + ", blocks of " + Count(audio->blockAlign, "byte");
}

std::string TimesText(const DescribedStream& facts) {
  if (!facts.startMs) return "";
  std::string text = "from " + TimeText(*facts.startMs);
  if (facts.durationMs) text += ", " + TimeText(*facts.durationMs) + " long";
  return text;
}

void PrintStream(const qo_host::FileHeader& header, const DescribedStream& facts) {
  const qo_host::StreamHeader& stream = *facts.header;
  std::string codec = facts.codec == facts.tag ? "" : facts.codec + " ";
  if (!facts.tag.empty()) codec += "(" + facts.tag + ")";
  if (!facts.profile.empty()) codec += ", " + facts.profile;
  PrintLine("stream " + std::to_string(stream.number),
            std::string(StreamKindName(stream.kind)) + (facts.chosen ? ", chosen" : "") +
                (stream.hidden ? ", in the header extension only" : "") +
                (stream.encrypted ? ", encrypted" : ""));
  PrintStreamLine("codec", Printable(codec));
  PrintStreamLine("picture", PictureText(facts));
  PrintStreamLine("sound", SoundText(facts));
  if (facts.bitrate) {
    PrintStreamLine("bitrate", BitrateText(facts.bitrate->value) +
                                   (facts.bitrate->isMeasured ? " (measured)" : ""));
  }
  PrintStreamLine("time", TimesText(facts));
  PrintStreamLine("language", Printable(facts.language));
  PrintStreamLine("name", Printable(facts.name));
  PrintStreamLine("configuration", ConfigText(header, stream.codecData));
}

void PrintTimedTexts(const char* name, const std::vector<TimedText>& texts) {
  for (const TimedText& text : texts) {
    PrintLine(name, TimeText(text.timeMs) + "  " +
                        Printable(text.type.empty() ? text.text : text.type + ": " + text.text));
  }
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

}  // namespace

void PrintDescription(Input* input, const Description& description) {
  const qo_host::FileHeader& header = input->header();
  Print(Bold(Printable(input->path()), stdout) + "\n");
  if (header.isAsf) PrintContainer(input, description.file);
  for (const DescribedStream& stream : description.streams) PrintStream(header, stream);
  // As it is, the parser has its own view of what it plays.
  if (input->session().presented() == nullptr) {
    for (const qo_host::Track& track : input->session().tracks()) {
      PrintLine(TrackKindName(track.kind), TrackText(track));
    }
  }
  for (const qo_host::CodecEntry& codec : header.codecs) {
    PrintLine("codec list",
              Printable(codec.name + (codec.description.empty() ? "" : ", " + codec.description)));
  }
  PrintTimedTexts("marker", description.file.markers);
  PrintTimedTexts("command", description.file.commands);
  PrintTags(input->session());
  PrintFileTags(header);
  for (const std::string& note : description.verdict.notes) PrintLine("note", Printable(note));
}

}  // namespace tool
