// What asftool info prints for programs.
#ifndef QO_TOOLS_INFO_INFOJSON_H
#define QO_TOOLS_INFO_INFOJSON_H

#include "tools/common/Json.h"
#include "tools/info/Description.h"

namespace tool {

// All that is known of a file.
Json DescriptionJson(Input* input, const Description& description);

}  // namespace tool

#endif  // QO_TOOLS_INFO_INFOJSON_H
