// How the stand-ins for property_get hand a value over.
#ifndef QO_PLATFORM_PROPERTYVALUE_H
#define QO_PLATFORM_PROPERTYVALUE_H

#include <algorithm>
#include <cstring>

#include "platform/Platform.h"

// Copies `text` (null counts as empty) to `value` (kPropertyValueBytes bytes), cut
// off where it is too long. Returns the length copied.
inline int StorePropertyValue(const char* text, char* value) {
  if (text == nullptr) text = "";
  const std::size_t length = std::min<std::size_t>(std::strlen(text), kPropertyValueBytes - 1);
  std::memcpy(value, text, length);
  value[length] = '\0';
  return static_cast<int>(length);
}

#endif  // QO_PLATFORM_PROPERTYVALUE_H
