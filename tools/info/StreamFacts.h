// What there is to know of each stream of a file without playing it: from its header, and from the
// packets at both ends.
#ifndef QO_TOOLS_INFO_STREAMFACTS_H
#define QO_TOOLS_INFO_STREAMFACTS_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "qo_host/FileHeader.h"
#include "qo_host/StreamSample.h"
#include "tools/common/Tool.h"

namespace tool {

// A value, and whether it is measured in the first packets because the header has none.
template <typename Value>
struct Measurable {
  Value value;
  bool isMeasured;
};

// Two numbers that share no factor.
struct Ratio {
  unsigned int x;
  unsigned int y;
};

struct DescribedStream {
  const qo_host::StreamHeader* header;  // of Input::header()
  std::string codec;                    // its name; where that isn't known, the tag
  std::string tag;                      // see qo_host::CodecTagText
  std::string profile;                  // these are empty where they aren't known
  std::string language;                 // "en-us"
  std::string name;                     // the first
  bool chosen;                          // it is played
  std::optional<Measurable<unsigned long long>> bitrate;  // bit/s
  std::optional<Measurable<double>> frameRate;            // video, frames a second
  std::optional<Ratio> pixelAspect;                       // video, as a tag has it
  std::optional<Ratio> displayAspect;                     // video
  std::optional<unsigned int> startMs;                    // of its first object
  std::optional<unsigned int> durationMs;                 // to the end of its last
};

// Of all streams that the header describes, in file order. Throws Failure(kExitCannotRun).
std::vector<DescribedStream> GatherStreams(Input* input);

}  // namespace tool

#endif  // QO_TOOLS_INFO_STREAMFACTS_H
