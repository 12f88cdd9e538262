// System properties for a build with the NDK, which has no libcutils: what that
// asks is open to every library.
#include <sys/system_properties.h>

#include "platform/PropertyValue.h"

static_assert(kPropertyValueBytes >= PROP_VALUE_MAX, "a value would not fit");

int property_get(const char* key, char* value, const char* defaultValue) {
  const int found = __system_property_get(key, value);
  return found > 0 ? found : StorePropertyValue(defaultValue, value);  // 0: not set, or to nothing
}
