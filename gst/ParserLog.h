// The parser's log as a debug category of GStreamer's, "qoasfparser".
#ifndef QO_GST_PARSERLOG_H
#define QO_GST_PARSERLOG_H

#include <gst/gst.h>

// Once, before a parser is made.
void InitParserLog();

#endif  // QO_GST_PARSERLOG_H
