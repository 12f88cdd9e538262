// The steps of a CheckingHost as the bytes of a script: CheckingHost::Step takes
// them apart.
#ifndef QO_TESTING_STEPS_H
#define QO_TESTING_STEPS_H

#include <string>

#include "testing/AsfBuilder.h"

namespace steps {

// What every script for PlayScript begins with.
inline Bytes Open(int debugLevel, int mode) { return Le(debugLevel, 1) + Le(mode, 1); }

// 1 to 256 units of audio, 1 to 128 of video; fewer where the stream ends.
inline Bytes ReadAudio(int units) { return Le(0, 1) + Le(units - 1, 1); }
inline Bytes ReadVideo(int units, bool keyFramesOnly = false) {
  return Le(1, 1) + Le(2 * (units - 1) + (keyFramesOnly ? 1 : 0), 1);
}
inline Bytes ReadWholeVideo(int units) { return Le(2, 1) + Le(2 * (units - 1), 1); }

// Back to the start of a track.
inline Bytes Seek(int track) { return Le(3, 1) + Le(track, 1); }
inline Bytes SeekEx(unsigned int timeMs, int track, int seekMode, unsigned int offset = 0) {
  return Le(4, 2) + Le(track << 4, 1) + Le(timeMs, 2) + Le(offset, 2) + Le((seekMode + 1) << 3, 1);
}

inline Bytes ReadConfigs(int capacity) { return Le(7, 1) + Le(capacity, 1); }
inline Bytes Describe() { return Le(8, 2); }

}  // namespace steps

#endif  // QO_TESTING_STEPS_H
