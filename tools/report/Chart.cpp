// Chart: two layers, of which the lower one is stretched to the page's width.
#include "tools/report/Chart.h"

#include <cstdio>
#include <utility>

#include "tools/report/Html.h"

namespace tool {
namespace {

// Pixels; of the stretched layer's width thousandths.
constexpr double kTop = 16;
constexpr double kPlotHeight = 150;
constexpr double kHeight = 192;
constexpr double kWidth = 1000;

std::string Fixed(double value) {
  char text[48];
  std::snprintf(text, sizeof text, "%.1f", value);
  return text;
}

std::string Percent(double share) {
  char text[48];
  std::snprintf(text, sizeof text, "%.2f%%", share * 100);
  return text;
}

std::string GridLine(const std::string& y) {
  return "<line class=\"grid\" x1=\"0\" x2=\"100%\" y1=\"" + y + "\" y2=\"" + y + "\"/>";
}

std::string UprightLabel(double y, const std::string& label) {
  return "<text x=\"-6\" y=\"" + Fixed(y + 4) + "\" text-anchor=\"end\">" + Escaped(label) +
         "</text>";
}

// `style` is " wide" for one that a narrow page leaves out; otherwise empty.
std::string LevelTick(double share, const std::string& label, const std::string& style) {
  const char* const anchor = share < 0.02 ? "start" : share > 0.95 ? "end" : "middle";
  const std::string x = Percent(share);
  const double y = kTop + kPlotHeight;
  return "<line class=\"tick" + style + "\" x1=\"" + x + "\" x2=\"" + x + "\" y1=\"" + Fixed(y) +
         "\" y2=\"" + Fixed(y + 5) + "\"/><text class=\"at" + style + "\" x=\"" + x + "\" y=\"" +
         Fixed(y + 19) + "\" text-anchor=\"" + anchor + "\">" + Escaped(label) + "</text>";
}

}  // namespace

Chart::Chart(Axis x, Axis y) : x_(std::move(x)), y_(std::move(y)) {}

double Chart::X(const Point& point) const { return x_.Share(point.x) * kWidth; }

double Chart::Y(double y) const { return kTop + (1 - y_.Share(y)) * kPlotHeight; }

std::string Chart::Joined(const std::vector<Point>& points) const {
  std::string path;
  for (const Point& point : points) {
    path += (path.empty() ? "M" : "L") + Fixed(X(point)) + " " + Fixed(Y(point.y));
  }
  return path;
}

void Chart::AddArea(const Parts& parts, const char* style) {
  std::string path;
  for (const std::vector<Point>& part : parts) {
    if (part.empty()) continue;
    path += "M" + Fixed(X(part.front())) + " " + Fixed(Y(0));
    for (const Point& point : part) path += "L" + Fixed(X(point)) + " " + Fixed(Y(point.y));
    path += "L" + Fixed(X(part.back())) + " " + Fixed(Y(0)) + "Z";
  }
  drawn_ += "<path class=\"area " + std::string(style) + "\" d=\"" + path + "\"/>";
}

void Chart::AddLine(const Parts& parts, const char* style) {
  std::string path;
  for (const std::vector<Point>& part : parts) path += Joined(part);
  drawn_ += "<path class=\"line " + std::string(style) + "\" d=\"" + path + "\"/>";
}

void Chart::AddBand(const Parts& low, const Parts& high, const char* style) {
  std::string path;
  for (std::size_t i = 0; i < low.size() && i < high.size(); ++i) {
    path += Joined(high[i]);
    for (std::size_t k = low[i].size(); k-- > 0;) {
      path += "L" + Fixed(X(low[i][k])) + " " + Fixed(Y(low[i][k].y));
    }
    path += "Z";
  }
  drawn_ += "<path class=\"band " + std::string(style) + "\" d=\"" + path + "\"/>";
}

void Chart::AddMark(const Point& point, const char* shape, const char* style,
                    const std::string& tooltip) {
  written_ += "<use href=\"#" + std::string(shape) + "\" class=\"" + style + "\" x=\"" +
              Percent(x_.Share(point.x)) + "\" y=\"" + Fixed(Y(point.y)) + "\">" +
              Element("title", Escaped(tooltip)) + "</use>";
}

void Chart::AddRule(double y, const std::string& text) {
  const std::string at = Fixed(Y(y));
  drawn_ += "<path class=\"rule\" d=\"M0 " + at + "L" + Fixed(kWidth) + " " + at + "\"/>";
  written_ += "<text class=\"halo\" x=\"100%\" y=\"" + Fixed(Y(y) - 4) + "\" text-anchor=\"end\">" +
              Escaped(text) + "</text>";
}

std::string Chart::Grid() const {
  std::string lines;
  for (const Tick& tick : y_.ticks) lines += GridLine(Fixed(Y(tick.at)));
  return lines;
}

std::string Chart::Labels() const {
  std::string text;
  for (const Tick& tick : y_.ticks) text += UprightLabel(Y(tick.at), tick.label);
  bool isEven = true;
  for (const Tick& tick : x_.ticks) {
    text += LevelTick(x_.Share(tick.at), tick.label, isEven ? "" : " wide");
    isEven = !isEven;
  }
  return text;
}

std::string Chart::Svg(const std::string& label) const {
  const std::string box = "0 0 " + Fixed(kWidth) + " " + Fixed(kHeight);
  return "<svg class=\"chart\" role=\"img\" aria-labelledby=\"" + label + "\" height=\"" +
         Fixed(kHeight) + "\">" + Grid() + "<svg width=\"100%\" height=\"" + Fixed(kHeight) +
         "\" viewBox=\"" + box + "\" preserveAspectRatio=\"none\">" + drawn_ + "</svg>" + Labels() +
         written_ + "</svg>\n";
}

}  // namespace tool
