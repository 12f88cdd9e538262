// Status codes of the parser interface.
//
// A status is a signed 32-bit integer: 0 is success, a negative value is a
// failure. Any other negative value than those below is a failure of the byte
// source, passed through unchanged.
#ifndef QO_PARSER_STATUS_H
#define QO_PARSER_STATUS_H

#include <climits>

// Success.
constexpr int kParserOk = 0;
// Malformed or missing data, or a host buffer too small for a configuration.
constexpr int kParserMalformed = -1007;
// A size read from the file is out of range, a position lies beyond the file,
// or memory ran out.
constexpr int kParserOutOfRange = -1008;
// Unsupported content (content encryption), no metadata records, no MPEG audio
// sync word, or a seek that cannot be made in time mode.
constexpr int kParserUnsupported = -1010;
// End of data or end of stream; also a byte source that threw an exception.
constexpr int kParserEndOfStream = -1011;
// Internal inconsistency: a stream without a queue, a missing access unit
// entry, a second metadata object, an unknown track type.
constexpr int kParserInternal = INT_MIN;

#endif  // QO_PARSER_STATUS_H
