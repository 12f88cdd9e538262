// What the file is, its streams and its tags.
#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tools/common/Output.h"
#include "tools/common/Words.h"
#include "tools/info/FileFacts.h"
#include "tools/info/StreamFacts.h"
#include "tools/report/Axis.h"
#include "tools/report/Html.h"
#include "tools/report/Page.h"
#include "tools/report/Sections.h"

namespace tool {
namespace {

// Bounds of what a header may bring, so that the page stays one that a browser shows.
constexpr std::size_t kRowsShown = 200;
constexpr std::size_t kLargestCover = 2u << 20;  // bytes of the image

std::string Fact(const char* name, const std::string& value) {
  return Element("div", Element("dt", name) + Element("dd", value));
}

std::string SizeAndBytes(unsigned long long bytes) {
  return SizeText(static_cast<double>(bytes)) + " (" + Grouped(bytes) + " bytes)";
}

std::string PacketsFact(const Gathered& gathered) {
  const PacketExtent& extent = gathered.extent;
  if (extent.layout.packetLength == 0) return "none that can be found";
  std::string text =
      Grouped(extent.count) + " of " + Grouped(extent.layout.packetLength) + " bytes";
  if (extent.stated > extent.count) text += "; " + Grouped(extent.stated) + " stated";
  return text;
}

std::string IndexFact(const qo_host::AsfLayout& layout) {
  if (!layout.simpleIndex) return "none";
  return Grouped(layout.simpleIndex->entries) + " entries, every " +
         DistanceText(static_cast<double>(layout.simpleIndex->interval) / 1e4);
}

std::string Facts(const Gathered& gathered) {
  const qo_host::AsfLayout& layout = gathered.input->layout();
  const qo_host::ParserSession& session = gathered.input->session();
  std::string facts;
  if (layout.fileSize) facts += Fact("File size", SizeAndBytes(*layout.fileSize));
  const unsigned long long durationMs = session.durationMs();
  if (durationMs != 0) facts += Fact("Duration", TimeText(durationMs));
  if (durationMs != 0 && layout.fileSize && !layout.IsTruncated()) {
    facts += Fact("Bit rate, on average", BitrateText(static_cast<double>(*layout.fileSize) * 8000 /
                                                      static_cast<double>(durationMs)));
  }
  if (!layout.isAsf) return facts;
  facts += Fact("Packets", PacketsFact(gathered));
  facts += Fact("Preroll", DistanceText(static_cast<double>(layout.prerollMs)));
  facts += Fact("Simple index", IndexFact(layout));
  const FileFacts file = GatherFile(gathered.input);
  if (!file.created.empty()) facts += Fact("Created", FileText(file.created));
  if (!file.writer.empty()) facts += Fact("Written by", FileText(file.writer));
  for (const std::string& line : file.encryption) facts += Fact("Encrypted", FileText(line));
  return facts;
}

std::string FindingRow(const qo_host::Finding& finding) {
  const std::string severity = SeverityName(finding.severity);
  return Element("li", Element("b", severity, "class=\"" + severity + "\"") + " " +
                           Escaped(FindingText(finding)));
}

std::string VerdictText(Judgement judgement) {
  if (judgement == Judgement::kBad) {
    return Element("p", "\u2716 Bad: something of it is lost or played wrongly",
                   "class=\"verdict problem\"");
  }
  if (judgement == Judgement::kGoodWithKit) {
    return Element("p", "\u2714 Good with the kit, which mends what a bare host would meet",
                   "class=\"verdict mended\"");
  }
  return Element("p", "\u2714 Good", "class=\"verdict good\"");
}

std::string TimesText(const StreamMeasure& stream) {
  if (!stream.times.any()) return "";
  return TimeText(static_cast<unsigned long long>(stream.times.least)) + " to " +
         TimeText(static_cast<unsigned long long>(stream.times.greatest));
}

std::string StateText(const DescribedStream& stream) {
  std::string state = stream.chosen ? "played" : "not played";
  if (stream.header->hidden) state += ", in the header extension only";
  if (stream.header->encrypted) state += ", encrypted";
  return state;
}

// What its pictures or samples are like.
std::string ShapeText(const DescribedStream& stream) {
  if (const auto& video = stream.header->video) {
    std::string text =
        std::to_string(video->width) + "\u00D7" + std::to_string(std::abs(1ll * video->height));
    if (stream.frameRate) text += ", " + DecimalText(stream.frameRate->value) + " frames a second";
    return text;
  }
  const auto& audio = stream.header->audio;
  if (!audio) return "";
  return Grouped(audio->samplesPerSecond) + " Hz, " + Count(audio->channels, "channel");
}

std::string StreamFactList(const DescribedStream& stream, const StreamMeasure& measure) {
  std::string facts;
  const auto add = [&facts](const char* name, const std::string& text) {
    if (!text.empty()) facts += Fact(name, FileText(text));
  };
  add("Codec", stream.codec);
  add("Profile", stream.profile);
  add("Shape", ShapeText(stream));
  add("Name", stream.name);
  add("Language", stream.language);
  add("State", StateText(stream));
  facts += Fact("Payload", SizeAndBytes(measure.bytes));
  facts += Fact("Media objects", Grouped(measure.objects));
  add("Times", TimesText(measure));
  return facts;
}

std::string TagValue(const qo_host::FileHeader& header, const qo_host::HeaderTag& tag) {
  const bool isBytes = tag.type == kMetaBytes || tag.type > qo_host::kMetaGuid;
  std::string value = isBytes ? Grouped(tag.value.size) + " bytes" : FileText(tag.text);
  const std::string language = header.Language(tag.language);
  if (tag.stream != 0) value += ", of stream " + std::to_string(tag.stream);
  if (tag.language != 0 && !language.empty()) value += ", " + FileText(language);
  return value;
}

// `rows` and, where the file has more than are shown, how many those are.
std::string Bounded(const std::vector<std::string>& headings, const Rows& rows, std::size_t count) {
  if (rows.empty()) return "";
  std::string table = Table(headings, rows);
  if (count > rows.size()) {
    table +=
        Element("p", "The first " + std::to_string(rows.size()) + " of " + Grouped(count) + ".",
                "class=\"dim\"");
  }
  return table;
}

std::string Tags(const qo_host::FileHeader& header) {
  Rows rows;
  for (std::size_t i = 0; i < header.tags.size() && i < kRowsShown; ++i) {
    rows.push_back({FileText(header.tags[i].name), TagValue(header, header.tags[i])});
  }
  return Bounded({"Tag", "Value"}, rows, header.tags.size());
}

std::string Timed(const char* what, const std::vector<TimedText>& texts) {
  Rows rows;
  for (std::size_t i = 0; i < std::min(texts.size(), kRowsShown); ++i) {
    const std::string type = texts[i].type.empty() ? "" : FileText(texts[i].type) + ": ";
    rows.push_back({TimeText(texts[i].timeMs), type + FileText(texts[i].text)});
  }
  return Bounded({what, "Text"}, rows, texts.size());
}

std::string Cover(const qo_host::ParserSession& session) {
  const std::optional<qo_host::Picture>& picture = session.picture();
  if (!picture) return "";
  const std::string size = Grouped(picture->bytes.size()) + " bytes";
  if (picture->bytes.size() > kLargestCover) {
    return Element("p", "The cover of " + size + " is too large for this page.");
  }
  const std::string uri = ImageUri(picture->bytes.data(), picture->bytes.size());
  if (uri.empty()) return Element("p", "The cover of " + size + " is no image that a page shows.");
  return "<p><img alt=\"Cover of the file, " + Escaped(picture->description) + "\" src=\"" + uri +
         "\"/></p>\n";
}

}  // namespace

std::string OverviewSection(const Gathered& gathered) {
  const std::string name = std::filesystem::path(gathered.input->path()).filename().string();
  std::string findings;
  std::vector<qo_host::Finding> listed = gathered.played.verdict.findings;
  std::stable_sort(listed.begin(), listed.end(),
                   [](const auto& a, const auto& b) { return a.severity > b.severity; });
  for (const qo_host::Finding& finding : listed) findings += FindingRow(finding);
  std::string overview = Element("h1", FileText(name)) + VerdictText(gathered.played.judgement()) +
                         "\n" + Section("The file", Element("dl", Facts(gathered)));
  if (!findings.empty()) {
    overview += Section("Findings", Element("ul", findings, "class=\"findings\""));
  }
  return overview;
}

std::string StreamsSection(const Gathered& gathered) {
  const std::vector<DescribedStream> listed = GatherStreams(gathered.input);
  std::string streams;
  for (std::size_t i = 0; i < std::min(listed.size(), kRowsShown); ++i) {
    const qo_host::StreamHeader& header = *listed[i].header;
    const StreamMeasure& measure = gathered.measures.streams().at(header.number);
    streams += Element("h3", "Stream " + std::to_string(header.number) + ", " +
                                 StreamKindName(header.kind)) +
               Element("dl", StreamFactList(listed[i], measure)) + "\n";
  }
  return Section("Streams", streams);
}

std::string TagsSection(const Gathered& gathered) {
  const FileFacts facts = GatherFile(gathered.input);
  return Section("Tags", Cover(gathered.input->session()) + Tags(gathered.input->header()) +
                             Timed("Marker", facts.markers) + Timed("Command", facts.commands));
}

}  // namespace tool
