package org.example.asf;

import android.content.res.AssetManager;
import java.io.IOException;

/** Describes ASF files: the duration, then a line for each track. */
final class AsfFile {
    static {
        System.loadLibrary("asffile");
    }

    /** Takes the descriptor over: {@code describe(parcel.detachFd())}. */
    static native String describe(int fd) throws IOException;

    static native String describeAsset(AssetManager assets, String name) throws IOException;

    private AsfFile() {}
}
