// Writing of JSON. No state.
#include "tools/common/Json.h"

namespace tool {

std::string JsonText(const Json& json, int indent) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace tool
