// What a file says about itself, as GStreamer's tags.
#ifndef QO_GST_TAGS_H
#define QO_GST_TAGS_H

#include <gst/gst.h>

#include <string>

#include "gst/StreamCaps.h"
#include "qo_host/FileHeader.h"

// Of the whole file: texts, numbers, pictures, the container. Never null, the caller's.
GstTagList* MakeFileTags(const qo_host::FileHeader& header);

// Of one stream: codec, bit rates, language, name. `caps` are the stream's. Never null,
// the caller's.
GstTagList* MakeStreamTags(const StreamFacts& facts, const GstCaps* caps);

// "en" for "en-us"; empty where the stream has no language.
std::string LanguageCode(const qo_host::FileHeader& header, unsigned char stream);

#endif  // QO_GST_TAGS_H
