// See PlatformStandIn.h.
#include "testing/PlatformStandIn.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "platform/Platform.h"
#include "testing/Check.h"

namespace {

constexpr char kTag[] = "ASFParser";

bool captures = false;
std::vector<std::string> lines;
std::optional<std::string> level;

}  // namespace

void CaptureLog() {
  captures = true;
  lines.clear();
}

std::string TakeLog(const std::string& part) {
  std::string log;
  for (const std::string& line : std::exchange(lines, {})) {
    if (line.find(part) != line.npos) log += line + "\n";
  }
  return log;
}

std::string Lines(const std::string& front, const std::string& texts) {
  std::istringstream parts(texts);
  std::string log;
  for (std::string part; std::getline(parts, part, '|');) log += front + part + "\n";
  return log;
}

void SetLevelProperty(const char* value) {
  level = value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

// Formats every message, also one that is dropped, so that its arguments are
// looked at.
int __android_log_print(int priority, const char* tag, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  const bool known = std::strcmp(tag, kTag) == 0;
  CHECK(known || captures);
  if (captures) {
    lines.push_back(std::to_string(priority) + " " + (known ? "" : std::string(tag) + ": ") + text);
  }
  return length;
}

void __android_log_assert(const char* condition, const char* tag, const char* format, ...) {
  std::fprintf(stderr, "%s %s ", condition, tag);
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  std::abort();
}

int property_get(const char* key, char* value, const char* defaultValue) {
  const bool known = std::strcmp(key, "qocp.debug.level") == 0 && level;
  return std::snprintf(value, kPropertyValueBytes, "%s", known ? level->c_str() : defaultValue);
}
