// Every allocation fails once. A program of its own, for the meter takes operator
// new's place.
#include <gtest/gtest.h>

#include <vector>

#include "qo_parser_asf/IParser.h"
#include "testing/AsfBuilder.h"
#include "testing/FaultySource.h"
#include "testing/HeapMeter.h"

namespace {

// Whether the result of a call says that memory ran out.
bool SaysSo(int status) { return status == kParserOutOfRange; }
bool SaysSo(const void* pointer) { return pointer == nullptr; }

// A whole session in which the allocation with the number `failing` fails: the
// call that made it says so and no other does. False: there were fewer.
bool RunSession(const Bytes& file, long failing) {
  static std::vector<unsigned char> buffer(kMaxAccessUnitBytes);
  FaultySource source(file);
  const std::size_t before = HeapBytes();
  FailAllocation(failing);
  const auto run = [](auto call) {
    const long left = AllocationsUntilFailure();
    const auto result = call();
    const bool failed = left > 0 && AllocationsUntilFailure() == 0;
    EXPECT_EQ(failed, SaysSo(result));
    return result;
  };
  IParser* parser = run([] { return createParser(); });
  if (parser != nullptr && run([&] { return parser->Open(&source); }) == 0) {
    unsigned long size, timeMs;
    for (unsigned int k = 0; k < parser->GetTrackCount(); ++k) {
      run([&] { return parser->GetTrackInfo(k); });
    }
    for (const int seekMode : {kSeekPreviousSync, kSeekClosest, kSeekNextSync}) {
      for (int k = 0; k < 12; ++k) {
        run([&] { return parser->GetAudioData(buffer.data(), &size, &timeMs, 0); });
        run([&] { return parser->GetVideoData(buffer.data(), &size, &timeMs, 0, false); });
      }
      for (const int track : {kTrackVideo, kTrackAudio}) {
        run([&] { return parser->SeekEx(1500, track, 0, 0, 0, seekMode); });
      }
    }
  }
  const bool fired = AllocationsUntilFailure() == 0;
  FailAllocation(0);
  if (parser != nullptr) {
    EXPECT_EQ(0, parser->Close());
  }
  destroyParser(parser);
  EXPECT_EQ(before, HeapBytes());
  return fired;
}

Bytes PlayableFile(int tag, const char* fourcc, const Bytes& video) {
  const Bytes title = Utf16("WM/TrackTitle");
  const std::vector<Bytes> record = {Record(title, 0, title)};
  AsfFile file({Stream(ID_AUDIO_MEDIA, 1, AudioFormat(tag, 16000, 4)),
                Stream(ID_VIDEO_MEDIA, 2, VideoFormat(fourcc)), Stream(ID_COMMAND_MEDIA, 3, {}),
                ContentDescription({title, {}, {}, {}, title}),
                ExtendedContent({Descriptor(title, 0, title), Descriptor(title, 1, title)}),
                HeaderExtension(Metadata(record) + Metadata(record, ID_METADATA_LIBRARY_OBJECT))},
               {}, SimpleIndex(10000000, {0, 2, 4, 5}));
  file.preroll = 0;
  for (unsigned int ms = 0; ms < 3000; ms += 500) {
    file.packets.push_back(
        Packet({Key(2, ms, video), Media(2, ms, "more").Offset(1), Media(1, ms, Bytes(20, '\x0B')),
                Compressed(1, ms, 5, {"a", "b"})}));
  }
  return file.Build();
}

TEST(Memory, EveryAllocationMayFailOnce) {
  const Bytes files[] = {PlayableFile(0x161, "H264", Hex("00 00 00 01 65 00 00 00 02 41 42")),
                         PlayableFile(0x2000, "MPG2", Hex("00 00 01 00 00 08 00 00 01 00 00")),
                         PlayableFile(0x55, "WVC1", Hex("00 00 01 0F 11 00 00 01 0D C0 11"))};
  for (const Bytes& file : files) {
    RunSession(file, 0);
    long failing = 1;
    while (RunSession(file, failing)) ++failing;
    EXPECT_GT(failing, 40) << "too few allocations for a whole session";
  }
}

}  // namespace
