// The axes of a chart: how far they reach, and where what is written at them.
#ifndef QO_TOOLS_REPORT_AXIS_H
#define QO_TOOLS_REPORT_AXIS_H

#include <string>
#include <vector>

namespace tool {

struct Tick {
  double at;
  std::string label;
};

// From `from` to a greater `to`; `ticks` lie between them.
struct Axis {
  double from;
  double to;
  std::vector<Tick> ticks;

  // 0 at `from`, 1 at `to`; what lies beyond is brought there.
  double Share(double value) const;
};

// Ms, from 0 to `endMs`, which is written as a clock shows it.
Axis TimeAxis(double endMs);
// Bytes of a file, the same.
Axis FileAxis(double endBytes);
// Bits per second, from 0 to at least `most`.
Axis BitrateAxis(double most);
// Ms as seconds or milliseconds, from at most `least` to at least `most`, with 0 in between.
Axis DistanceAxis(double least, double most);

std::string DecimalText(double value);          // up to two decimals, those that say something
std::string BitrateText(double bitsPerSecond);  // "1.25 Mbit/s"
std::string SizeText(double bytes);             // "345.6 MB"
std::string DistanceText(double ms);            // "-1.2 s", "40 ms"

}  // namespace tool

#endif  // QO_TOOLS_REPORT_AXIS_H
