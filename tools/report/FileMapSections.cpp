// What changes over the length of the file: how its streams are interleaved, how full its
// packets are, and where they are damaged.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "qo_host/StreamKind.h"
#include "tools/common/Words.h"
#include "tools/report/Chart.h"
#include "tools/report/Html.h"
#include "tools/report/Page.h"
#include "tools/report/Sections.h"

namespace tool {
namespace {

constexpr std::size_t kMapColumns = 40;

// A cell of the map with the gap behind it, in units of its own, and its height without.
constexpr std::size_t kCellWidth = 10;
constexpr std::size_t kCellHeight = 7;
constexpr double kFillHeight = 6;
constexpr const char* kCross = "<path class=\"hurt\" d=\"M2.5 1l4 4m0-4l-4 4\"/>";

double PositionOf(const Gathered& gathered, const Place& place) {
  return static_cast<double>(gathered.extent.layout.PacketPosition(place.first));
}

Axis PositionAxis(const Gathered& gathered) {
  const PacketExtent& extent = gathered.extent;
  return FileAxis(static_cast<double>(extent.layout.PacketPosition(extent.count)));
}

std::string AheadText(double ms) {
  if (ms == 0) return "level";
  return Escaped(DistanceText(std::abs(ms))) + (ms > 0 ? " ahead" : " behind");
}

// How far audio is ahead of video in the file.
std::string DistanceFigure(const Gathered& gathered) {
  std::vector<Point> low, high;
  Span all;
  for (const Place& place : gathered.measures.places()) {
    if (!place.audioAhead.any()) continue;
    const double at = PositionOf(gathered, place);
    low.push_back({at, static_cast<double>(place.audioAhead.least)});
    high.push_back({at, static_cast<double>(place.audioAhead.greatest)});
    all.Add(place.audioAhead.least);
    all.Add(place.audioAhead.greatest);
  }
  if (!all.any()) return "";
  const auto least = static_cast<double>(all.least), greatest = static_cast<double>(all.greatest);
  const std::string words = Element("b", "Audio against video") +
                            ": as the file is read, audio is between " + AheadText(least) +
                            " and " + AheadText(greatest) +
                            " of video. A player must hold back so much.";
  Chart chart(PositionAxis(gathered), DistanceAxis(least, greatest));
  chart.AddBand({low}, {high}, "audio");
  chart.AddLine({low}, "audio");
  chart.AddLine({high}, "audio");
  chart.AddRule(0, "video");
  return Figure("ahead", words, "", chart.Svg("ahead"));
}

struct PlacedStream {
  std::string name;
  std::string style;
  std::vector<Point> points;
};

// The first of each kind have a line each.
std::vector<PlacedStream> PlacedStreams(const Gathered& gathered) {
  static constexpr const char* kDashes[] = {"", " dash1", " dash2", " dash3"};
  std::vector<PlacedStream> placed;
  for (const auto& [number, stream] : gathered.measures.streams()) {
    if (!stream.times.any() || placed.size() == std::size(kDashes)) continue;
    const bool isVideo = stream.kind == qo_host::StreamKind::kVideo;
    const bool isAudio = stream.kind == qo_host::StreamKind::kAudio;
    PlacedStream line{
        "Stream " + std::to_string(number) + ", " + qo_host::StreamKindName(stream.kind),
        std::string(isVideo   ? "video"
                    : isAudio ? "audio"
                              : "other") +
            kDashes[placed.size()],
        {}};
    for (std::size_t i = 0; i < stream.timesAt.size(); ++i) {
      if (!stream.timesAt[i].any()) continue;
      line.points.push_back({PositionOf(gathered, gathered.measures.places()[i]),
                             static_cast<double>(stream.timesAt[i].greatest)});
    }
    placed.push_back(std::move(line));
  }
  return placed;
}

std::string LegendOf(const std::vector<PlacedStream>& streams) {
  std::string items;
  for (const PlacedStream& stream : streams) {
    items += Element("li", "<svg aria-hidden=\"true\"><path class=\"line " + stream.style +
                               "\" d=\"M0 6L28 6\"/></svg>" + stream.name);
  }
  return Element("ul", items, "class=\"legend\"");
}

std::string TimesFigure(const Gathered& gathered) {
  const std::vector<PlacedStream> streams = PlacedStreams(gathered);
  if (streams.empty()) return "";
  double endMs = 0;
  for (const auto& [number, stream] : gathered.measures.streams()) {
    endMs = std::max(endMs, static_cast<double>(stream.times.greatest));
  }
  Axis times = TimeAxis(endMs);
  // Upright, half of the ticks have room.
  std::vector<Tick> kept;
  for (std::size_t i = 0; i < times.ticks.size(); i += 2) kept.push_back(times.ticks[i]);
  times.ticks = kept;
  Chart chart(PositionAxis(gathered), times);
  for (const PlacedStream& stream : streams) chart.AddLine({stream.points}, stream.style.c_str());
  const std::string words =
      Element("b", "Times in the file") +
      ": the presentation time that each stream has reached at each "
      "place of the file" +
      (streams.size() == 1 ? ". An even file gives a straight line."
                           : ". An even file gives straight lines that lie close.");
  return Figure("times", words, LegendOf(streams), chart.Svg("times"));
}

std::string CellWords(const Place& place, double fill) {
  std::string words = "packets " + std::to_string(place.first);
  if (place.packets > 1) words += " to " + std::to_string(place.first + place.packets - 1);
  if (place.packets == 0) return "from packet " + std::to_string(place.first) + ": not in the file";
  if (place.bytes != 0) words += ": " + std::to_string(std::lround(fill * 100)) + " % full";
  if (place.damaged != 0) words += ", " + std::to_string(place.damaged) + " damaged";
  return words;
}

std::string Rectangle(const char* style, double top, double height) {
  char text[96];
  std::snprintf(text, sizeof text, "<rect class=\"%s\" y=\"%.1f\" width=\"9\" height=\"%.1f\"/>",
                style, top, height);
  return text;
}

// Fills from below; a cross where something is damaged.
std::string Cell(const Place& place, std::size_t number) {
  const double fill =
      place.bytes == 0 ? 0
                       : 1 - static_cast<double>(place.padding) / static_cast<double>(place.bytes);
  std::string cell = Element("title", CellWords(place, fill));
  cell += Rectangle(place.packets == 0 ? "gone" : "cell", 0, kFillHeight);
  const double height = fill * kFillHeight;
  if (fill > 0) cell += Rectangle("full", kFillHeight - height, height);
  if (place.damaged != 0) cell += kCross;
  const std::string at = std::to_string(number % kMapColumns * kCellWidth) + " " +
                         std::to_string(number / kMapColumns * kCellHeight);
  return Element("g", cell, "transform=\"translate(" + at + ")\"");
}

std::string MapWords(const Gathered& gathered) {
  const Measures& measures = gathered.measures;
  double bytes = 0, padding = 0;
  for (const Place& place : measures.places()) {
    bytes += static_cast<double>(place.bytes);
    padding += static_cast<double>(place.padding);
  }
  std::string words = Grouped(measures.packets()) + " packets";
  if (bytes > 0) {
    words += ", " + std::to_string(std::lround((1 - padding / bytes) * 100)) + " % full on average";
  }
  words += ". " + (measures.damaged() == 0 ? "None" : Grouped(measures.damaged())) + " damaged";
  const unsigned long long missing = gathered.extent.stated - gathered.extent.count;
  if (missing != 0) words += ", " + Grouped(missing) + " stated are not in the file";
  if (measures.withoutErrorCorrection() != 0) {
    words += ", " + Grouped(measures.withoutErrorCorrection()) + " without error correction data";
  }
  return words + ".";
}

std::string MapLegend(const Gathered& gathered) {
  const unsigned long long cells = gathered.measures.places().size();
  const unsigned long long packets = (gathered.extent.stated + cells / 2) / cells;
  const std::string stretch =
      packets == 1 ? "a packet, filled as it is"
                   : "a stretch of some " + Grouped(packets) + " packets, filled as they are";
  const std::pair<std::string, std::string> items[] = {
      {Rectangle("cell", 0, kFillHeight) + Rectangle("full", 2, kFillHeight - 2), stretch},
      {Rectangle("cell", 0, kFillHeight) + kCross, "damaged packets in it"},
      {Rectangle("gone", 0, kFillHeight), "not in the file"}};
  std::string list;
  for (const auto& [drawing, words] : items) {
    list +=
        Element("li", Element("svg", drawing, "aria-hidden=\"true\" viewBox=\"0 0 9 6\"") + words);
  }
  return Element("ul", list, "class=\"legend\"");
}

std::string DamagedTable(const Measures& measures) {
  if (measures.damaged() == 0) return "";
  Rows rows;
  for (const DamagedPacket& packet : measures.damagedList()) {
    const bool isRead = packet.fault == qo_host::PacketFault::kNone;
    rows.push_back({Grouped(packet.number),
                    isRead ? "its parts do not fit together" : FaultText(packet.fault)});
  }
  std::string table = Table({"Damaged packet", "What is wrong"}, rows);
  if (measures.damaged() > measures.damagedList().size()) {
    table += Element("p",
                     "The first " + std::to_string(measures.damagedList().size()) + " of " +
                         Grouped(measures.damaged()) + ".",
                     "class=\"dim\"");
  }
  return table;
}

}  // namespace

std::string InterleaveSection(const Gathered& gathered) {
  return Section("Interleave", DistanceFigure(gathered) + TimesFigure(gathered));
}

std::string PacketSection(const Gathered& gathered) {
  const Measures& measures = gathered.measures;
  if (measures.packets() == 0) return "";
  std::string cells;
  for (std::size_t i = 0; i < measures.places().size(); ++i) cells += Cell(measures.places()[i], i);
  const std::size_t rows = (measures.places().size() - 1) / kMapColumns + 1;
  const std::string box = "viewBox=\"0 0 " + std::to_string(kMapColumns * kCellWidth - 1) + " " +
                          std::to_string(rows * kCellHeight - 1) + "\"";
  const std::string map =
      Element("svg", cells, "class=\"map\" role=\"img\" aria-labelledby=\"map\" " + box);
  return Section("Packets", Figure("map", MapWords(gathered), MapLegend(gathered), map) +
                                DamagedTable(measures));
}

}  // namespace tool
