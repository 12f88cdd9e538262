// The JSON that asftool prints; what it says of each thing stands beside that.
#ifndef QO_TOOLS_COMMON_JSON_H
#define QO_TOOLS_COMMON_JSON_H

#include <nlohmann/json.hpp>
#include <string>

namespace tool {

// Keys in the order in which they were set.
using Json = nlohmann::ordered_json;

// The version of all that is printed: docs/asftool.schema.json says what it promises.
constexpr int kJsonFormat = 1;

// An object that is printed as a whole, with its version in front: {"format": 1}.
Json Document();

// The same for what is told of a file, whose name comes next. A name that is no UTF-8 has
// U+FFFD in "file" where it can't be read; beside it "file_bytes" has the whole name as it
// is, percent-encoded as in a URI.
Json Document(const std::string& file);

// JSON text; what is no UTF-8 becomes U+FFFD. `indent` below 0 puts all on one line.
std::string JsonText(const Json& json, int indent = 2);

}  // namespace tool

#endif  // QO_TOOLS_COMMON_JSON_H
