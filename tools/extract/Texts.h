// Script commands and markers as files of text.
#ifndef QO_TOOLS_EXTRACT_TEXTS_H
#define QO_TOOLS_EXTRACT_TEXTS_H

#include <string>
#include <vector>

#include "tools/info/FileFacts.h"

namespace tool {

// SubRip subtitles of the script commands that show a text (all but those that open an
// address or a file), each until the next one; the last until `endMs`, or some seconds
// long. Empty where there are none.
std::string CaptionsText(const std::vector<TimedText>& commands, unsigned long long endMs);

// A line each, in the order of time: "0:01:02.500", a tab, what it is ("marker" or the
// command's type), a tab, the text. Empty where there are none.
std::string CommandsText(const FileFacts& facts);

}  // namespace tool

#endif  // QO_TOOLS_EXTRACT_TEXTS_H
