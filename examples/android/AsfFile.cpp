// The native half of AsfFile.java: describes an ASF file that the system's picker
// or the app's own package holds.
#include <android/asset_manager_jni.h>
#include <jni.h>
#include <qo_parser_asf/IParser.h>
#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <string>

#include "FdSource.h"

namespace {

struct CloseParser {
  void operator()(IParser* parser) const {
    parser->Close();  // whatever happened, and before destroyParser
    destroyParser(parser);
  }
};

__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...) {
  char line[160];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
  return line;
}

std::string DescribeTrack(const TrackInfo& track) {
  if (track.trackType == kTrackVideo) {
    return Format("video, codec %u, %u x %u pixels\n", track.codec, track.value1, track.value2);
  }
  return Format("audio, codec %u, %u channels, %u Hz\n", track.codec, track.value1, track.value2);
}

// Null, and a pending exception in Java, where it fails.
jstring Throw(JNIEnv* env, const std::string& message) {
  if (const jclass type = env->FindClass("java/io/IOException")) {
    env->ThrowNew(type, message.c_str());
  }
  return nullptr;
}

jstring Describe(JNIEnv* env, FdSource& source) {
  const std::unique_ptr<IParser, CloseParser> parser(createParser());
  if (!parser) return Throw(env, "out of memory");
  const int status = parser->Open(&source);
  if (status != kParserOk) return Throw(env, Format("not playable: status %d", status));
  if (parser->GetTrackCount() == 0) return Throw(env, "no ASF file, or one without tracks");

  unsigned long durationMs = 0;
  parser->GetDurationMs(&durationMs);
  std::string text = Format("%lu ms\n", durationMs);
  for (unsigned int i = 0; i < parser->GetTrackCount(); ++i) {
    const TrackInfo* track = parser->GetTrackInfo(i);
    if (!track) return Throw(env, Format("track %u cannot be described", i));
    text += DescribeTrack(*track);
  }
  return env->NewStringUTF(text.c_str());
}

}  // namespace

// `fd` comes from ParcelFileDescriptor.detachFd() and is closed here.
extern "C" JNIEXPORT jstring JNICALL Java_org_example_asf_AsfFile_describe(JNIEnv* env, jclass,
                                                                           jint fd) {
  struct stat64 file {};
  if (fstat64(fd, &file) != 0 || !S_ISREG(file.st_mode)) {
    close(fd);
    return Throw(env, "not a file that can be read at any place");
  }
  FdSource source(fd, 0, static_cast<unsigned long long>(file.st_size));
  return Describe(env, source);
}

// An asset has a descriptor only where the package holds it as it is: build.gradle
// says so for "wma", "wmv" and "asf" by androidResources.noCompress.
extern "C" JNIEXPORT jstring JNICALL Java_org_example_asf_AsfFile_describeAsset(JNIEnv* env, jclass,
                                                                                jobject assets,
                                                                                jstring name) {
  const char* path = env->GetStringUTFChars(name, nullptr);
  if (!path) return nullptr;  // Java has an OutOfMemoryError pending
  AAsset* asset = AAssetManager_open(AAssetManager_fromJava(env, assets), path, AASSET_MODE_RANDOM);
  env->ReleaseStringUTFChars(name, path);
  if (!asset) return Throw(env, "no such asset");
  off64_t start = 0, length = 0;
  const int fd = AAsset_openFileDescriptor64(asset, &start, &length);
  AAsset_close(asset);
  if (fd < 0) return Throw(env, "the package holds the asset compressed");
  FdSource source(fd, static_cast<unsigned long long>(start),
                  static_cast<unsigned long long>(length));
  return Describe(env, source);
}
