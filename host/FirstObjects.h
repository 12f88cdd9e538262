// The first media objects of a stream, put together: what a stream's form is told by.
#ifndef QO_HOST_FIRSTOBJECTS_H
#define QO_HOST_FIRSTOBJECTS_H

#include <map>
#include <vector>

#include "host/AsfLayout.h"

namespace host {

struct FirstObjects {
  std::vector<unsigned char> first;  // the first object's bytes; empty where there is none
  bool isWhole = false;              // that one
  std::vector<unsigned int> sizes;   // of the whole ones, bytes; few
};

// Looks for those of the streams `wanted` in the first packets, 1 MiB at most, of a
// file that needs no mending. A failing source ends the search. By stream number.
std::map<unsigned char, FirstObjects> FindFirstObjects(IDataSource* source, const AsfLayout& layout,
                                                       const std::vector<unsigned char>& wanted);

}  // namespace host

#endif  // QO_HOST_FIRSTOBJECTS_H
