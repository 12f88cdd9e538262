// The tags that hosts have keys for, out of a file's own header.
#ifndef QO_HOST_COMMONTAGS_H
#define QO_HOST_COMMONTAGS_H

#include <optional>
#include <vector>

#include "qo_host/FileHeader.h"
#include "qo_host/TagText.h"

namespace qo_host {

// Those that the header has, in the parser's order and chosen as the parser chooses:
// by attribute name from the extended content description, the metadata and the
// metadata library object, the title at last from the content description.
std::vector<Tag> CommonTags(const FileHeader& header);

// The picture of the first tag named for one that can be taken apart.
std::optional<Picture> CommonPicture(const FileHeader& header);

}  // namespace qo_host

#endif  // QO_HOST_COMMONTAGS_H
