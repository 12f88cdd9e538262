// Words for fields. No state but the list.
#include "host/tree/FieldList.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace qo_host {

namespace {

std::string FirstBytes(const unsigned char* data, std::size_t size) {
  constexpr std::size_t kShown = 32;
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < std::min(size, kShown); ++i) {
    if (i != 0 && i % 8 == 0) text += ' ';
    text += kDigits[data[i] >> 4];
    text += kDigits[data[i] & 0x0F];
  }
  return size > kShown ? text + " ..." : text;
}

}  // namespace

std::string DateText(unsigned long long date) {
  constexpr unsigned long long kPerSecond = 10000000;
  constexpr long long kUnixEpoch = 11644473600;  // seconds since 1601
  const std::time_t time = static_cast<long long>(date / kPerSecond) - kUnixEpoch;
  std::tm parts = {};
  char text[64];
  if (gmtime_r(&time, &parts) == nullptr) return std::to_string(date);
  const std::size_t size = std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S UTC", &parts);
  return {text, size};
}

void FieldList::Text(const std::string& name, const std::string& text) {
  fields_->push_back({name, text, {}});
}

void FieldList::Number(const std::string& name, unsigned long long number, const char* unit) {
  Named(name, number, std::to_string(number) + (*unit != '\0' ? " " : "") + unit);
}

void FieldList::Named(const std::string& name, unsigned long long number, const std::string& text) {
  fields_->push_back({name, text, number});
}

void FieldList::Time(const std::string& name, unsigned long long time) {
  char text[48];
  std::snprintf(text, sizeof(text), "%llu.%03llu s", time / 10000000, time / 10000 % 1000);
  Named(name, time, text);
}

void FieldList::Flags(const std::string& name, unsigned int flags,
                      std::initializer_list<const char*> names) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%X", flags);
  std::string words = text;
  const char* separator = ": ";
  unsigned int rest = flags;
  for (const char* word : names) {
    if ((rest & 1) != 0 && word != nullptr) {
      words += separator + std::string(word);
      separator = ", ";
    }
    rest >>= 1;
  }
  Named(name, flags, words);
}

void FieldList::Id(const std::string& name, const Guid& id) {
  const char* const known = GuidName(id);
  Text(name, known != nullptr ? std::string(known) + " (" + GuidString(id) + ")" : GuidString(id));
}

void FieldList::Bytes(const std::string& name, const unsigned char* data, std::size_t size) {
  const std::string count = std::to_string(size) + (size == 1 ? " byte" : " bytes");
  Text(name, size != 0 ? count + ": " + FirstBytes(data, size) : count);
}

void FieldList::Beginning(const std::string& name, const unsigned char* data, std::size_t size) {
  if (size != 0) Text(name, FirstBytes(data, size));
}

}  // namespace qo_host
