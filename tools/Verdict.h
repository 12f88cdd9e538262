// What a host should know of a file, in plain words: what makes it bad, and what
// is merely worth a note.
#ifndef QO_TOOLS_VERDICT_H
#define QO_TOOLS_VERDICT_H

#include <array>
#include <string>
#include <vector>

#include "tools/Tool.h"

namespace tool {

// What came out of one track.
struct TrackTotals {
  unsigned long long units = 0;
  unsigned long long bytes = 0;
  unsigned long long firstMs = 0;  // time of the first unit
  unsigned long long lastMs = 0;   // the greatest time of any unit
};

// A play-out, track by track.
class Totals {
 public:
  void Add(const host::AccessUnit& unit);
  const TrackTotals& of(host::TrackKind kind) const { return totals_[Slot(kind)]; }

 private:
  static std::size_t Slot(host::TrackKind kind) { return kind == host::TrackKind::kVideo ? 0 : 1; }
  std::array<TrackTotals, 2> totals_{};
};

struct Verdict {
  std::vector<std::string> problems;  // each makes the file bad
  std::vector<std::string> notes;

  int exitCode() const { return problems.empty() ? kExitGood : kExitBadFile; }
};

// Opens the file with the parser and judges it by its header and its size. A file
// that the parser refuses has that as a problem. Throws Failure(kExitCannotRun).
Verdict OpenAndJudge(Input* input);

// Judges a whole play-out of an open file as well, right after it: the source's
// position still tells whether it went to the end. Packet headers are read again
// where it did not, where the totals disagree with the header, or with `explain`.
void JudgePlayOut(Input* input, const Totals& totals, bool explain, Verdict* verdict);

// Prints the problems to stderr, each with the file's name.
void PrintProblems(const Input& input, const Verdict& verdict);

}  // namespace tool

#endif  // QO_TOOLS_VERDICT_H
