// The platform log on systems without liblog: lines on stderr in logcat's brief
// form, "E/ASFParser( 1234): text". Owns no state; any thread may call it.
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/Platform.h"

namespace {

// Bytes. A longer message is cut, as liblog cuts it.
constexpr int kMessageBytes = 1024;
constexpr int kFatalPriority = 7;

char PriorityLetter(int priority) {
  constexpr std::string_view kLetters = "??VDIWEF";
  return priority < 0 || priority > kFatalPriority ? '?'
                                                   : kLetters[static_cast<std::size_t>(priority)];
}

// Writes `message`, each of its lines behind a prefix of its own; the stream is
// locked meanwhile, so that messages of several threads stay whole. Allocates
// nothing: a host may be out of memory when the parser says so.
int WriteLines(int priority, const char* tag, std::string_view message) {
  int written = 0;
  flockfile(stderr);
  do {
    const std::size_t end = message.find('\n');
    const std::string_view line = message.substr(0, end);
    const int result =
        std::fprintf(stderr, "%c/%-8s(%5d): %.*s\n", PriorityLetter(priority), tag ? tag : "",
                     static_cast<int>(getpid()), static_cast<int>(line.size()), line.data());
    written = result < 0 || written < 0 ? -1 : written + result;
    message.remove_prefix(end == message.npos ? message.size() : end + 1);
  } while (!message.empty());
  funlockfile(stderr);
  return written;
}

int Print(int priority, const char* tag, const char* format, std::va_list arguments) {
  char message[kMessageBytes];
  if (std::vsnprintf(message, sizeof(message), format, arguments) < 0) return -1;
  return WriteLines(priority, tag, message);
}

}  // namespace

int __android_log_print(int priority, const char* tag, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int result = Print(priority, tag, format, arguments);
  va_end(arguments);
  return result;
}

void __android_log_assert(const char* condition, const char* tag, const char* format, ...) {
  if (format) {
    std::va_list arguments;
    va_start(arguments, format);
    Print(kFatalPriority, tag, format, arguments);
    va_end(arguments);
  } else {
    __android_log_print(kFatalPriority, tag, "Assertion failed: %s",
                        condition ? condition : "unspecified");
  }
  std::abort();
}
