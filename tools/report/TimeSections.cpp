// What changes over the presentation's time: bit rates, key frames.
#include <algorithm>
#include <cmath>

#include "qo_host/StreamKind.h"
#include "tools/common/Output.h"
#include "tools/report/Chart.h"
#include "tools/report/Html.h"
#include "tools/report/Page.h"
#include "tools/report/Sections.h"

namespace tool {
namespace {

constexpr std::size_t kStreamsDrawn = 8;
constexpr std::size_t kRowsOfNumbers = 24;

using NumberedStream = std::pair<unsigned char, const StreamMeasure*>;

const char* StyleOf(qo_host::StreamKind kind) {
  if (kind == qo_host::StreamKind::kVideo) return "video";
  return kind == qo_host::StreamKind::kAudio ? "audio" : "other";
}

std::string NameOf(const NumberedStream& stream) {
  return "Stream " + std::to_string(stream.first) + ", " +
         qo_host::StreamKindName(stream.second->kind);
}

// Those with something in them, the largest where they are too many.
std::vector<NumberedStream> Drawn(const Measures& measures) {
  std::vector<NumberedStream> streams;
  for (const auto& [number, stream] : measures.streams()) {
    if (stream.times.any()) streams.emplace_back(number, &stream);
  }
  const auto isLarger = [](const NumberedStream& a, const NumberedStream& b) {
    return a.second->bytes > b.second->bytes;
  };
  std::stable_sort(streams.begin(), streams.end(), isLarger);
  streams.resize(std::min(streams.size(), kStreamsDrawn));
  std::sort(streams.begin(), streams.end());
  return streams;
}

double EndMs(const Measures& measures) {
  long long endMs = 0;
  for (const auto& [number, stream] : measures.streams()) {
    endMs = std::max(endMs, stream.times.greatest);
  }
  return static_cast<double>(endMs);
}

// Ms from the first object to the end of the last, which lasts as long as others do.
double LengthMs(const StreamMeasure& stream) {
  const auto betweenMs = static_cast<double>(stream.times.greatest - stream.times.least);
  return betweenMs +
         std::max(betweenMs / static_cast<double>(std::max(stream.objects, 2ull) - 1), 1.0);
}

// So many bins of time at once that a stream of few objects does not fall to nothing between
// them, and that of a file of usual length a second goes together.
std::size_t BinsAtOnce(const StreamMeasure& stream, long long binMs) {
  const double objectMs = LengthMs(stream) / static_cast<double>(std::max(stream.objects, 1ull));
  const double wishedMs = std::max(2 * objectMs, std::min(LengthMs(stream) / 24, 1000.0));
  return static_cast<std::size_t>(std::ceil(wishedMs / static_cast<double>(binMs)));
}

// Bits per second as steps.
std::vector<Point> Steps(const StreamMeasure& stream, long long binMs) {
  const std::size_t atOnce = BinsAtOnce(stream, binMs);
  const auto width = static_cast<double>(static_cast<long long>(atOnce) * binMs);
  const double endMs = static_cast<double>(stream.times.least) + LengthMs(stream);
  std::vector<Point> steps;
  for (std::size_t bin = 0; bin < Measures::kBins; bin += atOnce) {
    const double fromMs = static_cast<double>(bin) * static_cast<double>(binMs);
    if (fromMs >= endMs) break;
    double bytes = 0;
    for (std::size_t i = bin; i < std::min(bin + atOnce, Measures::kBins); ++i) {
      bytes += static_cast<double>(stream.bytesOver[i]);
    }
    // The end of a stream mostly lies within a bin.
    const double coveredMs = std::clamp(endMs - fromMs, width / 4, width);
    steps.push_back({fromMs, bytes * 8000 / coveredMs});
    steps.push_back({std::min(fromMs + width, endMs), bytes * 8000 / coveredMs});
  }
  return steps;
}

const Point& Highest(const std::vector<Point>& points) {
  return *std::max_element(points.begin(), points.end(),
                           [](const Point& a, const Point& b) { return a.y < b.y; });
}

std::string ClockAt(double ms) { return TimeText(static_cast<unsigned long long>(ms)); }

// The same bins, fewer of them, for whom a picture tells nothing.
std::string BitrateNumbers(const StreamMeasure& stream, long long binMs) {
  const long long used = stream.times.greatest / binMs + 1;
  const auto bins = static_cast<std::size_t>(used);
  const std::size_t atOnce = (bins - 1) / kRowsOfNumbers + 1;
  Rows rows;
  for (std::size_t bin = 0; bin < bins; bin += atOnce) {
    unsigned long long bytes = 0;
    for (std::size_t i = bin; i < std::min(bin + atOnce, bins); ++i) bytes += stream.bytesOver[i];
    rows.push_back(
        {ClockAt(static_cast<double>(bin) * static_cast<double>(binMs)), Grouped(bytes)});
  }
  return Folded("In numbers", Table({"From", "Bytes"}, rows));
}

std::string BitrateFigure(const NumberedStream& numbered, const Measures& measures) {
  const StreamMeasure& stream = *numbered.second;
  const std::vector<Point> steps = Steps(stream, measures.binMs());
  const Point& peak = Highest(steps);
  const double mean =
      static_cast<double>(stream.bytes - stream.astrayBytes) * 8000 / LengthMs(stream);
  const auto overMs = static_cast<double>(measures.binMs()) *
                      static_cast<double>(BinsAtOnce(stream, measures.binMs()));
  std::string words = Element("b", NameOf(numbered)) + ": " + BitrateText(mean) +
                      " on average; over " + DistanceText(overMs) + " at most " +
                      BitrateText(peak.y) + ", at " + ClockAt(peak.x) + ".";
  if (stream.astrayBytes != 0) {
    words +=
        " " + Grouped(stream.astrayBytes) + " bytes at times that cannot be right are left out.";
  }
  Chart chart(TimeAxis(EndMs(measures)), BitrateAxis(peak.y));
  chart.AddArea({steps}, StyleOf(stream.kind));
  const std::string name = "bitrate-" + std::to_string(numbered.first);
  return Figure(name, words, "", chart.Svg(name) + BitrateNumbers(stream, measures.binMs()));
}

// Of the bins of time, those in which a key frame comes after another.
std::vector<Point> Distances(const StreamMeasure& stream, long long binMs) {
  std::vector<Point> points;
  for (std::size_t bin = 0; bin < Measures::kBins; ++bin) {
    const long long longest = stream.longestKeyDistanceOver[bin];
    if (longest == 0) continue;
    const double fromMs = static_cast<double>(bin) * static_cast<double>(binMs);
    points.push_back({fromMs + static_cast<double>(binMs) / 2, static_cast<double>(longest)});
  }
  return points;
}

std::string KeyFrameFigure(const NumberedStream& numbered, const Measures& measures) {
  const StreamMeasure& stream = *numbered.second;
  const std::string name = "keys-" + std::to_string(numbered.first);
  std::string words = Element("b", NameOf(numbered)) + ": ";
  if (stream.keyDistances == 0) {
    words += stream.keyFrames == 0 ? "no object is flagged as a key frame: nothing to seek to."
                                   : "a single key frame, at " +
                                         ClockAt(static_cast<double>(*stream.lastKeyMs)) + ".";
    return Element("p", words, "id=\"" + name + "\"");
  }
  const double mean =
      static_cast<double>(stream.keyDistanceSumMs) / static_cast<double>(stream.keyDistances);
  const auto longest = static_cast<double>(stream.longestKeyDistanceMs);
  words += Grouped(stream.keyFrames) + " key frames of " + Grouped(stream.objects) + " objects, " +
           Escaped(DistanceText(mean)) + " apart on average, at most " +
           Escaped(DistanceText(longest)) + ". Shown is the longest distance from one to the next.";
  Chart chart(TimeAxis(EndMs(measures)), DistanceAxis(0, longest));
  chart.AddRule(mean, "average");
  Parts stems;
  for (const Point& point : Distances(stream, measures.binMs())) {
    stems.push_back({{point.x, 0}, point});
  }
  chart.AddLine(stems, StyleOf(stream.kind));
  return Figure(name, words, "", chart.Svg(name));
}

}  // namespace

std::string BitrateSection(const Gathered& gathered) {
  const Measures& measures = gathered.measures;
  std::string figures;
  for (const NumberedStream& stream : Drawn(measures)) figures += BitrateFigure(stream, measures);
  if (measures.undescribedBytes() != 0) {
    figures += Element("p", Grouped(measures.undescribedBytes()) +
                                " bytes belong to streams that the header does not describe.");
  }
  return Section("Bit rate over time", figures);
}

std::string KeyFrameSection(const Gathered& gathered) {
  std::string figures;
  for (const NumberedStream& stream : Drawn(gathered.measures)) {
    if (stream.second->kind == qo_host::StreamKind::kVideo) {
      figures += KeyFrameFigure(stream, gathered.measures);
    }
  }
  return Section("Key frames", figures);
}

}  // namespace tool
