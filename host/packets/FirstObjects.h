// The first media objects of a stream, put together: what a stream's form is told by.
#ifndef QO_HOST_FIRSTOBJECTS_H
#define QO_HOST_FIRSTOBJECTS_H

#include <cstddef>
#include <map>
#include <vector>

#include "qo_host/AsfLayout.h"

namespace qo_host {

struct FirstObjects {
  std::vector<unsigned char> first;  // the first object's bytes, as many as wanted; empty where
                                     // there is none
  bool isWhole = false;              // that one was put together
  std::vector<unsigned int> sizes;   // of the first objects that were, bytes
};

struct WantedObjects {
  unsigned char stream;
  std::size_t objects;  // that are put together
  std::size_t bytes;    // of the first, at most kMaxAllocBytes
};

// Looks for them in the first packets, 1 MiB at most, of a file that needs no mending.
// A failing source ends the search. By stream number.
std::map<unsigned char, FirstObjects> FindFirstObjects(IDataSource* source, const AsfLayout& layout,
                                                       const std::vector<WantedObjects>& wanted);

}  // namespace qo_host

#endif  // QO_HOST_FIRSTOBJECTS_H
