// The words that asftool has for what the host's side tells in codes.
#ifndef QO_TOOLS_WORDS_H
#define QO_TOOLS_WORDS_H

#include <string>

#include "host/ExactSeek.h"
#include "host/Findings.h"
#include "host/Repair.h"

namespace tool {

// Without a full stop; from the file's own bytes only what is printable.
std::string FindingText(const host::Finding& finding);

// What a repair mends.
std::string RepairText(const host::RepairFinding& finding);

// Why a plan refuses a file.
std::string RefusalText(const host::Plan& plan);

// Why an exact seek failed.
std::string SeekProblemText(const host::ExactSeek& seek);

}  // namespace tool

#endif  // QO_TOOLS_WORDS_H
