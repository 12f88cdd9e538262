// Markup and text. No state.
#include "tools/report/Html.h"

#include <nettle/base64.h>

#include <cstdint>
#include <string_view>

namespace tool {
namespace {

constexpr std::size_t kLongestText = 1000;  // bytes
constexpr const char* kReplacement = "\uFFFD";

struct CodePoint {
  std::uint32_t value;
  std::size_t bytes;  // 0: no UTF-8
};

// The code point that `text` (not empty) begins with.
CodePoint Decode(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  if (first < 0x80) return {first, 1};
  const std::size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < bytes) return {0, 0};
  std::uint32_t value = first & (0x7Fu >> bytes);
  for (std::size_t i = 1; i < bytes; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return {0, 0};
    value = value << 6 | (next & 0x3Fu);
  }
  const bool isTooLong = (bytes == 3 && value < 0x800) || (bytes == 4 && value < 0x10000);
  const bool isOutside = value > 0x10FFFF || (value >= 0xD800 && value < 0xE000);
  return isTooLong || isOutside ? CodePoint{0, 0} : CodePoint{value, bytes};
}

bool IsTame(std::uint32_t value) {
  const bool isControl =
      (value < 0x20 && value != '\n' && value != '\t') || (value >= 0x7F && value < 0xA0);
  const bool turnsDirection = value == 0x061C || value == 0x200E || value == 0x200F ||
                              (value >= 0x202A && value <= 0x202E) ||
                              (value >= 0x2066 && value <= 0x2069);
  const bool isInvisible = value == 0xFEFF || (value >= 0xFFF9 && value <= 0xFFFB) ||
                           (value >= 0xE0000 && value < 0xE1000);
  const bool isNoCharacter = (value & 0xFFFE) == 0xFFFE || (value >= 0xFDD0 && value <= 0xFDEF);
  return !isControl && !turnsDirection && !isInvisible && !isNoCharacter;
}

const char* EntityFor(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return nullptr;
  }
}

}  // namespace

std::string Escaped(const std::string& text) {
  std::string out;
  std::string_view rest = text;
  while (!rest.empty()) {
    if (text.size() - rest.size() >= kLongestText) return out + "\u2026";
    const CodePoint point = Decode(rest);
    const std::size_t bytes = point.bytes == 0 ? 1 : point.bytes;
    const char* const entity = EntityFor(rest[0]);
    if (point.bytes == 0 || !IsTame(point.value)) {
      out += kReplacement;
    } else if (entity != nullptr) {
      out += entity;
    } else {
      out += rest.substr(0, bytes);
    }
    rest.remove_prefix(bytes);
  }
  return out;
}

std::string Element(const char* name, const std::string& inner, const std::string& attributes) {
  const std::string space = attributes.empty() ? "" : " ";
  return std::string("<") + name + space + attributes + ">" + inner + "</" + name + ">";
}

std::string FileText(const std::string& text) { return Element("bdi", Escaped(text)); }

std::string ImageUri(const unsigned char* data, std::size_t size) {
  using namespace std::string_view_literals;
  struct Kind {
    std::string_view magic;
    const char* type;
  };
  static constexpr Kind kKinds[] = {{"\xFF\xD8\xFF"sv, "image/jpeg"},
                                    {"\x89PNG\r\n\x1A\n"sv, "image/png"},
                                    {"GIF8"sv, "image/gif"},
                                    {"BM"sv, "image/bmp"}};
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  for (const Kind& kind : kKinds) {
    if (bytes.substr(0, kind.magic.size()) != kind.magic) continue;
    std::string encoded(BASE64_ENCODE_RAW_LENGTH(size), '\0');
    base64_encode_raw(encoded.data(), size, data);
    return std::string("data:") + kind.type + ";base64," + encoded;
  }
  return "";
}

std::string Grouped(unsigned long long number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3;) text.insert(at -= 3, "\u202F");
  return text;
}

}  // namespace tool
