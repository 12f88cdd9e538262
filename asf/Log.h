// The parser's messages. Each is gated by one bit of debug_level, tested when
// it is printed; the arguments of a message that is off are not evaluated.
//
// The texts are part of the behaviour, misspellings included.
#ifndef QO_ASF_LOG_H
#define QO_ASF_LOG_H

#include "asf/Globals.h"
#include "platform/Platform.h"

constexpr const char* kLogTag = "ASFParser";

constexpr int kErrorBit = 0;
constexpr int kLifecycleBit = 1;
constexpr int kTraceBit = 2;

inline bool IsLogged(int bit) {
  return (debug_level.load(std::memory_order_relaxed) & 1 << bit) != 0;
}

#define ASF_LOG(bit, priority, ...)                                           \
  do {                                                                        \
    if (__builtin_expect(IsLogged(bit), 0)) {                                 \
      static_cast<void>(__android_log_print(priority, kLogTag, __VA_ARGS__)); \
    }                                                                         \
  } while (false)

#define LOG_ERROR(...) ASF_LOG(kErrorBit, 6, __VA_ARGS__)
#define LOG_WARNING(...) ASF_LOG(kErrorBit, 5, __VA_ARGS__)
#define LOG_LIFECYCLE(...) ASF_LOG(kLifecycleBit, 3, __VA_ARGS__)
#define LOG_TRACE(...) ASF_LOG(kTraceBit, 2, __VA_ARGS__)

#endif  // QO_ASF_LOG_H
