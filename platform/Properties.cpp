// System properties on systems that have none: the environment stands in.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/Platform.h"

namespace {

// "qocp.debug.level" is QOCP_DEBUG_LEVEL in the environment.
std::string EnvironmentName(const char* key) {
  std::string name = key;
  std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) {
    return c == '.' ? '_' : static_cast<char>(std::toupper(c));
  });
  return name;
}

}  // namespace

int property_get(const char* key, char* value, const char* defaultValue) {
  const char* text = std::getenv(EnvironmentName(key).c_str());
  // A property that is set to nothing counts as not set.
  if (!text || !*text) text = defaultValue ? defaultValue : "";
  const std::size_t length = std::min<std::size_t>(std::strlen(text), kPropertyValueBytes - 1);
  std::memcpy(value, text, length);
  value[length] = '\0';
  return static_cast<int>(length);
}
