// A chart as SVG. It takes the width that the page gives it: what is drawn stretches, what is
// written keeps its size.
#ifndef QO_TOOLS_REPORT_CHART_H
#define QO_TOOLS_REPORT_CHART_H

#include <string>
#include <vector>

#include "tools/report/Axis.h"

namespace tool {

// In the units of the axes.
struct Point {
  double x, y;
};

// Points that are joined, part by part: between two parts there is a gap.
using Parts = std::vector<std::vector<Point>>;

class Chart {
 public:
  Chart(Axis x, Axis y);

  // `style` is a class of the page's style sheet, as everywhere here.
  void AddArea(const Parts& parts, const char* style);  // down to 0
  void AddLine(const Parts& parts, const char* style);
  // Between two lines of the same points.
  void AddBand(const Parts& low, const Parts& high, const char* style);
  // `shape` is one of the marks that the page defines; `tooltip` is text.
  void AddMark(const Point& point, const char* shape, const char* style,
               const std::string& tooltip);
  // A line across with a text at its right end.
  void AddRule(double y, const std::string& text);

  // The whole <svg>; `label` is the id of the element that tells in words what is seen.
  std::string Svg(const std::string& label) const;

 private:
  double X(const Point& point) const;
  double Y(double y) const;
  std::string Joined(const std::vector<Point>& points) const;
  std::string Grid() const;
  std::string Labels() const;

  const Axis x_, y_;
  std::string drawn_;    // stretches
  std::string written_;  // does not
};

}  // namespace tool

#endif  // QO_TOOLS_REPORT_CHART_H
