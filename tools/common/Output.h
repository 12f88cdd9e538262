// What asftool prints: text with or without emphasis, the progress bar.
#ifndef QO_TOOLS_COMMON_OUTPUT_H
#define QO_TOOLS_COMMON_OUTPUT_H

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>

#include "qo_host/ParserSession.h"

namespace tool {

// `text` in bold where `stream` is a terminal and NO_COLOR is not set; as it is
// elsewhere.
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

// A bar on stderr, when that is a terminal; nothing otherwise.
class ProgressBar {
 public:
  ProgressBar();
  // Wipes the bar.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // Shows that `done` of `total` is done; cheap enough to call for every unit.
  void Show(unsigned long long done, unsigned long long total);

 private:
  const bool visible_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point next_{};
};

}  // namespace tool

#endif  // QO_TOOLS_COMMON_OUTPUT_H
