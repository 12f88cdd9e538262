// What a header holds of texts at times: script commands and markers.
#ifndef QO_TOOLS_EXTRACT_TEXTS_H
#define QO_TOOLS_EXTRACT_TEXTS_H

#include <string>

#include "qo_host/FileHeader.h"

namespace tool {

// SubRip subtitles of the script commands that show a text (all but those that open an
// address or a file), each until the next one; the last until `endMs`, or some seconds
// long. Empty where there are none.
std::string CaptionsText(const qo_host::FileHeader& header, unsigned long long endMs);

// A line each, in the order of time: "0:01:02.500", a tab, what it is ("marker" or the
// command's type), a tab, the text. Empty where there are none.
std::string CommandsText(const qo_host::FileHeader& header);

}  // namespace tool

#endif  // QO_TOOLS_EXTRACT_TEXTS_H
