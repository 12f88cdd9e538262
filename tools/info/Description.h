// All that asftool info knows of a file.
#ifndef QO_TOOLS_INFO_DESCRIPTION_H
#define QO_TOOLS_INFO_DESCRIPTION_H

#include <vector>

#include "tools/common/Verdict.h"
#include "tools/info/FileFacts.h"
#include "tools/info/StreamFacts.h"

namespace tool {

struct Description {
  FileFacts file;
  std::vector<DescribedStream> streams;  // in file order
  Verdict verdict;
};

}  // namespace tool

#endif  // QO_TOOLS_INFO_DESCRIPTION_H
