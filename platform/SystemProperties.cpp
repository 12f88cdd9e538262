// System properties for a build with the NDK, which has no libcutils: what that
// asks is open to every library.
#include <sys/system_properties.h>

#include <algorithm>
#include <cstring>

#include "platform/Platform.h"

static_assert(kPropertyValueBytes >= PROP_VALUE_MAX, "a value would not fit");

int property_get(const char* key, char* value, const char* defaultValue) {
  const int found = __system_property_get(key, value);
  if (found > 0) return found;  // 0: not set, or set to nothing
  const char* text = defaultValue ? defaultValue : "";
  const std::size_t length = std::min<std::size_t>(std::strlen(text), kPropertyValueBytes - 1);
  std::memcpy(value, text, length);
  value[length] = '\0';
  return static_cast<int>(length);
}
