// All that a report tells of a file, gathered in passes over it whose memory does not grow
// with its length.
#ifndef QO_TOOLS_REPORT_GATHER_H
#define QO_TOOLS_REPORT_GATHER_H

#include <vector>

#include "tools/report/Measures.h"
#include "tools/report/PacketScan.h"
#include "tools/report/SeekSurvey.h"
#include "tools/verify/Judge.h"

namespace tool {

struct Gathered {
  Input* input;  // opened, with success or not
  PlayOut played;
  PacketExtent extent;
  Measures measures;
  std::vector<SurveyedMode> seeks;
};

// Opens the file, judges it by a play-out, measures its packets and seeks in it. A file that
// is bad in any way is told of as far as it can be read. Throws Failure(kExitCannotRun).
Gathered Gather(Input* input);

}  // namespace tool

#endif  // QO_TOOLS_REPORT_GATHER_H
