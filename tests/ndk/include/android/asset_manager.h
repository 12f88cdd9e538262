// What the NDK's header of this name declares, as far as examples/android uses it.
#pragma once

#include <sys/types.h>

struct AAssetManager;
struct AAsset;

enum { AASSET_MODE_RANDOM = 1 };

extern "C" {
AAsset* AAssetManager_open(AAssetManager* manager, const char* name, int mode);
int AAsset_openFileDescriptor64(AAsset* asset, off64_t* start, off64_t* length);
void AAsset_close(AAsset* asset);
}
