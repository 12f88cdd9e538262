// The parts of a report, each as markup.
#ifndef QO_TOOLS_REPORT_SECTIONS_H
#define QO_TOOLS_REPORT_SECTIONS_H

#include <string>

#include "tools/report/Gather.h"

namespace tool {

// What the file is: the verdict, facts, findings.
std::string OverviewSection(const Gathered& gathered);
std::string StreamsSection(const Gathered& gathered);
// Tags, markers and the cover.
std::string TagsSection(const Gathered& gathered);

// Over time.
std::string BitrateSection(const Gathered& gathered);
std::string KeyFrameSection(const Gathered& gathered);
// Over the file.
std::string InterleaveSection(const Gathered& gathered);
std::string PacketSection(const Gathered& gathered);

std::string SeekSection(const Gathered& gathered);

// Its objects and their fields, folded. Reads the file; throws Failure.
std::string TreeSection(const Gathered& gathered);

}  // namespace tool

#endif  // QO_TOOLS_REPORT_SECTIONS_H
