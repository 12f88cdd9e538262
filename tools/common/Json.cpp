// Writing of JSON. No state.
#include "tools/common/Json.h"

#include <cstdio>
#include <cstring>

namespace tool {

namespace {

bool IsUtf8(const std::string& text) {
  try {
    static_cast<void>(Json(text).dump());
    return true;
  } catch (const Json::type_error&) {
    return false;
  }
}

// Letters, digits and what else a URI has as it is, the slash included.
std::string PercentEncoded(const std::string& text) {
  std::string out;
  for (const char c : text) {
    const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                         (c >= '0' && c <= '9') || (c != 0 && std::strchr("-._~/", c));
    char escape[4];
    std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned int>(c) & 0xFFu);
    out += isPlain ? std::string(1, c) : escape;
  }
  return out;
}

}  // namespace

Json Document() { return {{"format", kJsonFormat}}; }

Json Document(const std::string& file) {
  Json document = Document();
  document["file"] = file;
  if (!IsUtf8(file)) document["file_bytes"] = PercentEncoded(file);
  return document;
}

std::string JsonText(const Json& json, int indent) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace tool
