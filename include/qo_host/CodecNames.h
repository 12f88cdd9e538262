// Names for what the file and the parser give as numbers.
#ifndef QO_HOST_CODECNAMES_H
#define QO_HOST_CODECNAMES_H

#include <string>

namespace qo_host {

// The codec's name for a person, "Windows Media Audio 2" for instance, by the
// codec number of TrackInfo; "unknown" for kCodecUnknown and any number that the
// parser never gives. Video and audio numbers don't overlap, but for "unknown".
const char* CodecName(unsigned int codec);

// A FourCC as text, first character in the lowest byte: "WMV2". Bytes that are
// no printable ASCII come out as "\x00" and the like.
std::string FourCcText(unsigned int fourCc);

}  // namespace qo_host

#endif  // QO_HOST_CODECNAMES_H
