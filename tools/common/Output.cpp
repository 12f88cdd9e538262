// Formatting and printing. Owns nothing but the progress bar's line on stderr.
#include "tools/common/Output.h"

#include <nettle/md5.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "qo_host/CodecNames.h"
#include "tools/common/Tool.h"

namespace tool {
namespace {

constexpr int kBarWidth = 24;
constexpr std::chrono::milliseconds kBarInterval{100};
constexpr std::chrono::seconds kBarPatience{1};  // before there is one

[[noreturn]] void ThrowOutputFailure() {
  throw Failure(kExitCannotRun, std::string("standard output: ") + std::strerror(errno));
}

}  // namespace

std::string Styled(const std::string& text, Style style, std::FILE* stream) {
  static constexpr const char* kCodes[] = {"1", "1;32", "1;33", "1;31"};
  const char* const noColor = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  const bool isPlain = (noColor && *noColor) || !terminal || std::strcmp(terminal, "dumb") == 0;
  if (isPlain || !isatty(fileno(stream))) return text;
  return std::string("\x1b[") + kCodes[static_cast<int>(style)] + "m" + text + "\x1b[0m";
}

std::string Bold(const std::string& text, std::FILE* stream) {
  return Styled(text, Style::kBold, stream);
}

std::string Printable(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    const bool isC1 = c == 0xC2 && i + 1 < text.size() &&
                      static_cast<unsigned char>(text[i + 1]) < 0xA0;  // U+0080 to U+009F
    if (c < 0x20 || c == 0x7F || isC1) {
      out += "\uFFFD";
      if (isC1) ++i;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string TimeText(unsigned long long ms) {
  const unsigned long long hours = ms / 3600000, minutes = ms / 60000 % 60;
  const unsigned long long seconds = ms / 1000 % 60, rest = ms % 1000;
  char text[48];
  if (hours > 0) {
    std::snprintf(text, sizeof text, "%llu:%02llu:%02llu.%03llu", hours, minutes, seconds, rest);
  } else {
    std::snprintf(text, sizeof text, "%llu:%02llu.%03llu", minutes, seconds, rest);
  }
  return text;
}

std::string Count(unsigned long long number, const char* noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string HexText(const unsigned char* data, std::size_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text(2 * size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    text[2 * i] = kDigits[data[i] >> 4];
    text[2 * i + 1] = kDigits[data[i] & 15];
  }
  return text;
}

std::string Md5Text(const unsigned char* data, std::size_t size) {
  md5_ctx context;
  unsigned char digest[MD5_DIGEST_SIZE];
  md5_init(&context);
  md5_update(&context, size, data);
  md5_digest(&context, sizeof digest, digest);
  return HexText(digest, sizeof digest);
}

std::string TrackText(const qo_host::Track& track) {
  const TrackInfo& info = track.info;
  std::string text =
      std::string(qo_host::CodecName(info.codec)) + " (" + std::to_string(info.codec) + "), ";
  if (track.kind == qo_host::TrackKind::kVideo) {
    return text + std::to_string(info.value1) + "x" + std::to_string(info.value2);
  }
  return text + std::to_string(info.value2) + " Hz, " + Count(info.value1, "channel");
}

void Print(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) ThrowOutputFailure();
}

void FlushOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) ThrowOutputFailure();
}

void CheckReader() {
  pollfd output{STDOUT_FILENO, 0, 0};
  if (poll(&output, 1, 0) != 1 || (output.revents & POLLERR) == 0) return;
  errno = EPIPE;
  ThrowOutputFailure();
}

ProgressBar::ProgressBar(Measure measure)
    : measure_(measure), visible_(isatty(STDERR_FILENO) == 1), next_(start_ + kBarPatience) {}

ProgressBar::~ProgressBar() { Wipe(); }

void ProgressBar::Wipe() {
  if (drawn_) std::fputs("\r\x1b[K", stderr);
  drawn_ = false;
}

std::string ProgressBar::RateText(double perSecond) const {
  char text[48];
  switch (measure_) {
    case Measure::kPlayTimeMs:
      std::snprintf(text, sizeof text, "%.0fx", perSecond / 1e3);
      break;
    case Measure::kBytes:
      std::snprintf(text, sizeof text, "%.1f MB/s", perSecond / 1e6);
      break;
    case Measure::kPackets:
      std::snprintf(text, sizeof text, "%.0f packets/s", perSecond);
      break;
  }
  return text;
}

void ProgressBar::Show(unsigned long long done, unsigned long long total, const char* note) {
  if (!visible_ || total == 0) return;
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + kBarInterval;
  drawn_ = true;
  const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
  std::string bar(static_cast<std::size_t>(share * kBarWidth), '#');
  bar.resize(kBarWidth, '.');
  const double seconds = std::chrono::duration<double>(now - start_).count();
  std::string text = RateText(static_cast<double>(done) / seconds);
  if (done > 0) {
    const long long left = std::llround(seconds / share - seconds);
    const std::string time = TimeText(static_cast<unsigned long long>(left) * 1000);
    text += "  " + time.substr(0, time.size() - 4) + " left";
  }
  std::fprintf(stderr, "\r[%s] %3d %%  %s  %s\x1b[K", bar.c_str(), static_cast<int>(share * 100),
               text.c_str(), note);
}

}  // namespace tool
