// Whatever the source does, at whichever call, and whatever the file costs: the
// checking host holds every result, the work, the heap and what Close leaves
// behind against what is documented.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>

#include "qo_host/MemorySource.h"
#include "testing/AsfBuilder.h"
#include "testing/CheckingHost.h"
#include "testing/FaultySource.h"
#include "testing/SampleFiles.h"
#include "testing/Steps.h"

namespace {

// What runs: a check of the host that fails aborts the program, which says it.
std::string running;
const auto handler = std::signal(SIGABRT, [](int) { std::fputs(running.c_str(), stderr); });

struct File {
  std::string name;
  Bytes bytes;
};

// The sample files, and one built file that has what they lack.
std::vector<File> Files() {
  AsfFile built({Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x2000)),
                 Stream(ID_VIDEO_MEDIA, 2, VideoFormat("H264")),
                 ExtendedContent({Descriptor(Utf16("WM/Genre"), 0, Utf16("g"))}),
                 HeaderExtension(Metadata({Record(Utf16("WM/Year"), 3, Le(1999, 4))})),
                 ContentDescription({Utf16("T"), Utf16("A"), "", "", ""})});
  const Bytes nals = Hex("00 00 00 02") + "ab" + Hex("00 00 00 01") + "c";
  for (unsigned time = 3000; time < 3600; time += 100) {
    built.packets.push_back(Packet({Compressed(1, time, 10, {"aa", "bb"}), Key(2, time, nals),
                                    Media(2, time, "x").Offset(11)}));
  }
  built.trailing = SimpleIndex(1000000, {0, 2, 3, 4}) + Object(ID_INDEX_OBJECT, "index");
  std::vector<File> files = {{"built", built.Build()}};
  for (const auto& path : SamplePaths()) files.push_back({path.filename(), FileBytes(path)});
  return files;
}

// A unit of each kind; each seek mode to 250 ms in both kinds, and after each a unit
// again, of video a key frame.
Bytes PlayAndSeek() {
  Bytes all = steps::ReadAudio(1) + steps::ReadVideo(1);
  for (const int mode : {kSeekPreviousSync, kSeekNextSync, kSeekClosestSync}) {
    for (const int track : {kTrackVideo, kTrackAudio}) all += steps::SeekEx(250, track, mode);
    all += steps::ReadAudio(1) + steps::ReadVideo(1, true);
  }
  return all;
}

// Does all that a host does with a file. False: it did not open.
template <typename... Source>
bool Use(const Bytes& steps, Source... source) {
  CheckingHost host(source...);
  if (!host.Open(0)) return false;
  for (Input script(steps); !script.Empty();) host.Step(&script);
  return true;
}

TEST(Faults, EverySourceCallFailsOnce) {
  constexpr int kKinds = static_cast<int>(Fault::kReadShort) + 1;
  const Bytes steps = PlayAndSeek();
  for (const File& file : Files()) {
    const auto callsOf = [&file](const Bytes& script) {
      FaultySource sound(file.bytes);
      EXPECT_TRUE(Use(script, &sound, file.bytes.size())) << file.name;
      return static_cast<long>(sound.CallCount());
    };
    const long opening = callsOf(""), calls = callsOf(steps);
    // Each call of opening fails in each way, the many behind it in one way each.
    for (long call = 1; call <= calls; ++call) {
      for (int kind = 0; kind < kKinds; ++kind) {
        if (call > opening && kind != (call + call / kKinds) % kKinds) continue;
        running = file.name + ": call " + std::to_string(call) + ", fault " + std::to_string(kind);
        FaultySource source(file.bytes);
        source.Plan(static_cast<unsigned long>(call), static_cast<Fault>(kind));
        MeteredSource metered(&source);
        Use(steps, &metered);
      }
    }
  }
}

TEST(Faults, FilesCutAnywhereOpen) {  // a short read is no failure
  const Bytes steps = steps::ReadAudio(256) + steps::ReadVideo(128);
  for (const File& file : Files()) {
    const std::size_t step = std::max<std::size_t>(1, file.bytes.size() / 200);
    for (std::size_t size = 0; size < file.bytes.size(); size += size < 100 ? 1 : step) {
      running = file.name + " cut to " + std::to_string(size);
      FaultySource source(std::string_view(file.bytes).substr(0, size));
      MeteredSource metered(&source);
      EXPECT_TRUE(Use(steps, &metered)) << running;
    }
  }
}

