// What the NDK's header of this name declares, as far as examples/android uses it.
// The operations are whatever stands in for the virtual machine's: tests/ndk/play.cpp.
#pragma once

#include <cstdint>

using jint = std::int32_t;

class _jobject {};
class _jclass : public _jobject {};
class _jstring : public _jobject {};
using jobject = _jobject*;
using jclass = _jclass*;
using jstring = _jstring*;

struct _JNIEnv {
  virtual jclass FindClass(const char* name) = 0;
  virtual jint ThrowNew(jclass type, const char* message) = 0;
  virtual jstring NewStringUTF(const char* bytes) = 0;
  virtual const char* GetStringUTFChars(jstring string, unsigned char* isCopy) = 0;
  virtual void ReleaseStringUTFChars(jstring string, const char* bytes) = 0;

 protected:
  ~_JNIEnv() = default;
};
using JNIEnv = _JNIEnv;

#define JNIEXPORT __attribute__((visibility("default")))
#define JNICALL
