// Two parsers in two threads, each with a file of its own: built with the thread
// sanitizer, which ends the program where they race. Both threads must read the
// same from the same file.
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "qo_parser_asf/IParser.h"
#include "testing/FaultySource.h"
#include "testing/PlatformStandIn.h"
#include "testing/SampleFiles.h"

namespace {

// All units of a file, before and after a seek of each mode.
std::string Play(const std::string& file) {
  std::string units;
  std::vector<char> buffer(kMaxAccessUnitBytes);
  auto* const data = reinterpret_cast<unsigned char*>(buffer.data());
  FaultySource source(file);
  IParser* parser = createParser();
  parser->Open(&source);
  for (unsigned int k = 0; k < parser->GetTrackCount(); ++k) parser->GetTrackInfo(k);
  for (const int mode : {kSeekPreviousSync, kSeekNextSync, kSeekClosestSync, kSeekClosest}) {
    unsigned long size = 0, timeMs = 0;
    while (parser->GetVideoData(data, &size, &timeMs, 0, false) == kParserOk ||
           parser->GetAudioData(data, &size, &timeMs, 0) == kParserOk) {
      units.append(buffer.data(), size) += std::to_string(timeMs);
    }
    for (const int kind : {kTrackVideo, kTrackAudio}) parser->SeekEx(500, kind, 0, 0, 0, mode);
  }
  parser->Close();
  destroyParser(parser);
  return units;
}

}  // namespace

int main(int argc, char** argv) {
  SetLevelProperty("7");  // messages are formatted in the thread that prints them
  for (int k = 1; k < argc; ++k) {
    const std::string file = FileBytes(argv[k]);
    std::string units[2];
    std::thread other([&] { units[1] = Play(file); });
    units[0] = Play(file);
    other.join();
    if (units[0].empty() || units[0] != units[1]) {
      return std::fprintf(stderr, "%s: the threads read different units\n", argv[k]), 1;
    }
  }
  return argc > 1 ? 0 : 2;
}
