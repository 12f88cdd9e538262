// The functions of the element's source pads.
#ifndef QO_GST_QOASFDEMUX_H
#define QO_GST_QOASFDEMUX_H

#include <gst/gst.h>

// For a pad before it is added to an element qoasfdemux.
void SetSourceFunctions(GstPad* pad);

#endif  // QO_GST_QOASFDEMUX_H
