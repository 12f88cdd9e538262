// How Matroska names a codec, and the form that it wants it in.
#ifndef QO_TOOLS_EXTRACT_MATROSKACODEC_H
#define QO_TOOLS_EXTRACT_MATROSKACODEC_H

#include "tools/extract/Bytes.h"
#include "tools/extract/StreamReader.h"

namespace tool {

struct MatroskaCodec {
  const char* id;             // "V_MPEG4/ISO/AVC"
  ByteVector configuration;   // the CodecPrivate element; empty: none
  bool hasLengths = false;    // NAL units stand behind lengths of 4 bytes, not start codes
  unsigned int bitDepth = 0;  // of a sample of PCM; 0 for all others
};

// The native name where there is one that the stream fits, otherwise the one for
// whatever WAVEFORMATEX or BITMAPINFOHEADER describes, which is the stream's own.
MatroskaCodec MatroskaCodecOf(const StreamSetup& setup);

// A frame of NAL units behind start codes, with lengths in their place.
void PutLengths(const Frame& frame, ByteVector* out);

}  // namespace tool

#endif  // QO_TOOLS_EXTRACT_MATROSKACODEC_H
