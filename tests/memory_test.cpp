// Every allocation fails once. A program of its own, for it replaces operator new.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

#include "AsfBuilder.h"
#include "FaultySource.h"
#include "platform/Platform.h"
#include "qo_parser_asf/IParser.h"

namespace {

long untilFailure = 0;  // allocations; 0 = none fails
std::size_t liveBytes = 0;

void* Allocate(std::size_t size) {
  if (untilFailure > 0 && --untilFailure == 0) return nullptr;
  void* block = std::malloc(size);
  liveBytes += malloc_usable_size(block);
  return block;
}

}  // namespace

void* operator new(std::size_t size) {
  if (void* block = Allocate(size)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* block) noexcept {
  if (block != nullptr) liveBytes -= malloc_usable_size(block);
  std::free(block);
}
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { operator delete(block); }

namespace {

// Whether the result of a call says that memory ran out.
bool SaysSo(int status) { return status == kParserOutOfRange; }
bool SaysSo(const void* pointer) { return pointer == nullptr; }

// A whole session in which the allocation with the number `failing` fails: the
// call that made it says so and no other does. False: there were fewer.
bool RunSession(const Bytes& file, long failing) {
  static std::vector<unsigned char> buffer(kMaxAccessUnitBytes);
  FaultySource source(file);
  source.record = false;
  const std::size_t before = liveBytes;
  untilFailure = failing;
  const auto run = [](auto call) {
    const long left = untilFailure;
    const auto result = call();
    const bool failed = left > 0 && untilFailure == 0;
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
  const bool fired = untilFailure == 0;
  untilFailure = 0;
  if (parser != nullptr) {
    EXPECT_EQ(0, parser->Close());
  }
  destroyParser(parser);
  EXPECT_EQ(before, liveBytes);
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

// The platform's place: no log, no property.
int __android_log_print(int, const char*, const char*, ...) { return 0; }
void __android_log_assert(const char*, const char*, const char*, ...) { std::abort(); }
int property_get(const char*, char* value, const char* defaultValue) {
  return std::snprintf(value, 92, "%s", defaultValue);
}
