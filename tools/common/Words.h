// The words that asftool has for what the host's side tells in codes.
#ifndef QO_TOOLS_COMMON_WORDS_H
#define QO_TOOLS_COMMON_WORDS_H

#include <string>

#include "qo_host/ExactSeek.h"
#include "qo_host/Findings.h"
#include "qo_host/Repair.h"

namespace tool {

// Without a full stop; from the file's own bytes only what is printable.
std::string FindingText(const qo_host::Finding& finding);

// The name that its code has in JSON, which stays: "packet-count". What is mended and
// what is not has the same where it is the same.
const char* FindingName(const qo_host::Finding& finding);

// "note", "mended" or "problem".
const char* SeverityName(qo_host::Severity severity);

// What is wrong with a packet; empty for one that is right.
const char* FaultText(qo_host::PacketFault fault);

// What a repair mends.
std::string RepairText(const qo_host::RepairFinding& finding);

// Why a plan refuses a file.
std::string RefusalText(const qo_host::PresentedFile& file);

// Why an exact seek failed.
std::string SeekProblemText(const qo_host::ExactSeek& seek);

}  // namespace tool

#endif  // QO_TOOLS_COMMON_WORDS_H
