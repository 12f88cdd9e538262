// Track descriptions as the host receives them.
//
// Both records belong to the parser: the host reads them, never frees them, and
// they stay valid until Close. Natural alignment, fields in the listed order.
#ifndef QO_TRACKINFO_H
#define QO_TRACKINFO_H

#include <cstddef>

#include "Codecs.h"

// Track types, here and in every operation that takes one.
constexpr int kTrackVideo = 1;  // a video track
constexpr int kTrackAudio = 2;  // an audio track

// One track. Returned by IParser::GetTrackInfo.
struct TrackInfo {
  unsigned int trackType;     // kTrackVideo or kTrackAudio; 0 = not described yet
  unsigned int codec;         // a codec number of Codecs.h
  unsigned int value1;        // audio: channels. video: encoded width, pixels
  unsigned int value2;        // audio: samples per second. video: encoded height, pixels
  unsigned int value3;        // audio: bits per sample. video: 0
  unsigned int bitrate;       // audio: bits per second, low 32 bits. video: 0
  unsigned int seekable;      // video: 1 when the file has a simple index, else 0. audio: 0
  unsigned int reserved;      // always 0
  unsigned short blockAlign;  // audio: bytes per block. video: 0
};

// The bitmap header of the video track. Returned by IParser::getExtraInterface;
// filled when the video track is described.
struct AsfTrackExt {
  unsigned char valid;             // 1 once filled, 0 before
  unsigned long long headerSize;   // bytes, as the file says
  unsigned short planes;           // as the file says; 1 in any that is right
  unsigned short bitCount;         // bits per pixel
  unsigned long long compression;  // FourCC, first character in the lowest byte
  unsigned long long imageSize;    // bytes
  // Pixels per metre of what the picture is meant to be shown on; 0 in most files.
  long long xPelsPerMeter;
  long long yPelsPerMeter;
  // Of a palette, which is part of the configuration: how many colours it has, and how many
  // of them matter. 0: none, or all.
  unsigned long long colorsUsed;
  unsigned long long colorsImportant;
};

static_assert(sizeof(TrackInfo) == 36 && offsetof(TrackInfo, trackType) == 0 &&
                  offsetof(TrackInfo, codec) == 4 && offsetof(TrackInfo, value1) == 8 &&
                  offsetof(TrackInfo, value2) == 12 && offsetof(TrackInfo, value3) == 16 &&
                  offsetof(TrackInfo, bitrate) == 20 && offsetof(TrackInfo, seekable) == 24 &&
                  offsetof(TrackInfo, reserved) == 28 && offsetof(TrackInfo, blockAlign) == 32,
              "TrackInfo crosses the library boundary");
static_assert(sizeof(AsfTrackExt) == 72 && offsetof(AsfTrackExt, valid) == 0 &&
                  offsetof(AsfTrackExt, headerSize) == 8 && offsetof(AsfTrackExt, planes) == 16 &&
                  offsetof(AsfTrackExt, bitCount) == 18 &&
                  offsetof(AsfTrackExt, compression) == 24 &&
                  offsetof(AsfTrackExt, imageSize) == 32 &&
                  offsetof(AsfTrackExt, xPelsPerMeter) == 40 &&
                  offsetof(AsfTrackExt, yPelsPerMeter) == 48 &&
                  offsetof(AsfTrackExt, colorsUsed) == 56 &&
                  offsetof(AsfTrackExt, colorsImportant) == 64,
              "AsfTrackExt crosses the library boundary");

#endif  // QO_TRACKINFO_H
