// The fields of an object as they are put into words.
#ifndef QO_HOST_FIELDLIST_H
#define QO_HOST_FIELDLIST_H

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

#include "qo_host/ObjectTree.h"

namespace qo_host {

class FieldList {
 public:
  explicit FieldList(std::vector<ObjectField>* fields) : fields_(fields) {}

  void Text(const std::string& name, const std::string& text);
  // "3200 bytes"; without a unit the number alone.
  void Number(const std::string& name, unsigned long long number, const char* unit = "");
  // The number in words.
  void Named(const std::string& name, unsigned long long number, const std::string& text);
  // A time in units of 100 ns: "5.180 s".
  void Time(const std::string& name, unsigned long long time);
  // "0x2: seekable"; `names` are those of the bits from the lowest on, null for one without.
  void Flags(const std::string& name, unsigned int flags, std::initializer_list<const char*> names);
  // Its name where it has one, and its text.
  void Id(const std::string& name, const Guid& id);
  // How many there are, and the first of them as hexadecimal digits.
  void Bytes(const std::string& name, const unsigned char* data, std::size_t size);
  // These alone; nothing of no bytes.
  void Beginning(const std::string& name, const unsigned char* data, std::size_t size);

 private:
  std::vector<ObjectField>* fields_;
};

}  // namespace qo_host

#endif  // QO_HOST_FIELDLIST_H
