// The words that asftool has for what the host's side tells in codes.
#ifndef QO_TOOLS_WORDS_H
#define QO_TOOLS_WORDS_H

#include <string>

#include "host/ExactSeek.h"
#include "host/Findings.h"

namespace tool {

// Without a full stop; from the file's own bytes only what is printable.
std::string FindingText(const host::Finding& finding);

// Why an exact seek failed.
std::string SeekProblemText(const host::ExactSeek& seek);

}  // namespace tool

#endif  // QO_TOOLS_WORDS_H
