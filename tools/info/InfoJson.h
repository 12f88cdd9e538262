// The JSON of asftool info.
#ifndef QO_TOOLS_INFO_INFOJSON_H
#define QO_TOOLS_INFO_INFOJSON_H

#include <string>

#include "qo_host/AsfLayout.h"
#include "qo_host/FileHeader.h"
#include "qo_host/ParserSession.h"
#include "tools/common/Json.h"

namespace tool {

// A file: its name, container, tracks, tags and picture.
Json FileJson(const std::string& path, const qo_host::ParserSession& session,
              const qo_host::AsfLayout& layout);

// Every tag of a file under its own name, several values of one name among them.
Json FileTagsJson(const qo_host::FileHeader& header);

}  // namespace tool

#endif  // QO_TOOLS_INFO_INFOJSON_H
