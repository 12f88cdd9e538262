// What a stream carries, by the GUID of its type.
#ifndef QO_HOST_STREAMKIND_H
#define QO_HOST_STREAMKIND_H

#include "qo_host/Guid.h"

namespace qo_host {

// The kinds there are. kImage is a stream of JPEG images, kFile one of whole files, kBinary
// one of anything, kOther one of a type that nobody here knows.
enum class StreamKind : unsigned char { kAudio, kVideo, kCommand, kImage, kFile, kBinary, kOther };

// "audio", "video", "command", "image", "file transfer", "binary", "other".
const char* StreamKindName(StreamKind kind);

// The kind that the stream type GUID of stream properties stands for.
StreamKind KindOfStream(const Guid& type);

}  // namespace qo_host

#endif  // QO_HOST_STREAMKIND_H
