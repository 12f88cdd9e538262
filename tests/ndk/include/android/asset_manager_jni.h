// What the NDK's header of this name declares, as far as examples/android uses it.
#pragma once

#include <android/asset_manager.h>
#include <jni.h>

extern "C" AAssetManager* AAssetManager_fromJava(JNIEnv* env, jobject manager);
