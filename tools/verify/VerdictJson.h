// The JSON of asftool verify.
#ifndef QO_TOOLS_VERIFY_VERDICTJSON_H
#define QO_TOOLS_VERIFY_VERDICTJSON_H

#include "qo_host/ParserSession.h"
#include "tools/common/Json.h"
#include "tools/common/Verdict.h"

namespace tool {

// A whole play-out: its verdict, what came out of each track, and the findings.
Json VerdictJson(Input* input, const qo_host::Totals& totals, const Verdict& verdict);

}  // namespace tool

#endif  // QO_TOOLS_VERIFY_VERDICTJSON_H
