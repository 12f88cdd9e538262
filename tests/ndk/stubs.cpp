// In place of the NDK's stubs of the system's libraries: what is asked of liblog,
// libandroid and the C library beyond this machine's, doing the least there is.
#include <android/asset_manager_jni.h>
#include <sys/system_properties.h>

#include <cstdlib>

extern "C" {

int __android_log_print(int, const char*, const char*, ...) { return 0; }
void __android_log_assert(const char*, const char*, const char*, ...) { std::abort(); }

AAssetManager* AAssetManager_fromJava(JNIEnv*, jobject) { return nullptr; }
AAsset* AAssetManager_open(AAssetManager*, const char*, int) { return nullptr; }
int AAsset_openFileDescriptor64(AAsset*, off64_t*, off64_t*) { return -1; }
void AAsset_close(AAsset*) {}
}

int __system_property_get(const char*, char* value) {
  *value = '\0';
  return 0;
}
