// Seeking in real files, held against the rules worked out here from the file's
// index and packet headers alone; and beyond 4 GiB.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "HostLibrary.h"
#include "asf/format/ByteReader.h"
#include "qo_host/FileSource.h"
#include "qo_host/PacketWalk.h"
#include "qo_host/ParserSession.h"
#include "qo_host/TraceSource.h"
#include "testing/AsfBuilder.h"
#include "testing/SampleFiles.h"

namespace {

namespace fs = std::filesystem;

// What a file says of itself, without the parser.
struct Facts {
  qo_host::AsfLayout layout;
  std::vector<unsigned int> index;           // packet numbers
  std::vector<unsigned int> keyTimes;        // by packet: of its first video key frame, else 0
  std::vector<unsigned int> audioTimes;      // by packet: of its first audio payload, else 0
  unsigned int audioSpan = 0;                // ms between two packets with audio, at most
  std::set<unsigned long long> frameStarts;  // times at which a video key frame begins
};

Facts Read(IDataSource* source) {
  Facts facts;
  EXPECT_EQ(0, qo_host::ReadLayout(source, &facts.layout));
  unsigned char video = 0xFF, audio = 0xFF;
  for (const qo_host::StreamLayout& stream : facts.layout.streams) {
    if (stream.isTrack)
      (stream.kind == qo_host::StreamKind::kVideo ? video : audio) = stream.number;
  }
  if (!facts.layout.simpleIndex || video == 0xFF) return facts;
  unsigned int lastAudio = 0;
  qo_host::WalkPackets(source, facts.layout, [&](const qo_host::Packet& packet) {
    unsigned int key = 0, sound = 0;
    for (const qo_host::Payload& payload : packet.payloads) {
      if (payload.stream == audio && sound == 0) sound = payload.timeMs;
      if (payload.stream != video || !payload.keyFrame) continue;
      if (key == 0) key = payload.timeMs;
      if (payload.offset == 0) facts.frameStarts.insert(payload.timeMs);
    }
    facts.keyTimes.push_back(key);
    facts.audioTimes.push_back(sound);
    if (sound != 0) facts.audioSpan = std::max(facts.audioSpan, sound - lastAudio);
    if (sound != 0) lastAudio = sound;
    return true;
  });
  for (unsigned int k = 0; k < facts.layout.simpleIndex->entries; ++k) {
    unsigned char entry[6];
    unsigned long long size = sizeof entry;
    source->ReadAt(facts.layout.DataEnd() + 56 + 6ull * k, entry, &size);
    facts.index.push_back(LoadLe32(entry));
  }
  return facts;
}

struct Found {
  unsigned long long packet;
  long long timeMs;
  bool hit;
};

Found Scan(const Facts& facts, std::size_t entry, long long target, int step) {
  unsigned int probed = 0;
  for (std::size_t i = entry; i >= 1 && i < facts.index.size();
       i += static_cast<std::size_t>(step)) {
    if (facts.index[i] == probed) continue;
    probed = facts.index[i];
    const long long time = facts.keyTimes.at(probed);
    if (step < 0 ? time < target : time > target) return {probed, time, true};
  }
  return {step > 0 ? probed : 0, 0, false};
}

// The packet that a video seek starts from.
unsigned long long ExpectedPacket(const Facts& facts, unsigned long long timeMs, int mode) {
  const auto target = static_cast<long long>(timeMs);
  const unsigned long long step = facts.layout.simpleIndex->interval / 10000;
  const std::size_t entry = std::min<std::size_t>(
      target != 0 ? (timeMs + facts.layout.prerollMs) / step : 0, facts.index.size() - 1);
  if (entry == 0) return 0;
  const Found previous = Scan(facts, entry, target, -1), next = Scan(facts, entry, target, 1);
  if (mode == kSeekNextSync) return next.packet;
  if (mode == kSeekPreviousSync || !next.hit) return previous.packet;
  return target - previous.timeMs <= next.timeMs - target ? previous.packet : next.packet;
}

TEST(HostSeek, FindsThePacketOfTheRulesInRealFiles) {
  int indexed = 0, audioWalks = 0;
  for (const fs::path& path : SamplePaths()) {
    std::string error;
    auto owned = std::make_unique<qo_host::TraceSource>(
        qo_host::FileSource::OpenPath(path.string(), &error));
    qo_host::TraceSource* const trace = owned.get();
    const Facts facts = Read(trace->inner());
    if (facts.index.size() < 3) continue;
    ++indexed;
    std::optional<unsigned long long> first;  // offset that reading starts from
    qo_host::ParserSession session(Library(), std::move(owned));
    ASSERT_EQ(kParserOk, session.Open(AsIs())) << path;
    const long long lastAudio = *std::max_element(facts.audioTimes.begin(), facts.audioTimes.end());
    const auto packetOf = [&facts](std::optional<unsigned long long> offset) {
      return (offset.value_or(0) - facts.layout.packetsStart) / facts.layout.packetLength;
    };
    trace->SetObserver([&first](const qo_host::SourceCall& call) {
      if (!first && call.operation == qo_host::SourceOperation::kReadAt) first = call.offset;
    });
    for (const int mode : {kSeekPreviousSync, kSeekNextSync, kSeekClosestSync, kSeekClosest}) {
      for (unsigned long long k = 0; k < 50; ++k) {
        const unsigned long long target = session.durationMs() * k / 49;
        SCOPED_TRACE(path.filename().string() + " to " + std::to_string(target) + " mode " +
                     std::to_string(mode));
        const qo_host::SeekStatus status = session.Seek(target, mode);
        EXPECT_EQ(kParserOk, status.video);
        EXPECT_EQ(kParserOk, status.audio);
        first.reset();
        const qo_host::AccessUnit* unit = session.NextUnit(qo_host::TrackKind::kVideo);
        const unsigned long long packet = ExpectedPacket(facts, target, mode);
        EXPECT_EQ(packet, packetOf(first));
        EXPECT_TRUE(unit == nullptr || facts.frameStarts.count(unit->timeMs) == 1);
        // Audio walks from there to the packet nearest to the target; a walk that
        // reaches packet 0 without crossing it comes back to where it began.
        first.reset();
        unit = session.NextUnit(qo_host::TrackKind::kAudio);
        const unsigned long long audio = packetOf(first);
        if (unit && packet != 0 && audio != 0 && audio != packet) {
          ++audioWalks;
          EXPECT_LE(std::abs(facts.audioTimes.at(audio) - std::min<long long>(target, lastAudio)),
                    facts.audioSpan);
        }
        session.NextUnit();  // another waits, which the next seek must drop
      }
    }
  }
  EXPECT_GE(indexed, 3);
  EXPECT_GE(audioWalks, 100);
}

// Packets at the far end of a file with a hole of more than 4 GiB before them.
TEST(HostSeek, OpensSeeksAndPlaysBeyondFourGigabytes) {
  constexpr unsigned int kPacketBytes = 65536;
  constexpr unsigned int kFar = 65600;  // the first packet behind the hole
  const auto frame = [](unsigned int number) {
    return Packet({Key(1, 3000 + number, Bytes(100, static_cast<char>(number % 251)))});
  };
  AsfFile file({Stream(ID_VIDEO_MEDIA, 1, VideoFormat("WMV2"))}, {frame(0)});
  file.packetLength = kPacketBytes;
  file.dataSize = 50 + (kFar + 3ull) * kPacketBytes;
  file.packetCount = kFar + 3ull;
  const Bytes start = file.Build();
  const unsigned long long packets = start.size() - kPacketBytes;
  const fs::path path = fs::temp_directory_path() / ("sparse-" + std::to_string(getpid()) + ".asf");
  {
    std::ofstream out(path, std::ios::binary);
    out << start;
    out.seekp(static_cast<std::streamoff>(packets + 1ull * kFar * kPacketBytes));
    for (unsigned int k = 0; k < 3; ++k) out << frame(kFar + k).Build(kPacketBytes);
    // One entry a second; the target of 65.6 s and the preroll make entry 68.
    out << SimpleIndex(10000000, std::vector<unsigned int>(70, kFar));
  }
  std::string error;
  const auto source = qo_host::FileSource::OpenPath(path.string(), &error);
  ASSERT_TRUE(source) << error;
  const auto parser = Library().Make();
  ASSERT_EQ(kParserOk, parser->Open(source.get()));
  ASSERT_EQ(1u, parser->GetTrackInfo(0)->seekable);
  std::vector<unsigned char> unit(kMaxAccessUnitBytes);
  unsigned long size = 0, time = 0;
  const auto expectFar = [&](unsigned int number) {
    ASSERT_EQ(0, parser->GetVideoData(unit.data(), &size, &time, unit.size(), false));
    EXPECT_EQ(number, time);
    EXPECT_EQ(number % 251, unit[99]);
  };
  // By the index, and by an offset that the host found.
  EXPECT_EQ(0, parser->SeekEx(kFar + 1, kTrackVideo, 0, 0, 0, kSeekPreviousSync));
  for (unsigned int k = 0; k < 3; ++k) expectFar(kFar + k);
  EXPECT_EQ(kParserEndOfStream,
            parser->GetVideoData(unit.data(), &size, &time, unit.size(), false));
  const unsigned long long offset = packets + (kFar + 1ull) * kPacketBytes + 7;
  EXPECT_EQ(0, parser->SeekEx(0, kTrackVideo, kSeekTimeMode, 0, offset, 0));
  expectFar(kFar + 1);
  parser->Close();
  fs::remove(path);
}

}  // namespace
