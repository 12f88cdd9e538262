// Memory: every allocation fails once, and the heap and time that the costliest
// files take. A program of its own, for it replaces operator new.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <new>
#include <vector>

#include "AsfBuilder.h"
#include "FaultySource.h"
#include "IParser.h"
#include "platform/Platform.h"

namespace {

long untilFailure = 0;  // allocations; 0 = none fails
std::size_t liveBytes = 0;
std::size_t peakBytes = 0;

void* Allocate(std::size_t size) {
  if (untilFailure > 0 && --untilFailure == 0) return nullptr;
  void* block = std::malloc(size);
  liveBytes += malloc_usable_size(block);
  if (liveBytes > peakBytes) peakBytes = liveBytes;
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
    for (const int seekMode : {-1, kSeekPreviousSync, kSeekClosest}) {
      for (const int track : {kTrackVideo, kTrackAudio}) {
        if (seekMode >= 0) {
          run([&] { return parser->SeekEx(1500, track, 0, 0, 0, seekMode); });
        } else {
          parser->Seek(0, track, 0);
        }
      }
      for (int k = 0; k < 12; ++k) {
        run([&] { return parser->GetAudioData(buffer.data(), &size, &timeMs, 0); });
        run([&] { return parser->GetVideoData(buffer.data(), &size, &timeMs, 0, false); });
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

AsfFile PlayableFile(int tag, const char* fourcc, const Bytes& video) {
  AsfFile file;
  const Bytes title = Utf16("WM/TrackTitle");
  file.header = {Stream(ID_AUDIO_MEDIA, 1, AudioFormat(tag, 16000, 4)),
                 Stream(ID_VIDEO_MEDIA, 2, VideoFormat(fourcc)),
                 Stream(ID_COMMAND_MEDIA, 3, {}),
                 ContentDescription({title, {}, {}, {}, title}),
                 ExtendedContent({Descriptor(title, 0, title), Descriptor(title, 1, title)}),
                 HeaderExtension(Metadata({Record(title, 0, title)}) +
                                 Metadata({Record(title, 0, title)}, ID_METADATA_LIBRARY_OBJECT))};
  file.preroll = 0;
  for (unsigned int k = 0; k < 6; ++k) {
    file.packets.push_back(
        Packet({Key(2, k * 500, video), Media(2, k * 500, "more").Offset(1),
                Media(1, k * 500, Bytes(20, '\x0B')), Compressed(1, k * 500, 5, {"a", "b"})}));
  }
  file.trailing = SimpleIndex(10000000, {0, 2, 4, 5});
  return file;
}

TEST(Memory, EveryAllocationMayFailOnce) {
  const AsfFile files[] = {PlayableFile(0x161, "H264", Hex("00 00 00 01 65 00 00 00 02 41 42")),
                           PlayableFile(0x2000, "MPG2", Hex("00 00 01 00 00 08 00 00 01 00 00")),
                           PlayableFile(0x55, "WVC1", Hex("00 00 01 0F 11 00 00 01 0D C0 11"))};
  for (const AsfFile& file : files) {
    const Bytes bytes = file.Build();
    RunSession(bytes, 0);
    long failing = 1;
    while (RunSession(bytes, failing)) ++failing;
    EXPECT_GT(failing, 40) << "too few allocations for a whole session";
  }
}

Bytes Repeat(const Bytes& part, std::size_t bytes) {
  Bytes all;
  while (all.size() < bytes) all += part;
  return all;
}

// A header of `bytes` bytes that consists of one object over and over.
Bytes HeaderOf(const Bytes& object, std::size_t bytes) {
  AsfFile file;
  file.header = {Repeat(object, bytes)};
  file.headerCount = file.header[0].size() / object.size() + 1;
  return file.Build();
}

// A file whose single packet is `packet`.
Bytes OnePacket(const Bytes& stream, const Packet& packet, unsigned int length) {
  AsfFile file;
  file.header = {stream};
  file.packets = {packet};
  file.packetLength = length;
  return file.Build();
}

constexpr std::size_t kMillion = 1000000;
constexpr std::size_t kLargestObject = 0x100000 - 16;

// What docs/safety.md states: the heap is at most 64 bytes for each of the file
// and 32 MB; no call takes long.
TEST(Memory, CostliestFilesStayInProportion) {
  const auto audio = [](int blockAlign) {
    return Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x161, 16000, blockAlign));
  };
  const auto video = [](const char* fourcc) {
    return Stream(ID_VIDEO_MEDIA, 1, VideoFormat(fourcc));
  };
  AsfFile indexes;
  indexes.trailing = Repeat(SimpleIndex(32, {}), 8 * kMillion);
  AsfFile fragments;
  fragments.header = {video("WMV2")};
  fragments.packetLength = 1500;
  std::vector<Payload> bytes(63, Media(1, 5, "x").Offset(1));
  fragments.packets.assign(10000, Packet(bytes));
  bytes[0].offset = 0;
  fragments.packets[0] = Packet(bytes);

  const struct {
    const char* name;
    Bytes file;
  } rows[] = {
      {"streams", HeaderOf(Stream(ID_AUDIO_MEDIA, 1, {}), 31 * kMillion)},
      {"unknown objects", HeaderOf(Bytes(16, 'x') + Le(24, 8), 8 * kMillion)},
      {"descriptions", HeaderOf(ContentDescription({{}, {}, {}, {}, {}}), 8 * kMillion)},
      {"descriptor counts",
       HeaderOf(ExtendedContent({}, 0xFFFF, 32) + Le(0, 2) + Le(5, 2) + Le(1, 2), 8 * kMillion)},
      {"indexes", indexes.Build()},
      {"sub-payloads",
       OnePacket(audio(1), Packet({Compressed(1, 5, 1, std::vector<Bytes>(2 * kMillion, "x"))}),
                 4 * kMillion + 100)},
      {"audio frames", OnePacket(audio(1), Packet({Media(1, 5, Bytes(kLargestObject, 'x'))}),
                                 kLargestObject + 100)},
      {"NAL units", OnePacket(video("H264"), Packet({Media(1, 5, Bytes(kLargestObject, 0))}),
                              kLargestObject + 100)},
      {"pictures",
       OnePacket(video("MPG2"), Packet({Media(1, 5, Repeat(Hex("00 00 01 00"), kLargestObject))}),
                 kLargestObject + 100)},
      {"fragments", fragments.Build()},
  };
  std::vector<unsigned char> buffer(kMaxAccessUnitBytes);
  for (const auto& row : rows) {
    FaultySource source(row.file);
    source.record = false;
    const std::size_t before = peakBytes = liveBytes;
    const std::clock_t start = std::clock();
    IParser* parser = createParser();
    EXPECT_EQ(0, parser->Open(&source)) << row.name;
    unsigned long size, timeMs;
    const TrackInfo* info = parser->GetTrackInfo(0);
    if (info != nullptr && info->trackType == kTrackAudio) {
      parser->GetAudioData(buffer.data(), &size, &timeMs, 0);
    } else if (info != nullptr) {
      parser->GetVideoData(buffer.data(), &size, &timeMs, 0, false);
    }
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    const std::size_t heap = peakBytes - before;
    parser->Close();
    destroyParser(parser);
    std::printf("%-17s %8zu bytes: %.3f s, %zu bytes of heap\n", row.name, row.file.size(), seconds,
                heap);
    EXPECT_LE(heap, 64 * row.file.size() + (32u << 20)) << row.name;
    EXPECT_LT(seconds, 5) << row.name;
  }
}

}  // namespace

// The platform's place: no log, no property.
int __android_log_print(int, const char*, const char*, ...) { return 0; }
void __android_log_assert(const char*, const char*, const char*, ...) { std::abort(); }
int property_get(const char*, char* value, const char* defaultValue) {
  return std::snprintf(value, 92, "%s", defaultValue);
}
