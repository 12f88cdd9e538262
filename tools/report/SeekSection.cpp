// Where seeks land, against where they should.
#include <algorithm>

#include "tools/common/Output.h"
#include "tools/report/Chart.h"
#include "tools/report/Html.h"
#include "tools/report/Page.h"
#include "tools/report/Sections.h"

namespace tool {
namespace {

double Distance(long long timeMs, const SurveyedSeek& seek) {
  return static_cast<double>(timeMs) - static_cast<double>(seek.targetMs);
}

bool IsRight(const SurveyedSeek& seek) { return seek.landedMs && seek.landedMs == seek.shouldMs; }

std::string ModeWords(const SurveyedMode& mode) {
  unsigned int right = 0, earlier = 0, later = 0, missed = 0;
  for (const SurveyedSeek& seek : mode.seeks) {
    if (!seek.landedMs) {
      ++missed;
    } else if (IsRight(seek)) {
      ++right;
    } else {
      ++(seek.landedMs < seek.shouldMs ? earlier : later);
    }
  }
  std::string words = Element("b", std::string("Mode \u201C") + mode.name + "\u201D") + ": " +
                      mode.should + ". Of " + std::to_string(mode.seeks.size()) + " seeks " +
                      std::to_string(right) + " land there";
  if (earlier != 0) words += ", " + std::to_string(earlier) + " earlier";
  if (later != 0) words += ", " + std::to_string(later) + " later";
  if (missed != 0) words += ", " + std::to_string(missed) + " nowhere";
  return words + ".";
}

std::string TimeOr(const std::optional<long long>& timeMs, const char* otherwise) {
  return timeMs ? TimeText(static_cast<unsigned long long>(*timeMs)) : otherwise;
}

std::string Tooltip(const SurveyedSeek& seek) {
  return "to " + TimeText(seek.targetMs) + ", should land at " + TimeOr(seek.shouldMs, "no place") +
         ", landed at " + TimeOr(seek.landedMs, "no place");
}

std::string ModeNumbers(const SurveyedMode& mode) {
  Rows rows;
  for (const SurveyedSeek& seek : mode.seeks) {
    rows.push_back({TimeText(seek.targetMs), TimeOr(seek.shouldMs, "nowhere"),
                    TimeOr(seek.landedMs, "nowhere"), Grouped(seek.probes)});
  }
  return Folded("In numbers", Table({"Target", "Should land", "Landed", "Packets probed"}, rows));
}

std::string ModeFigure(const SurveyedMode& mode, double endMs) {
  double least = 0, greatest = 0;
  for (const SurveyedSeek& seek : mode.seeks) {
    for (const std::optional<long long>& timeMs : {seek.shouldMs, seek.landedMs}) {
      if (!timeMs) continue;
      least = std::min(least, Distance(*timeMs, seek));
      greatest = std::max(greatest, Distance(*timeMs, seek));
    }
  }
  Chart chart(TimeAxis(endMs), DistanceAxis(least, greatest));
  chart.AddRule(0, "target");
  for (const SurveyedSeek& seek : mode.seeks) {
    const auto x = static_cast<double>(seek.targetMs);
    if (seek.shouldMs)
      chart.AddMark({x, Distance(*seek.shouldMs, seek)}, "ring", "should", Tooltip(seek));
    if (!seek.landedMs) continue;
    const bool isRight = IsRight(seek);
    chart.AddMark({x, Distance(*seek.landedMs, seek)}, isRight ? "dot" : "cross",
                  isRight ? "hit" : "miss", Tooltip(seek));
  }
  const std::string name = std::string("seek-") + mode.name;
  return Figure(name, ModeWords(mode), "", chart.Svg(name) + ModeNumbers(mode));
}

std::string LegendItem(const char* shape, const char* style, const char* words) {
  return Element("li", "<svg aria-hidden=\"true\"><use href=\"#" + std::string(shape) +
                           "\" class=\"" + style + "\" x=\"14\" y=\"6\"/></svg>" + words);
}

}  // namespace

std::string SeekSection(const Gathered& gathered) {
  if (gathered.seeks.empty()) return "";
  const auto endMs = static_cast<double>(gathered.input->session().durationMs());
  const std::string legend = Element("ul",
                                     LegendItem("ring", "should", "where the seek should land") +
                                         LegendItem("dot", "hit", "landed there") +
                                         LegendItem("cross", "miss", "landed elsewhere"),
                                     "class=\"legend\"");
  std::string figures =
      Element("p", "Seeks to times all over the file, and how far from the target they land.") +
      legend;
  for (const SurveyedMode& mode : gathered.seeks) figures += ModeFigure(mode, endMs);
  return Section("Seeking", figures);
}

}  // namespace tool
