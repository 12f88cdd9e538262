// property_get of an NDK build, over a property store of the test's own.
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include <cstring>
#include <string>

#include "platform/Platform.h"

static std::string stored;

int __system_property_get(const char* name, char* value) {
  std::strcpy(value, std::string(name) == "qocp.debug.level" ? stored.c_str() : "");
  return static_cast<int>(std::strlen(value));
}

TEST(SystemProperties, FallBackToTheDefault) {
  const struct {
    const char *stored, *byDefault, *expected;
  } rows[] = {{"7", "1", "7"}, {"", "1", "1"}, {"", nullptr, ""}, {"7", nullptr, "7"}};
  for (const auto& row : rows) {
    char value[kPropertyValueBytes];
    std::memset(value, 'x', sizeof(value));
    stored = row.stored;
    EXPECT_EQ(std::strlen(row.expected), property_get("qocp.debug.level", value, row.byDefault));
    EXPECT_STREQ(row.expected, value);
  }
  char value[kPropertyValueBytes];
  const std::string tooLong(100, 'a');
  EXPECT_EQ(kPropertyValueBytes - 1, property_get("other", value, tooLong.c_str()));
  EXPECT_EQ(tooLong.substr(0, kPropertyValueBytes - 1), value);
}
