// GUIDs of the kit's interface among those that the format names.
#ifndef QO_HOST_KNOWNGUID_H
#define QO_HOST_KNOWNGUID_H

#include <optional>

#include "asf/format/guid.h"
#include "qo_host/Guid.h"

namespace qo_host {

inline guid FormatGuid(const Guid& id) {
  guid same;
  std::memcpy(same.bytes, id.bytes, sizeof(same.bytes));
  return same;
}

inline Guid KitGuid(const guid& id) {
  Guid same;
  std::memcpy(same.bytes, id.bytes, sizeof(same.bytes));
  return same;
}

// The row that names it; nothing for one in no table.
inline std::optional<AsfObjectId> KnownGuid(const Guid& id) { return LookupGuid(FormatGuid(id)); }

}  // namespace qo_host

#endif  // QO_HOST_KNOWNGUID_H
