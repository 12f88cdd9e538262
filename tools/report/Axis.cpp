// Axis: ticks at round numbers. No state.
#include "tools/report/Axis.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tool {
namespace {

constexpr int kTimeTicks = 8;   // at most
constexpr int kValueTicks = 4;  // about

struct Unit {
  double size;
  const char* name;
};

// `units` from the largest down.
template <std::size_t kCount>
std::string InUnits(double value, const Unit (&units)[kCount]) {
  if (value == 0) return "0";
  const Unit* const last = units + kCount - 1;
  const Unit* const unit = std::find_if(
      units, last, [&](const Unit& candidate) { return std::abs(value) >= candidate.size; });
  return DecimalText(value / unit->size) + "\u00A0" + unit->name;
}

// 1, 2 or 5 times a power of ten: the least such that at most `count` fit into `range`.
double RoundStep(double range, int count) {
  const double rough = range / count;
  const double power = std::pow(10, std::floor(std::log10(rough)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= rough * 0.999) return factor * power;
  }
  return 10 * power;
}

double TimeStep(double endMs) {
  for (const double seconds :
       {0.1,    0.2,     0.5,     1.0,     2.0,     5.0,      10.0,    15.0,
        30.0,   60.0,    120.0,   300.0,   600.0,   900.0,    1800.0,  3600.0,
        7200.0, 10800.0, 21600.0, 43200.0, 86400.0, 172800.0, 432000.0}) {
    if (endMs / (seconds * 1000) <= kTimeTicks) return seconds * 1000;
  }
  return RoundStep(endMs, kTimeTicks);
}

// "1:30:00", "2:05", "3.5 s".
std::string ClockText(double ms, double stepMs) {
  if (stepMs < 1000) return DecimalText(ms / 1000) + "\u00A0s";
  const long long seconds = std::llround(ms / 1000);
  char text[64];
  if (seconds >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", seconds / 60, seconds % 60);
  }
  return text;
}

// At each multiple of `step`, of which `axis->from` is one.
template <typename Text>
void AddTicks(double step, const Text& text, Axis* axis) {
  const long long last = std::llround(std::floor(axis->to / step + 1e-6));
  for (long long k = std::llround(axis->from / step); k <= last; ++k) {
    const double at = static_cast<double>(k) * step;
    axis->ticks.push_back({at, text(at)});
  }
}

template <typename Text>
Axis RoundAxis(double least, double most, const Text& text) {
  const double step = RoundStep(std::max(most - least, 1.0), kValueTicks);
  const double first = std::floor(least / step);
  const double last = std::max(std::ceil(most / step), first + 1);
  Axis axis{first * step, last * step, {}};
  AddTicks(step, text, &axis);
  return axis;
}

}  // namespace

double Axis::Share(double value) const {
  return std::clamp((value - from) / (to - from), 0.0, 1.0);
}

Axis TimeAxis(double endMs) {
  Axis axis{0, std::max(endMs, 1.0), {}};
  const double step = TimeStep(axis.to);
  AddTicks(
      step, [step](double ms) { return ClockText(ms, step); }, &axis);
  return axis;
}

Axis FileAxis(double endBytes) {
  Axis axis{0, std::max(endBytes, 1.0), {}};
  const double step = RoundStep(axis.to, kTimeTicks);
  AddTicks(step, SizeText, &axis);
  return axis;
}

Axis BitrateAxis(double most) { return RoundAxis(0, most, BitrateText); }

Axis DistanceAxis(double least, double most) {
  return RoundAxis(std::min(least, 0.0), std::max(most, 0.0), DistanceText);
}

std::string DecimalText(double value) {
  char text[48];
  std::snprintf(text, sizeof text, "%.*f",
                std::abs(value) < 10    ? 2
                : std::abs(value) < 100 ? 1
                                        : 0,
                value);
  std::string trimmed = text;
  if (trimmed.find('.') == std::string::npos) return trimmed;
  trimmed.erase(trimmed.find_last_not_of('0') + 1);
  if (trimmed.back() == '.') trimmed.pop_back();
  return trimmed == "-0" ? "0" : trimmed;
}

std::string BitrateText(double bitsPerSecond) {
  static constexpr Unit kUnits[] = {{1e6, "Mbit/s"}, {1e3, "kbit/s"}, {1, "bit/s"}};
  return InUnits(bitsPerSecond, kUnits);
}

std::string SizeText(double bytes) {
  static constexpr Unit kUnits[] = {{1e9, "GB"}, {1e6, "MB"}, {1e3, "kB"}, {1, "B"}};
  return InUnits(bytes, kUnits);
}

std::string DistanceText(double ms) {
  static constexpr Unit kUnits[] = {{1e3, "s"}, {1, "ms"}};
  return InUnits(ms, kUnits);
}

}  // namespace tool
