// Seeks to places all over a file, in every mode, against where they should land.
#ifndef QO_TOOLS_REPORT_SEEKSURVEY_H
#define QO_TOOLS_REPORT_SEEKSURVEY_H

#include <optional>
#include <vector>

#include "tools/common/Tool.h"
#include "tools/report/Measures.h"

namespace tool {

// One seek. Times in ms.
struct SurveyedSeek {
  unsigned long long targetMs = 0;
  std::optional<long long> shouldMs;  // nothing: there is nowhere to land
  std::optional<long long> landedMs;  // nothing: it failed, or no unit came
  unsigned long long probes = 0;      // packets whose header it read
};

struct SurveyedMode {
  const char* name;    // "previous", ...
  const char* should;  // in words
  std::vector<SurveyedSeek> seeks;
};

// The targets: evenly spaced over the duration; none where that is unknown.
std::vector<unsigned long long> SeekTargetsMs(unsigned long long durationMs);

// `input` (not null) has been opened with success; its session begins anew.
// Without a track there is nothing to survey. Throws Failure.
std::vector<SurveyedMode> SurveySeeks(Input* input, const std::vector<SeekTarget>& targets);

}  // namespace tool

#endif  // QO_TOOLS_REPORT_SEEKSURVEY_H
