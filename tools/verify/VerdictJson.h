// The JSON of asftool verify.
#ifndef QO_TOOLS_VERIFY_VERDICTJSON_H
#define QO_TOOLS_VERIFY_VERDICTJSON_H

#include <string>

#include "tools/common/Json.h"
#include "tools/verify/Judge.h"

namespace tool {

// A whole play-out: its verdict, what came out of each track, and the findings.
Json VerdictJson(Input* input, const PlayOut& played);

// Of a file that could not be read, and why.
Json UnreadJson(const std::string& path, const std::string& reason);

}  // namespace tool

#endif  // QO_TOOLS_VERIFY_VERDICTJSON_H
