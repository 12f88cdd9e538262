// The JSON that asftool prints.
#ifndef QO_TOOLS_JSON_H
#define QO_TOOLS_JSON_H

#include <nlohmann/json.hpp>
#include <string>

#include "qo_host/AsfLayout.h"
#include "qo_host/FileHeader.h"
#include "qo_host/ParserSession.h"
#include "tools/Landing.h"
#include "tools/Verdict.h"

namespace tool {

// Keys in the order in which they were set.
using Json = nlohmann::ordered_json;

// JSON text in which a file name that is no UTF-8 doesn't matter: what cannot be
// read becomes U+FFFD. `indent` below 0 puts all on one line.
std::string JsonText(const Json& json, int indent = 2);

// A file: its name, container, tracks, tags and picture.
Json FileJson(const std::string& path, const qo_host::ParserSession& session,
              const qo_host::AsfLayout& layout);

// Every tag of a file under its own name, several values of one name among them.
Json FileTagsJson(const qo_host::FileHeader& header);

// A whole play-out: its verdict, what came out of each track, and the findings.
Json VerdictJson(Input* input, const qo_host::Totals& totals, const Verdict& verdict);

// An access unit, with its number in the list of them.
Json UnitJson(unsigned long long number, const qo_host::AccessUnit& unit);

// Where a seek to `target` ms landed.
Json LandingJson(const Landing& landing, unsigned long long target);

}  // namespace tool

#endif  // QO_TOOLS_JSON_H
