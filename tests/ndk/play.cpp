// In place of an app: opens the LIBRARY of examples/android, has it describe FILE
// and prints what it says. Exit code 1 where it throws.
#include <dlfcn.h>
#include <fcntl.h>
#include <jni.h>

#include <cstdio>
#include <string>

namespace {

struct Machine final : _JNIEnv {
  jclass FindClass(const char* name) override {
    std::printf("%s: ", name);
    return &type;
  }
  jint ThrowNew(jclass, const char* message) override {
    std::printf("%s\n", message);
    return 0;
  }
  jstring NewStringUTF(const char* bytes) override {
    std::fputs(bytes, stdout);
    return &string;
  }
  const char* GetStringUTFChars(jstring, unsigned char*) override { return "asset.wma"; }
  void ReleaseStringUTFChars(jstring, const char*) override {}

  _jclass type;
  _jstring string;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return std::fputs("usage: play LIBRARY FILE\n", stderr), 2;
  void* library = dlopen(argv[1], RTLD_NOW);
  void* describe = library ? dlsym(library, "Java_org_example_asf_AsfFile_describe") : nullptr;
  if (!describe) return std::fprintf(stderr, "%s\n", dlerror()), 2;
  Machine machine;
  using Describe = jstring (*)(JNIEnv*, jclass, jint);
  return reinterpret_cast<Describe>(describe)(&machine, nullptr, open(argv[2], O_RDONLY)) ? 0 : 1;
}
