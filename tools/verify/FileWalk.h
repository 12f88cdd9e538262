// The files that the names on a command line stand for, one after the other.
#ifndef QO_TOOLS_VERIFY_FILEWALK_H
#define QO_TOOLS_VERIFY_FILEWALK_H

#include <cstddef>
#include <string>
#include <vector>

namespace tool {

// A file, or a name that stands for none.
struct FoundFile {
  std::string path;
  std::string error;             // why it stands for none; empty: it may be opened
  unsigned long long bytes = 0;  // of the file when it was found
  long long modifiedNs = 0;      // when it was last written, from the epoch
};

// The names in their order. A folder stands for the files in it and in the folders below it
// whose names end as those of ASF files do, by their names' bytes; a link to a folder is
// not followed. Memory: the names in the folders that lead to where the walk is.
class FileWalk {
 public:
  // Without `entersFolders` a folder stands for none.
  FileWalk(const std::vector<std::string>& names, bool entersFolders);

  // False at the end.
  bool Next(FoundFile* file);

  // Files in folders that were not taken, for their names.
  unsigned long long passedOver() const { return passedOver_; }

 private:
  // What is left of a folder.
  struct Level {
    std::string prefix;              // in front of each name
    std::vector<std::string> names;  // the next last; those of folders end in a slash
  };

  void Enter(const std::string& folder, FoundFile* unreadable);

  const bool entersFolders_;
  std::vector<Level> levels_;  // the command line first
  unsigned long long passedOver_ = 0;
};

}  // namespace tool

#endif  // QO_TOOLS_VERIFY_FILEWALK_H
