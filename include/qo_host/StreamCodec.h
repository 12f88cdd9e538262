// What a stream is coded in, by what its stream properties say, played or not.
#ifndef QO_HOST_STREAMCODEC_H
#define QO_HOST_STREAMCODEC_H

#include <string>

#include "qo_host/FileHeader.h"

namespace qo_host {

// A codec as the field names it by number.
struct StreamCodec {
  unsigned int tag;    // audio: the format tag, behind WAVE_FORMAT_EXTENSIBLE that of the
                       // sub-format where it stands for one. video: the FourCC. Otherwise 0
  unsigned int codec;  // of qo_parser_asf/Codecs.h; also of tags that the parser doesn't know.
                       // Without a look at the stream's data E-AC-3 is told by its sub-format alone
};

// The codec of a stream of any kind; kCodecUnknown where it has no number there.
StreamCodec CodecOf(const StreamHeader& stream);

// The codec's name for a person: CodecName, and names of codecs that have no number there.
// Empty: not known, or neither audio nor video.
std::string CodecNameOf(const StreamHeader& stream);

// The tag as it is written: "WMV3", "0x0161", and of a sub-format that stands for no format
// tag its GUID. Empty: neither audio nor video.
std::string CodecTagText(const StreamHeader& stream);

// The profile, with the level where there is one, as "High@L3.1", "HE-AAC" or "layer III".
// Empty where the codec has none, or the configuration doesn't tell. `stream` is one of
// `header`.
std::string ProfileText(const FileHeader& header, const StreamHeader& stream);

}  // namespace qo_host

#endif  // QO_HOST_STREAMCODEC_H
