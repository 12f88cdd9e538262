// What asftool info prints for people.
#ifndef QO_TOOLS_INFO_INFOTEXT_H
#define QO_TOOLS_INFO_INFOTEXT_H

#include "tools/info/Description.h"

namespace tool {

// Prints it, but for the problems, which go to stderr.
void PrintDescription(Input* input, const Description& description);

}  // namespace tool

#endif  // QO_TOOLS_INFO_INFOTEXT_H
