// Caps of formats that GStreamer's helper for RIFF formats doesn't know.
#ifndef QO_GST_EXTRACAPS_H
#define QO_GST_EXTRACAPS_H

#include <gst/gst.h>

#include <memory>

#include "gst/StreamCaps.h"

struct BufferUnref {
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
};
using BufferPointer = std::unique_ptr<GstBuffer, BufferUnref>;

// The stream's configuration; null where it has none.
BufferPointer CodecData(const StreamFacts& facts);

// A FourCC, each of its characters replaced by what `letter` makes of it.
guint32 FourCcWith(guint32 fourCc, gchar (*letter)(gchar));

// By the stream's format tag or FourCC; the caller's. Null where there are none.
GstCaps* MakeExtraCaps(const StreamFacts& facts);

// All that it can return, without the stream's own fields; the caller's.
GstCaps* AllExtraCaps(qo_host::TrackKind kind);

#endif  // QO_GST_EXTRACAPS_H
