// A file's verdict in words, and the exit code that follows from it.
#ifndef QO_TOOLS_COMMON_VERDICT_H
#define QO_TOOLS_COMMON_VERDICT_H

#include <string>
#include <vector>

#include "qo_host/Findings.h"
#include "tools/common/Tool.h"

namespace tool {

struct Verdict {
  std::vector<qo_host::Finding> findings;
  // In words: theirs, and what a command adds. Each problem makes the file bad; what the
  // kit mends is a note.
  std::vector<std::string> problems;
  std::vector<std::string> notes;

  void Add(const std::vector<qo_host::Finding>& more);
  bool isMended() const;  // a bare host would meet what the kit mends
  int exitCode() const { return problems.empty() ? kExitGood : kExitBadFile; }
};

// Opens the file with the parser and judges it by its header and its size. A file
// that the parser refuses has that as a problem. Throws Failure(kExitCannotRun).
Verdict OpenAndJudge(Input* input);

// Judges a whole play-out of an open file as well, right after it. Throws
// Failure(kExitCannotRun).
void JudgePlayOut(Input* input, const qo_host::Totals& totals, Verdict* verdict);

// Prints the problems to stderr, each with the file's name.
void PrintProblems(const Input& input, const Verdict& verdict);

}  // namespace tool

#endif  // QO_TOOLS_COMMON_VERDICT_H
