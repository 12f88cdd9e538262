// What a header says of a whole file, in words where it says it in codes.
#ifndef QO_TOOLS_INFO_FILEFACTS_H
#define QO_TOOLS_INFO_FILEFACTS_H

#include <optional>
#include <string>
#include <vector>

#include "qo_host/FileHeader.h"
#include "tools/common/Tool.h"

namespace tool {

// A marker or a script command.
struct TimedText {
  unsigned long long timeMs;  // preroll removed
  std::string type;           // of a command, "URL"; otherwise empty
  std::string text;
};

struct FileFacts {
  std::optional<unsigned long long> size;           // bytes
  std::optional<unsigned long long> bitsPerSecond;  // of the file as a whole
  std::string created;                              // see qo_host::DateText; empty: not said
  std::string writer;                               // programs that made it; empty: not said
  bool isBroadcast = false;                         // flags: it was written live,
  bool isSeekable = false;                          // and can be sought in
  std::vector<std::string> encryption;              // a line for each kind
  std::vector<TimedText> markers;                   // in file order
  std::vector<TimedText> commands;                  // the same
};

// Of a file whose session has been opened, or has tried to. Throws Failure(kExitCannotRun).
FileFacts GatherFile(Input* input);

}  // namespace tool

#endif  // QO_TOOLS_INFO_FILEFACTS_H
