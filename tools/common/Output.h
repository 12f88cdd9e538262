// What asftool prints: text with or without emphasis, the progress bar.
#ifndef QO_TOOLS_COMMON_OUTPUT_H
#define QO_TOOLS_COMMON_OUTPUT_H

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>

#include "qo_host/ParserSession.h"

namespace tool {

// How text stands out: bold, or in the colour of a verdict.
enum class Style { kBold, kGood, kWarning, kBad };

// `text` in a style where `stream` is a terminal that knows any and NO_COLOR is not set;
// as it is elsewhere.
std::string Styled(const std::string& text, Style style, std::FILE* stream);
std::string Bold(const std::string& text, std::FILE* stream);

// Text from the file, for a terminal: control characters, which a terminal would
// obey, become U+FFFD.
std::string Printable(const std::string& text);

// "1:02:03.456", hours only where there are any.
std::string TimeText(unsigned long long ms);

// "1 unit", "3 units".
std::string Count(unsigned long long number, const char* noun);

// `size` bytes at `data` as hexadecimal digits.
std::string HexText(const unsigned char* data, std::size_t size);

// The MD5 sum of `size` bytes at `data` as 32 hexadecimal digits.
std::string Md5Text(const unsigned char* data, std::size_t size);

// "Windows Media Video 8 (107), 128x96" or "..., 22050 Hz, 1 channel".
std::string TrackText(const qo_host::Track& track);

// Writes all of `text` to the standard output, or throws Failure(kExitCannotRun).
void Print(const std::string& text);
// Throws Failure(kExitCannotRun) when something printed has not arrived.
void FlushOutput();

// Throws Failure(kExitCannotRun) when what is printed has lost its reader, as in
// `asftool seek --sweep 10000 FILE | head -1`: for work that takes long between two lines.
void CheckReader();

// A bar on stderr with rate and time left, when that is a terminal and the work takes
// longer than a second; nothing otherwise.
class ProgressBar {
 public:
  // What is counted.
  enum class Measure { kPlayTimeMs, kBytes, kPackets };

  explicit ProgressBar(Measure measure = Measure::kPlayTimeMs);
  // Wipes the bar.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // Whether anybody sees it.
  bool isVisible() const { return visible_; }
  // Shows that `done` of `total` is done; cheap enough to call for every unit. `note` (not
  // null) stands behind it.
  void Show(unsigned long long done, unsigned long long total, const char* note = "");
  // Takes the bar away until it is shown again: in front of what is printed meanwhile.
  void Wipe();

 private:
  using Clock = std::chrono::steady_clock;
  std::string RateText(double perSecond) const;

  const Measure measure_;
  const bool visible_;
  bool drawn_ = false;
  const Clock::time_point start_ = Clock::now();
  Clock::time_point next_;
};

}  // namespace tool

#endif  // QO_TOOLS_COMMON_OUTPUT_H
