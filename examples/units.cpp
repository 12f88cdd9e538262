// Prints a file's tracks and units with the bare interface, nothing of the kit: what a
// host does that wants no more than the parser. Units come in the order of time.
#include <qo_parser_asf/IParser.h>

#include <cstdio>
#include <vector>

#include "StdioSource.h"

namespace {

// One track on its way to a decoder: the unit that comes next, until its end.
struct Lane {
  int kind = 0;  // kTrackVideo or kTrackAudio; 0: the file has no such track
  int status = kParserEndOfStream;
  std::vector<unsigned char> unit;
  unsigned long size = 0, timeMs = 0;

  void Fetch(IParser* parser) {
    if (kind == kTrackVideo) {
      status = parser->GetVideoData(unit.data(), &size, &timeMs, unit.size(), false);
    } else if (kind == kTrackAudio) {
      status = parser->GetAudioData(unit.data(), &size, &timeMs, unit.size());
    }
  }
  const char* Name() const { return kind == kTrackVideo ? "video" : "audio"; }
};

// Asks for audio or video only where a track is of that kind: what else asks for it may
// end the process.
bool Describe(IParser* parser, unsigned int index, Lane* lane) {
  const TrackInfo* track = parser->GetTrackInfo(index);
  if (!track) return false;  // memory ran out, or the source failed
  lane->kind = static_cast<int>(track->trackType);
  lane->unit.resize(kMaxAccessUnitBytes);  // the parser doesn't look at the capacity
  unsigned long configBytes = 0;
  int status = kParserOk;
  if (lane->kind == kTrackVideo) {
    status = parser->GetVideoConfig(lane->unit.data(), &configBytes, lane->unit.size());
  } else {
    status = parser->GetAudioConfig(lane->unit.data(), &configBytes, lane->unit.size());
    parser->Seek(0, kTrackAudio, 0);  // describing AC-3 has read packets
  }
  std::printf("%s: codec %u, %lu bytes of configuration\n", lane->Name(), track->codec,
              configBytes);
  return status == kParserOk;
}

// The lane whose unit is due, video first among equals; null when both have ended.
Lane* NextOf(Lane& video, Lane& audio) {
  if (video.status != kParserOk) return audio.status == kParserOk ? &audio : nullptr;
  return audio.status != kParserOk || video.timeMs <= audio.timeMs ? &video : &audio;
}

bool Play(IParser* parser) {
  Lane lanes[2];  // a file has at most one track of each kind
  for (unsigned int i = 0; i < parser->GetTrackCount(); ++i) {
    if (!Describe(parser, i, &lanes[i])) return false;
  }
  const bool audioFirst = lanes[0].kind == kTrackAudio;
  Lane& video = lanes[audioFirst ? 1 : 0];
  Lane& audio = lanes[audioFirst ? 0 : 1];
  for (Lane& lane : lanes) lane.Fetch(parser);
  while (Lane* lane = NextOf(video, audio)) {
    std::printf("%s %lu ms: %lu bytes\n", lane->Name(), lane->timeMs, lane->size);
    lane->Fetch(parser);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fputs("usage: units FILE\n", stderr), 2;
  StdioSource source(argv[1]);
  if (source.Open() < 0) return std::perror(argv[1]), 2;
  IParser* parser = createParser();
  if (!parser) return std::fputs("out of memory\n", stderr), 2;

  const int status = parser->Open(&source);
  if (status != kParserOk) std::fprintf(stderr, "%s: refused, status %d\n", argv[1], status);
  const bool played = status == kParserOk && Play(parser);
  parser->Close();  // whatever happened, and before destroyParser
  destroyParser(parser);
  return played ? 0 : 1;
}
