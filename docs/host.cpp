// A complete small host: opens the file named, describes it, plays both tracks
// out in the order of time, then seeks to two thirds of it.
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
  unsigned long units = 0, bytes = 0;

  void Fetch(IParser* parser) {
    if (kind == kTrackVideo) {
      status = parser->GetVideoData(unit.data(), &size, &timeMs, unit.size(), false);
    } else if (kind == kTrackAudio) {
      status = parser->GetAudioData(unit.data(), &size, &timeMs, unit.size());
    }
  }
};

using Lanes = Lane[2];

void Describe(IParser* parser, Lanes& lanes) {
  unsigned long durationMs = 0;
  parser->GetDurationMs(&durationMs);
  std::printf("%lu ms\n", durationMs);
  for (unsigned int i = 0; i < parser->GetTrackCount(); ++i) {
    const TrackInfo* track = parser->GetTrackInfo(i);
    Lane& lane = lanes[i];
    lane.kind = static_cast<int>(track->trackType);
    lane.unit.resize(kMaxAccessUnitBytes);
    unsigned long configBytes = 0;
    if (lane.kind == kTrackVideo) {
      parser->GetVideoConfig(lane.unit.data(), &configBytes, lane.unit.size());
    } else {
      parser->GetAudioConfig(lane.unit.data(), &configBytes, lane.unit.size());
      parser->Seek(0, kTrackAudio, 0);  // describing AC-3 has read packets
    }
    std::printf("track %u: %s, codec %u, %lu bytes of configuration\n", i,
                lane.kind == kTrackVideo ? "video" : "audio", track->codec, configBytes);
  }
}

void Play(IParser* parser, Lanes& lanes) {
  for (Lane& lane : lanes) lane.Fetch(parser);
  while (true) {
    Lane* next = nullptr;
    for (Lane& lane : lanes) {
      if (lane.status == kParserOk && (!next || lane.timeMs < next->timeMs)) next = &lane;
    }
    if (!next) break;
    ++next->units;  // here a host hands the unit to a decoder
    next->bytes += next->size;
    next->Fetch(parser);
  }
  for (const Lane& lane : lanes) {
    if (lane.kind != 0) std::printf("%lu units, %lu bytes\n", lane.units, lane.bytes);
  }
}

// Video first: audio then follows to where video goes on, as long as nothing has
// been read in between.
void SeekTo(IParser* parser, Lanes& lanes, unsigned long timeMs) {
  for (const int kind : {kTrackVideo, kTrackAudio}) {
    for (Lane& lane : lanes) {
      if (lane.kind == kind) lane.status = parser->SeekEx(timeMs, kind, 0, 0, 0, kSeekPreviousSync);
    }
  }
  for (Lane& lane : lanes) {
    if (lane.kind == 0 || lane.status != kParserOk) continue;
    lane.Fetch(parser);
    std::printf("%lu ms sought, %s goes on at %lu ms\n", timeMs,
                lane.kind == kTrackVideo ? "video" : "audio", lane.timeMs);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fputs("usage: host FILE\n", stderr), 2;
  StdioSource source(argv[1]);
  if (source.Open() < 0) return std::perror(argv[1]), 2;
  IParser* parser = createParser();
  if (!parser) return std::fputs("out of memory\n", stderr), 2;

  const int status = parser->Open(&source);
  if (status == kParserOk) {
    Lanes lanes;
    Describe(parser, lanes);
    Play(parser, lanes);
    unsigned long durationMs = 0;
    parser->GetDurationMs(&durationMs);
    SeekTo(parser, lanes, durationMs * 2 / 3);
  } else {
    std::fprintf(stderr, "%s: the parser refuses it with status %d\n", argv[1], status);
  }
  parser->Close();  // whatever happened, and before destroyParser
  destroyParser(parser);
  return status == kParserOk ? 0 : 1;
}
