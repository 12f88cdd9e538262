// Seeking in real files, held against the rules worked out here from the file's
// index and packet headers alone; and beyond 4 GiB.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "AsfBuilder.h"
#include "asf/ByteReader.h"
#include "host/FileSource.h"
#include "host/PacketWalk.h"
#include "host/ParserSession.h"
#include "host/TraceSource.h"

namespace {

namespace fs = std::filesystem;
using host::TrackKind;

const host::ParserLibrary& Library() {
  static const auto library = [] {
    setenv("QOCP_DEBUG_LEVEL", "0", 1);
    std::string error;
    return host::ParserLibrary::Load(QO_PARSER_LIBRARY, &error);
  }();
  return *library;
}

// What a file says of itself, without the parser.
struct Facts {
  host::AsfLayout layout;
  std::vector<unsigned int> index;           // packet numbers
  std::vector<unsigned int> keyTimes;        // by packet: of its first video key frame, else 0
  std::vector<unsigned int> audioTimes;      // by packet: of its first audio payload, else 0
  std::set<unsigned long long> frameStarts;  // times at which a video key frame begins
};

unsigned int FirstTime(const host::Packet& packet, unsigned char stream, bool needsKey) {
  for (const host::Payload& payload : packet.payloads) {
    if (payload.stream == stream && (payload.keyFrame || !needsKey)) return payload.timeMs;
  }
  return 0;
}

Facts Read(IDataSource* source) {
  Facts facts;
  EXPECT_EQ(0, host::ReadLayout(source, &facts.layout));
  unsigned char video = 0xFF, audio = 0xFF;
  for (const host::StreamLayout& stream : facts.layout.streams) {
    if (!stream.isTrack) continue;
    (stream.kind == host::StreamKind::kVideo ? video : audio) = stream.number;
  }
  host::WalkPackets(source, facts.layout, [&](const host::Packet& packet) {
    facts.keyTimes.push_back(FirstTime(packet, video, true));
    facts.audioTimes.push_back(FirstTime(packet, audio, false));
    for (const host::Payload& payload : packet.payloads) {
      const bool starts = payload.stream == video && payload.keyFrame && payload.offset == 0;
      if (starts) facts.frameStarts.insert(payload.timeMs);
    }
    return true;
  });
  if (!facts.layout.simpleIndex || video == 0xFF) return facts;
  for (unsigned int k = 0; k < facts.layout.simpleIndex->entries; ++k) {
    unsigned char entry[6];
    unsigned long long size = sizeof entry;
    source->ReadAt(facts.layout.DataEnd() + 56 + 6ull * k, entry, &size);
    facts.index.push_back(LoadLe32(entry));
  }
  return facts;
}

struct Found {
  unsigned long long packet = 0, timeMs = 0;
  bool hit = false;
};

Found Scan(const Facts& facts, std::size_t entry, long long target, int step) {
  Found found;
  unsigned int probed = 0;
  for (std::size_t i = entry; i >= 1 && i < facts.index.size();
       i += static_cast<std::size_t>(step)) {
    if (facts.index[i] == probed) continue;
    probed = facts.index[i];
    const long long time = facts.keyTimes.at(probed);
    if (step < 0 ? time < target : time > target) {
      return {probed, static_cast<unsigned long long>(time), true};
    }
  }
  found.packet = step > 0 ? probed : 0;
  return found;
}

// The packet that a video seek starts from.
unsigned long long ExpectedPacket(const Facts& facts, long long target, int mode) {
  const auto& layout = facts.layout;
  const unsigned long long step = layout.simpleIndex->interval / 10000;
  std::size_t entry = 0;
  if (target != 0) entry = (static_cast<unsigned long long>(target) + layout.prerollMs) / step;
  entry = std::min(entry, facts.index.size() - 1);
  if (entry == 0) return 0;
  const Found previous = Scan(facts, entry, target, -1);
  if (mode == kSeekPreviousSync) return previous.packet;
  const Found next = Scan(facts, entry, target, 1);
  if (mode == kSeekNextSync) return next.packet;
  if (!next.hit) return previous.packet;
  const long long toPrevious = target - static_cast<long long>(previous.timeMs);
  const long long toNext = static_cast<long long>(next.timeMs) - target;
  return toPrevious <= toNext ? previous.packet : next.packet;
}

// A session over a file that tells the packet that reading starts from.
class Seeker {
 public:
  explicit Seeker(const fs::path& path) {
    std::string error;
    auto trace =
        std::make_unique<host::TraceSource>(host::FileSource::OpenPath(path.string(), &error));
    trace_ = trace.get();
    facts = Read(trace_->inner());
    session = std::make_unique<host::ParserSession>(Library(), std::move(trace));
    EXPECT_EQ(kParserOk, session->Open()) << path;
  }

