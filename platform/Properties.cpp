// System properties on systems that have none: the environment stands in.
#include <cctype>
#include <cstddef>
#include <cstdlib>

#include "platform/PropertyValue.h"

namespace {

// Bytes. Room for the name of any property there is.
constexpr std::size_t kNameBytes = 128;

// "qocp.debug.level" is QOCP_DEBUG_LEVEL in the environment. Allocates nothing:
// a host may be out of memory when it asks.
struct EnvironmentName {
  explicit EnvironmentName(const char* key) {
    for (std::size_t k = 0; key[k] != '\0' && k + 1 < kNameBytes; ++k) {
      const auto c = static_cast<unsigned char>(key[k]);
      text[k] = c == '.' ? '_' : static_cast<char>(std::toupper(c));
    }
  }
  char text[kNameBytes] = {};
};

}  // namespace

int property_get(const char* key, char* value, const char* defaultValue) {
  const char* text = std::getenv(EnvironmentName(key).text);
  // A property that is set to nothing counts as not set.
  return StorePropertyValue(text && *text ? text : defaultValue, value);
}
