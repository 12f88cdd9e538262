// The streams of a file, for choosing among them.
#ifndef QO_TOOLS_INFO_STREAMS_H
#define QO_TOOLS_INFO_STREAMS_H

#include <string>
#include <vector>

#include "qo_host/FileHeader.h"
#include "tools/common/Json.h"
#include "tools/common/Tool.h"

namespace tool {

struct ListedStream {
  unsigned char number;
  qo_host::StreamKind kind;
  std::string codec;     // its name where the stream is played, otherwise the tag
  std::string tag;       // FourCC, or format tag as "0x0161"; empty for other kinds
  std::string language;  // "en-us"; empty: not said
  std::string name;      // the first; empty: none
  bool chosen;           // it is played
  bool hidden;           // described in the header extension only
  bool encrypted;        // by its own flag
};

// All that the header describes, in file order. Throws Failure(kExitCannotRun).
std::vector<ListedStream> ListStreams(Input* input);

// "audio, Windows Media Audio 2, en-us, "Commentary", chosen"
std::string StreamLine(const ListedStream& stream);
Json StreamJson(const ListedStream& stream);

}  // namespace tool

#endif  // QO_TOOLS_INFO_STREAMS_H