  // The first unit of a track, and the packet that was read for it.
  const host::AccessUnit* First(TrackKind kind, unsigned long long* packet) {
    std::optional<unsigned long long> first;
    trace_->SetObserver([&first](const host::SourceCall& call) {
      if (!first && call.operation == host::SourceOperation::kReadAt) first = call.offset;
    });
    const host::AccessUnit* unit = session->NextUnit(kind);
    trace_->SetObserver({});
    *packet = (first.value_or(0) - facts.layout.packetsStart) / facts.layout.packetLength;
    return unit;
  }

  Facts facts;
  std::unique_ptr<host::ParserSession> session;

 private:
  host::TraceSource* trace_;
};

// How far audio may start from the target: its packets' largest distance in time.
long long AudioSpan(const Facts& facts) {
  unsigned int last = 0, span = 0;
  for (const unsigned int time : facts.audioTimes) {
    if (time == 0) continue;
    span = std::max(span, time - last);
    last = time;
  }
  return span;
}

TEST(HostSeek, FindsThePacketOfTheRulesInRealFiles) {
  int indexed = 0;
  for (const auto& file : fs::directory_iterator(QO_SAMPLES_DIR)) {
    const auto kind = file.path().extension();
    if (kind != ".asf" && kind != ".wmv" && kind != ".wma") continue;
    Seeker seeker(file.path());
    if (seeker.facts.index.size() < 3) continue;
    ++indexed;
    const unsigned long long duration = seeker.session->durationMs();
    const bool hasAudio = seeker.session->FindTrack(TrackKind::kAudio) != nullptr;
    for (const int mode : {kSeekPreviousSync, kSeekNextSync, kSeekClosestSync, kSeekClosest}) {
      for (unsigned long long k = 0; k < 50; ++k) {
        const unsigned long long target = duration * k / 49;
        SCOPED_TRACE(file.path().filename().string() + " to " + std::to_string(target) + " mode " +
                     std::to_string(mode));
        const host::SeekStatus status = seeker.session->Seek(target, mode);
        EXPECT_EQ(kParserOk, status.video);
        EXPECT_EQ(kParserOk, status.audio);
        unsigned long long packet = 0;
        const host::AccessUnit* unit = seeker.First(TrackKind::kVideo, &packet);
        const unsigned long long expected =
            ExpectedPacket(seeker.facts, static_cast<long long>(target), mode);
        EXPECT_EQ(expected, packet);
        if (unit) {
          EXPECT_EQ(1u, seeker.facts.frameStarts.count(unit->timeMs));
        }
        if (!hasAudio || packet == 0) continue;
        // Audio walks from the video's packet to the one nearest to the target; a walk
        // that reaches packet 0 without crossing it comes back to where it began.
        unsigned long long audio = 0;
        if (!seeker.First(TrackKind::kAudio, &audio) || audio == 0 || audio == packet) continue;
        const auto& times = seeker.facts.audioTimes;
        const long long reachable = std::min<long long>(
            static_cast<long long>(target), *std::max_element(times.begin(), times.end()));
        EXPECT_LE(std::abs(times.at(audio) - reachable), AudioSpan(seeker.facts));
      }
    }
  }
  EXPECT_GE(indexed, 3);
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
  const auto source = host::FileSource::OpenPath(path.string(), &error);
  ASSERT_TRUE(source) << error;
  const auto parser = Library().MakeParser();
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
