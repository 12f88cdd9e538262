// Names of the GUIDs that the format names: a table, no state.
#include <array>

#include "host/header/KnownGuid.h"
#include "qo_host/ObjectTree.h"

namespace qo_host {
namespace {

// In the order of AsfObjectId.
constexpr std::array<const char*, kAsfObjectIdCount> kNames = {
    "header",
    "data",
    "simple index",
    "index",
    "media object index",
    "timecode index",
    "file properties",
    "stream properties",
    "header extension",
    "codec list",
    "script commands",
    "markers",
    "bitrate mutual exclusion",
    "error correction",
    "content description",
    "extended content description",
    "content branding",
    "stream bitrate properties",
    "content encryption",
    "extended content encryption",
    "digital signature",
    "padding",
    "extended stream properties",
    "advanced mutual exclusion",
    "group mutual exclusion",
    "stream prioritization",
    "bandwidth sharing",
    "language list",
    "metadata",
    "metadata library",
    "index parameters",
    "media object index parameters",
    "timecode index parameters",
    "compatibility",
    "advanced content encryption",
    "audio",
    "video",
    "command",
    "JFIF image",
    "degradable JPEG image",
    "file transfer",
    "binary",
    "web stream",
    "web stream format",
    "none",
    "audio spread",
    "reserved 1",
    "network device encryption",
    "reserved 2",
    "reserved 3",
    "reserved 4",
    "by language",
    "by bitrate",
    "unknown",
    "exclusive",
    "partial",
    "timecode",
    "file name",
    "content type",
    "pixel aspect ratio",
    "sample duration",
    "encryption sample ID",
    "degradable JPEG",
};

}  // namespace

const char* GuidName(const Guid& id) {
  const auto known = KnownGuid(id);
  return known ? kNames[*known] : nullptr;
}

}  // namespace qo_host
