// Every object of a file with its fields in words: for a person who wonders what a file
// holds, and where it is damaged.
//
// Any bytes are tolerated, and told: objects of no known kind by their GUID and bytes, what
// is no object as a place of its own, damage in words. A file is read from its beginning to
// its end, but for its packets. Memory: that of a FileHeader, and the fields of one object,
// whatever follows the header.
#ifndef QO_HOST_OBJECTTREE_H
#define QO_HOST_OBJECTTREE_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "qo_host/Guid.h"
#include "qo_host/PacketWalk.h"
#include "qo_parser_asf/IDataSource.h"

namespace qo_host {

// What an object says, one value of it.
struct ObjectField {
  std::string name;  // "play duration"; of a list "entry 3"; of a tag its own name, as in the file
  std::string text;  // UTF-8, with units; what comes from the file may hold control characters
  std::optional<unsigned long long> number;  // where it is one, as it stands in the file
};

// An object, or a place where one should be and isn't.
struct ObjectNode {
  bool isObject = true;             // otherwise bytes that are none: no `id`, no fields
  Guid id = {};                     // what kind of object it is
  std::string name;                 // "file properties"; empty: not known
  unsigned long long position = 0;  // bytes from the file's first
  unsigned long long size = 0;      // bytes, as it says, its own 24 included
  unsigned long long present = 0;  // bytes of it that are there: fewer where it reaches beyond what
                                   // holds it, or where the file ends in it
  // 0: of the file. 1: of the header. 2: of the header extension. 3: the stream properties
  // within extended stream properties.
  unsigned char depth = 0;
  std::vector<ObjectField> fields;
  std::vector<std::string> problems;  // what is wrong with it, without a full stop; mostly nothing
};

// The name of an object, a type of stream, a kind of error correction or what else the format names
// by a GUID: "file properties". Null for one that isn't known.
const char* GuidName(const Guid& id);

// A date as files have it, 100 ns since the year 1601: "2010-03-04 05:06:07 UTC".
std::string DateText(unsigned long long date);

// Visits the objects of the file behind `source` (not null), whose position it moves, in file
// order, nested ones behind what holds them; of the data object the header alone. A file that
// is no ASF file has one place without an object. `visit` may keep what it is shown; false ends
// the walk as cancelled.
WalkResult WalkObjects(IDataSource* source, const std::function<bool(const ObjectNode&)>& visit);

}  // namespace qo_host

#endif  // QO_HOST_OBJECTTREE_H