TEST(Faults, ReadsOfAByteAtATimeAreShort) {
  for (const File& file : Files()) {
    running = file.name + " by the byte";
    FaultySource source(file.bytes);
    source.LimitReads(1);
    MeteredSource metered(&source);
    Use(PlayAndSeek(), &metered);
  }
}

Bytes Repeat(const Bytes& part, std::size_t bytes) {
  Bytes all;
  while (all.size() < bytes) all += part;
  return all;
}

// A file whose header is `bytes` bytes of one object over and over.
Bytes HeaderOf(const Bytes& object, std::size_t bytes) {
  AsfFile file({Repeat(object, bytes)});
  file.headerCount = file.header[0].size() / object.size() + 1;
  return file.Build();
}

// A file of packets, all of one length.
Bytes PacketsOf(const Bytes& stream, const std::vector<Packet>& packets, unsigned int length) {
  AsfFile file({stream}, packets);
  file.packetLength = length;
  return file.Build();
}

// The host holds the heap to what docs/safety.md states. Where time grows faster
// than the file, these take minutes.
TEST(Faults, CostliestFilesStayInProportion) {
  constexpr double kMaxSeconds = 30;  // of processor time, also under an emulator
  constexpr std::size_t kMillion = 1000000, kLargestObject = 0x100000 - 16;
  const Bytes audio = Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x161, 16000, 1));
  const auto video = [](const char* fourcc) {
    return Stream(ID_VIDEO_MEDIA, 1, VideoFormat(fourcc));
  };
  const auto object = [](const Bytes& stream, const Bytes& part) {
    const Packet packet({Media(1, 5, Repeat(part, kLargestObject))});
    return PacketsOf(stream, {packet}, kLargestObject + 100);
  };
  const std::vector<Bytes> subPayloads(2 * kMillion, "x");
  std::vector<Payload> bytes(63, Media(1, 5, "x").Offset(1));
  std::vector<Packet> fragments(10000, Packet(bytes));
  bytes[0].offset = 0;
  fragments[0] = Packet(bytes);
  const File rows[] = {
      {"streams", HeaderOf(Stream(ID_AUDIO_MEDIA, 1, {}), 31 * kMillion)},
      {"unknown objects", HeaderOf(Bytes(16, 'x') + Le(24, 8), 8 * kMillion)},
      {"descriptions", HeaderOf(ContentDescription({{}, {}, {}, {}, {}}), 8 * kMillion)},
      {"descriptor counts",
       HeaderOf(ExtendedContent({}, 0xFFFF, 32) + Le(0, 2) + Le(5, 2) + Le(1, 2), 8 * kMillion)},
      {"indexes", AsfFile({}, {}, Repeat(SimpleIndex(32, {}), 8 * kMillion)).Build()},
      {"sub-payloads",
       PacketsOf(audio, {Packet({Compressed(1, 5, 1, subPayloads)})}, 4 * kMillion + 100)},
      {"audio frames", object(audio, "x")},
      {"NAL units", object(video("H264"), Bytes(1, '\0'))},
      {"pictures", object(video("MPG2"), Hex("00 00 01 00"))},
      {"fragments", PacketsOf(video("WMV2"), fragments, 1500)},
  };
  for (const File& row : rows) {
    running = row.name;
    qo_host::MemorySource source(row.bytes.data(), row.bytes.size());
    const std::size_t before = HeapBytes();
    const std::clock_t start = std::clock();
    const bool opened = Use(steps::ReadAudio(1) + steps::ReadVideo(1), &source, row.bytes.size());
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    EXPECT_TRUE(opened) << row.name;
    EXPECT_LT(seconds, kMaxSeconds) << row.name;
    std::printf("%-17s %8zu bytes: %.3f s, %zu bytes of heap\n", row.name.c_str(), row.bytes.size(),
                seconds, HeapPeak() - before);
  }
}

}  // namespace
