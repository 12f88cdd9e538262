// What asftool verify makes of one file.
#ifndef QO_TOOLS_VERIFY_JUDGE_H
#define QO_TOOLS_VERIFY_JUDGE_H

#include <functional>

#include "qo_host/Findings.h"
#include "tools/common/Tool.h"
#include "tools/common/Verdict.h"

namespace tool {

enum class Judgement : unsigned char {
  kGood,
  kGoodWithKit,  // a bare host would meet what the kit mends
  kBad,
  kUnread,  // none: the file could not be read
};

// For people: "good with the kit".
const char* JudgementText(Judgement judgement);
// In JSON: "good-with-kit".
const char* JudgementName(Judgement judgement);

// A file played out, and what that tells of it.
struct PlayOut {
  qo_host::Totals totals;
  Verdict verdict;

  Judgement judgement() const;
};

// Called now and then with the bytes of the file that are done; false ends the play-out.
using Watch = std::function<bool(unsigned long long done)>;

// Opens the file, plays it out and looks at all of its packets. Throws
// Failure(kExitCannotRun), also where `watch` (not empty) ends it.
PlayOut Judge(Input* input, const Watch& watch);

}  // namespace tool

#endif  // QO_TOOLS_VERIFY_JUDGE_H
