// What the parser takes from the platform it runs on.
//
// In an Android platform tree liblog and libcutils define these. The NDK has only
// liblog: there property_get is linked into the parser (SystemProperties.cpp).
// Elsewhere libqo_platform.so defines them, or whatever library the host puts in
// its place.
#ifndef QO_PLATFORM_H
#define QO_PLATFORM_H

// Room for a property's value with its terminator, as property_get writes it.
constexpr int kPropertyValueBytes = 92;

extern "C" {

// Writes one line to the platform log. Returns a negative value on failure.
int __android_log_print(int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Logs a fatal message and aborts the process.
void __android_log_assert(const char* condition, const char* tag, const char* format, ...)
    __attribute__((noreturn, format(printf, 3, 4)));

// Copies the system property `key`, or `defaultValue` where it is not set, to
// `value` (kPropertyValueBytes bytes). Returns the length copied.
int property_get(const char* key, char* value, const char* defaultValue);
}

#endif  // QO_PLATFORM_H
