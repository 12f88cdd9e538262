// The log of a verification that may be broken off and gone on with: a line of JSON a file,
// the document that `verify --json` prints, with "key" besides.
//
// Lines are appended whole, one write each. A last line that a crash cut short counts for
// nothing. Memory: 33 bytes a line that was there when it was opened.
#ifndef QO_TOOLS_VERIFY_VERIFYLOG_H
#define QO_TOOLS_VERIFY_VERIFYLOG_H

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/common/Tool.h"
#include "tools/verify/FileWalk.h"
#include "tools/verify/Judge.h"

namespace tool {

// Stands for a file as it is: another one for another name, size or time, and for options
// by which it would be judged otherwise. 32 hexadecimal digits.
std::string LogKey(const FoundFile& file, const Options& options);

class VerifyLog {
 public:
  // Opens or makes the file at `path`, which must be such a log, or empty, and no other
  // process's at the time. Throws Failure(kExitCannotRun), as all here do.
  explicit VerifyLog(const std::string& path);

  // What the log said of a file when it was opened. Nothing also where it could not be
  // read then.
  std::optional<Judgement> Find(const std::string& key) const;

  // Appends a document on one line, without its end.
  void Append(const std::string& document);

 private:
  using Key = std::array<char, 32>;
  using Entry = std::pair<Key, Judgement>;
  struct Descriptor {
    ~Descriptor();
    int number = -1;
  };

  void Read();
  void Note(const std::string& line);
  [[noreturn]] void Fail(const std::string& what) const;

  const std::string path_;
  Descriptor file_;
  bool isTorn_ = false;         // the last line lacks its end
  std::vector<Entry> entries_;  // by their keys, of two the later last
};

}  // namespace tool

#endif  // QO_TOOLS_VERIFY_VERIFYLOG_H
