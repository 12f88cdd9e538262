// What the parser takes from its platform, as long as the plugin is what loads it: its
// log goes to GStreamer's, which is silent unless it is asked. The dynamic linker finds
// these functions in front of those of libqo_platform.
#include "gst/ParserLog.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#pragma GCC visibility push(default)
#include "platform/Platform.h"
#pragma GCC visibility pop

GST_DEBUG_CATEGORY_STATIC(parser_log);

namespace {

// Of the platform's log. What the parser calls an error is often a file's odd way only.
constexpr int kWarningPriority = 5;

GstDebugLevel LevelOf(int priority) {
  return priority >= kWarningPriority ? GST_LEVEL_INFO : GST_LEVEL_LOG;
}

// Sums of 1 errors, 2 life cycle, 4 trace.
const char* ParserLevel() {
  const GstDebugLevel threshold =
      parser_log != nullptr ? gst_debug_category_get_threshold(parser_log) : GST_LEVEL_NONE;
  return threshold >= GST_LEVEL_TRACE ? "7" : threshold >= GST_LEVEL_INFO ? "1" : "0";
}

void LogLine(int priority, const char* format, std::va_list arguments) {
  gst_debug_log_valist(parser_log, LevelOf(priority), "parser", "", 0, nullptr, format, arguments);
}

}  // namespace

void InitParserLog() {
  GST_DEBUG_CATEGORY_INIT(parser_log, "qoasfparser", 0, "the parser below qoasfdemux");
}

int __android_log_print(int priority, const char*, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  LogLine(priority, format, arguments);
  va_end(arguments);
  return 0;
}

void __android_log_assert(const char*, const char*, const char* format, ...) {
  if (format != nullptr) {
    std::va_list arguments;
    va_start(arguments, format);
    g_logv("qoasfparser", G_LOG_LEVEL_CRITICAL, format, arguments);
    va_end(arguments);
  }
  std::abort();
}

int property_get(const char* key, char* value, const char* defaultValue) {
  const bool isLevel = std::strcmp(key, "qocp.debug.level") == 0;
  const char* const text = isLevel ? ParserLevel() : defaultValue != nullptr ? defaultValue : "";
  return static_cast<int>(g_strlcpy(value, text, kPropertyValueBytes));
}
