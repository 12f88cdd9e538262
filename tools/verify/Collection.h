// asftool verify for many files: a line each, and a summary.
#ifndef QO_TOOLS_VERIFY_COLLECTION_H
#define QO_TOOLS_VERIFY_COLLECTION_H

#include <string>
#include <vector>

#include "tools/common/Tool.h"

namespace tool {

struct CollectionOptions {
  std::vector<std::string> names;  // of files and folders
  bool entersFolders = false;
  unsigned int jobs = 1;  // files judged at once
  std::string log;        // path; empty: none
  bool json = false;
};

// Judges all files, and returns the exit code. Throws Failure(kExitCannotRun) where it
// cannot go on.
int JudgeCollection(const CollectionOptions& collection, const Options& options);

}  // namespace tool

#endif  // QO_TOOLS_VERIFY_COLLECTION_H
