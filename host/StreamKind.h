// What a stream carries, by the GUID of its type.
#ifndef QO_HOST_STREAMKIND_H
#define QO_HOST_STREAMKIND_H

#include "asf/format/guid.h"

namespace host {

enum class StreamKind : unsigned char { kAudio, kVideo, kCommand, kImage, kFile, kBinary, kOther };

// "audio", "video", "command", "image", "file transfer", "binary", "other".
const char* StreamKindName(StreamKind kind);

StreamKind KindOfStream(const guid& type);

}  // namespace host

#endif  // QO_HOST_STREAMKIND_H
