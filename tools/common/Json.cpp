// Writing of JSON. No state.
#include "tools/common/Json.h"

namespace tool {

Json Document() { return {{"format", kJsonFormat}}; }

std::string JsonText(const Json& json, int indent) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace tool
