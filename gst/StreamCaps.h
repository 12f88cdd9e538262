// What a stream is, in GStreamer's terms.
#ifndef QO_GST_STREAMCAPS_H
#define QO_GST_STREAMCAPS_H

#include <gst/gst.h>

#include "qo_host/FileHeader.h"
#include "qo_host/ParserSession.h"

struct StreamFacts {
  const qo_host::FileHeader& header;
  const qo_host::StreamHeader& stream;  // of `header`
  const qo_host::Track& track;          // as a session delivers it
  GstClockTime frameDuration;           // as its times say; GST_CLOCK_TIME_NONE: not
};

// Never null, and the caller's: caps of the framework where it has any for the codec,
// otherwise "video/x-asf-unknown" or "audio/x-asf-unknown" with the codec's tag.
GstCaps* MakeStreamCaps(const StreamFacts& facts);

// How long a frame lasts, by the header, or by its times; GST_CLOCK_TIME_NONE where neither says.
GstClockTime FrameDuration(const StreamFacts& facts);

#endif  // QO_GST_STREAMCAPS_H
