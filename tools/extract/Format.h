// The formats that extract writes, each by the ending of a file's name.
#ifndef QO_TOOLS_EXTRACT_FORMAT_H
#define QO_TOOLS_EXTRACT_FORMAT_H

#include <string>

#include "tools/extract/Writer.h"

namespace tool {

struct Format {
  enum class Takes : unsigned char {
    kAudio,     // one audio stream
    kVideo,     // one video stream
    kStreams,   // all audio and video streams there are
    kPicture,   // the cover art
    kCaptions,  // the script commands that show a text
    kTexts,     // script commands and markers
  };
  const char* ending;  // ".wav"
  const char* holds;   // in words, for help
  Takes takes;
  // Of streams only; otherwise null. `fits` is asked of one of them at a time.
  bool (*fits)(const StreamSetup&);
  WriterPointer (*make)(OutputFile*, const StreamList&);
};

// The one that a file's name ends in, in whatever case. Throws
// Failure(kExitCannotRun) where there is none.
const Format& FormatOfName(const std::string& path);
// The one whose ending this is, with its dot or without. Throws the same.
const Format& FormatOfEnding(const std::string& ending);

// Throws Failure(kExitCannotRun) where the stream doesn't go into the format, and says
// what it does go into.
void CheckFit(const Format& format, const std::string& path, const StreamSetup& setup);

// All of them, a line each: the ending and what it holds.
std::string FormatList();

// ".jpg" or ".png" by a picture's first bytes; empty for others.
std::string PictureEnding(const std::vector<unsigned char>& picture);

}  // namespace tool

#endif  // QO_TOOLS_EXTRACT_FORMAT_H
