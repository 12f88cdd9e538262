// StreamKind: two tables.
#include "qo_host/StreamKind.h"

#include "host/header/KnownGuid.h"

namespace qo_host {

const char* StreamKindName(StreamKind kind) {
  static constexpr const char* kNames[] = {"audio",         "video",  "command", "image",
                                           "file transfer", "binary", "other"};
  return kNames[static_cast<unsigned int>(kind)];
}

StreamKind KindOfStream(const Guid& type) {
  switch (KnownGuid(type).value_or(ID_HEADER_OBJECT)) {
    case ID_AUDIO_MEDIA:
      return StreamKind::kAudio;
    case ID_VIDEO_MEDIA:
      return StreamKind::kVideo;
    case ID_COMMAND_MEDIA:
      return StreamKind::kCommand;
    case ID_JFIF_MEDIA:
    case ID_DEGRADABLE_JPEG_MEDIA:
      return StreamKind::kImage;
    case ID_FILE_TRANSFER_MEDIA:
      return StreamKind::kFile;
    case ID_BINARY_MEDIA:
      return StreamKind::kBinary;
    default:
      return StreamKind::kOther;
  }
}

}  // namespace qo_host
