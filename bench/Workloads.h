// The files that are measured where none is named: made in memory, the same bytes
// in every run.
#ifndef QO_BENCH_WORKLOADS_H
#define QO_BENCH_WORKLOADS_H

#include <string>

namespace bench {

// Video of 30 frames a second, a key frame each second, and WMA audio, in packets
// of 3,200 bytes; with or without a simple index.
std::string AudioVideoFile(bool withIndex);

// WMA audio alone: objects of 743 bytes, four or so to a packet.
std::string AudioFile();

// Key frames of 1 MiB, each in some 330 packets.
std::string LargeKeyFrameFile();

// Video and audio objects of 40 to 250 bytes, a score to a packet.
std::string TinyObjectFile();

// H.264 whose frames are six NAL units behind length prefixes.
std::string AvcFile();

}  // namespace bench

#endif  // QO_BENCH_WORKLOADS_H
