// Seeking in real files, held against the rules worked out here from the file's
// index and packet headers alone; and beyond 4 GiB.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>
#include <set>

#include "HostLibrary.h"
#include "asf/format/ByteReader.h"
#include "host/session/UnitFinder.h"
#include "qo_host/ExactSeek.h"
#include "qo_host/FileSource.h"
#include "qo_host/MemorySource.h"
#include "qo_host/PacketWalk.h"
#include "qo_host/ParserSession.h"
#include "qo_host/TraceSource.h"
#include "testing/AsfBuilder.h"
#include "testing/SampleFiles.h"

namespace {

namespace fs = std::filesystem;

// What a file says of itself, without the parser.
struct PacketFacts {
  qo_host::AsfLayout layout;
  std::vector<unsigned int> index;           // packet numbers
  std::vector<unsigned int> keyTimes;        // by packet: of its first video key frame, else 0
  std::vector<unsigned int> audioTimes;      // by packet: of its first audio payload, else 0
  unsigned int audioSpan = 0;                // ms between two packets with audio, at most
  std::set<unsigned long long> frameStarts;  // times at which a video key frame begins
};

PacketFacts Read(IDataSource* source) {
  PacketFacts facts;
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

struct ScanHit {
  unsigned long long packet;
  long long timeMs;
  bool hit;
};

ScanHit Scan(const PacketFacts& facts, std::size_t entry, long long target, int step) {
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
unsigned long long ExpectedPacket(const PacketFacts& facts, unsigned long long timeMs, int mode) {
  const auto target = static_cast<long long>(timeMs);
  const unsigned long long step = facts.layout.simpleIndex->interval / 10000;
  const std::size_t entry = std::min<std::size_t>(
      target != 0 ? (timeMs + facts.layout.prerollMs) / step : 0, facts.index.size() - 1);
  if (entry == 0) return 0;
  const ScanHit previous = Scan(facts, entry, target, -1), next = Scan(facts, entry, target, 1);
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
    const PacketFacts facts = Read(trace->inner());
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

// Exact seeks.

using qo_host::ExactSeek;
using qo_host::TrackKind;

// Where a seek has led, in words: the kind of its end, the packet and the time, and the
// units of each kind that come next.
std::string LandedAt(const ExactSeek& seek, qo_host::ParserSession* session) {
  std::string text = std::to_string(static_cast<int>(seek.outcome));
  if (seek.outcome == ExactSeek::Outcome::kFound) {
    text += " in " + std::to_string(seek.packet) + " at " + std::to_string(seek.timeMs);
  }
  for (const TrackKind kind : {TrackKind::kVideo, TrackKind::kAudio}) {
    const qo_host::AccessUnit* unit = session->NextUnit(kind);
    if (unit == nullptr) continue;
    const std::string_view bytes(reinterpret_cast<const char*>(unit->data), unit->size);
    text += std::string(", ") + TrackKindName(kind) + " " + std::to_string(unit->timeMs) + " #" +
            std::to_string(std::hash<std::string_view>()(bytes) % 100000);
  }
  return text;
}

// Seeks that know the points of all packets.
class FullWalk {
 public:
  explicit FullWalk(qo_host::ParserSession* session) : session_(session) {
    qo_host::AsfLayout layout;
    EXPECT_EQ(0, qo_host::ReadLayout(session->view(), &layout));
    near_.emplace(session->view(), layout);
    EXPECT_TRUE(near_->LookEverywhere());
  }

  ExactSeek Seek(unsigned long long timeMs) {
    auto lent = std::make_unique<qo_host::BorrowedSource>(session_->view());
    const qo_host::BorrowedSource* const view = lent.get();
    int status = kParserOk;
    const auto probe = session_->MakeTwin(std::move(lent), &status);
    qo_host::UnitFinder finder(&*near_, probe.get(), view);
    ExactSeek seek;
    if (Find(&finder, probe.get(), static_cast<long long>(std::min(timeMs, ~0ull >> 1)), &seek)) {
      seek.outcome = ExactSeek::Outcome::kFound;
      session_->TakeOver(probe.get());
    } else {
      session_->Rewind();
    }
    return seek;
  }

 private:
  bool Find(qo_host::UnitFinder* finder, const qo_host::ParserSession* probe, long long target,
            ExactSeek* seek) {
    if (probe->FindTrack(TrackKind::kVideo) == nullptr) {
      const auto unit = finder->FindAudio(target);
      if (unit) seek->packet = unit->packet, seek->timeMs = unit->timeMs;
      return unit.has_value();
    }
    const auto point = finder->FindVideo(target);
    if (!point) return false;
    finder->FindAudio(SignedMs(near_->layout(), point->timeMs));
    seek->packet = point->packet;
    seek->timeMs = point->timeMs;
    return finder->StartAtKeyFrame(*point);
  }

  qo_host::ParserSession* const session_;
  std::optional<qo_host::NearPoints> near_;
};

// Holds exact seeks to `targets` against the full walk, with all that was learned before and
// with less.
void ExpectFullWalkAnswers(const std::function<std::unique_ptr<IDataSource>()>& makeSource,
                           const qo_host::OpenOptions& options,
                           const std::vector<unsigned long long>& targets) {
  qo_host::ParserSession sessions[] = {
      {Library(), makeSource()}, {Library(), makeSource()}, {Library(), makeSource()}};
  for (qo_host::ParserSession& session : sessions) {
    if (session.Open(options) != kParserOk || session.tracks().empty()) return;
  }
  FullWalk walk(&sessions[0]);
  qo_host::ExactSeeker seeker(&sessions[1]);
  std::optional<qo_host::ExactSeeker> fresh;
  for (std::size_t k = 0; k < targets.size(); ++k) {
    const unsigned long long target = targets[k];
    const std::string expected = LandedAt(walk.Seek(target), &sessions[0]);
    ASSERT_EQ(expected, LandedAt(seeker.Seek(target), &sessions[1])) << target;
    if (k % 5 == 0) fresh.emplace(&sessions[2]);
    ASSERT_EQ(expected, LandedAt(fresh->Seek(target), &sessions[2])) << target;
  }
}

// What a random file is like.
struct Disorder {
  unsigned int jitterMs;       // objects are stamped up to so much early or late
  unsigned int segments;       // times begin anew
  unsigned int shuffledOneIn;  // packets stand elsewhere; 0: none
  unsigned int lostOneIn;      // packets are zeros; 0: none
};

// Objects of a stream, to be stored by their times.
class RandomFile {
 public:
  RandomFile(unsigned int seed, const Disorder& disorder) : random_(seed), disorder_(disorder) {
    file_.header = {Stream(ID_VIDEO_MEDIA, 2, VideoFormat(Below(3) == 0 ? "MJPG" : "WMV2")),
                    Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x55)),
                    Stream(ID_AUDIO_MEDIA, 3, AudioFormat(0x55))};
    if (Below(8) == 0) file_.header.erase(file_.header.begin() + Below(2));
    file_.packetLength = kPacketBytes;
    const unsigned int objects = 200 + Below(3000);
    for (unsigned int k = 0; k < objects; ++k) {
      const unsigned int ofSegment = objects / disorder_.segments + 1;
      AddObjects(k, (k % ofSegment) * frameMs_);
    }
    Flush();
    Disturb();
  }

  Bytes Build() const {
    Bytes bytes = file_.Build();
    const std::size_t packetsAt = bytes.size() - file_.packets.size() * kPacketBytes;
    for (const std::size_t packet : lost_) {
      bytes.replace(packetsAt + packet * kPacketBytes, kPacketBytes, kPacketBytes, '\0');
    }
    return bytes;
  }
  // Times of key frames and others, and such as no object has.
  std::vector<unsigned long long> Targets() {
    std::vector<unsigned long long> targets = {0, ~0ull};
    for (int k = 0; k < 2; ++k) {
      const unsigned long long keyTime = keyTimes_.empty() ? 0 : keyTimes_[Below(keyTimes_.size())];
      targets.insert(targets.end(), {keyTime, keyTime + 1, keyTime - 1, Below(latestMs_ + 500)});
    }
    return targets;
  }

 private:
  static constexpr unsigned int kPacketBytes = 300;

  unsigned int Below(std::size_t limit) { return static_cast<unsigned int>(random_() % limit); }
  unsigned int Stamp(unsigned int timeMs) {
    const int late =
        static_cast<int>(Below(2 * disorder_.jitterMs + 1)) - static_cast<int>(disorder_.jitterMs);
    const unsigned int stamped =
        static_cast<unsigned int>(std::max(0, static_cast<int>(timeMs) + late));
    latestMs_ = std::max(latestMs_, stamped);
    return stamped;
  }

  void AddObjects(unsigned int number, unsigned int timeMs) {
    if (number % videoOneIn_ == 0) {
      const bool isKey = keyOneIn_ != 0 && number % keyOneIn_ == 0;
      const unsigned int stamped = Stamp(timeMs);
      if (isKey) keyTimes_.push_back(stamped);
      Add(2, stamped, isKey,
          (Below(4) == 0 ? Hex("FF D9") : Hex("FF D8")) + Body(isKey ? 900 : 300));
    }
    const unsigned int audioMs = timeMs + audioAheadMs_;
    if (number % audioOneIn_ == 0) Add(1, Stamp(audioMs), false, Hex("FF FB") + Body(60));
    if (Below(6) == 0) Add(3, Below(100000), false, "other");
  }
  Bytes Body(unsigned int most) {
    return std::to_string(random_()) + Bytes(Below(most), static_cast<char>(random_()));
  }
  void Add(int stream, unsigned int timeMs, bool isKey, const Bytes& object) {
    const auto time = timeMs + static_cast<unsigned int>(file_.preroll);
    for (std::size_t offset = 0; offset < object.size();) {
      const std::size_t size = std::min<std::size_t>(object.size() - offset, 100);
      Payload part = Media(stream, time, object.substr(offset, size));
      part.Key(isKey).Offset(static_cast<unsigned int>(offset));
      part.Replicated(Le(object.size(), 4) + Le(time, 4));
      payloads_.push_back(part);
      offset += size;
      if (payloads_.size() == 2) Flush();
    }
  }
  void Flush() {
    if (!payloads_.empty()) file_.packets.emplace_back(std::exchange(payloads_, {}));
  }
  void Disturb() {
    const auto hits = [this](unsigned int oneIn) { return oneIn != 0 && Below(oneIn) == 0; };
    for (std::size_t k = 0; k < file_.packets.size(); ++k) {
      const std::size_t other = Below(file_.packets.size());
      if (hits(disorder_.shuffledOneIn)) std::swap(file_.packets[k], file_.packets[other]);
      if (hits(disorder_.lostOneIn)) lost_.push_back(k);
    }
  }

  std::mt19937 random_;
  const Disorder disorder_;
  AsfFile file_;
  const unsigned int frameMs_ = 20 + Below(80);
  const unsigned int keyOneIn_ = Below(10) == 0 ? 0 : 1 + Below(200);
  const unsigned int videoOneIn_ = Below(10) == 0 ? 50 : 1;
  const unsigned int audioOneIn_ = Below(10) == 0 ? 50 : 1;
  const unsigned int audioAheadMs_ = Below(3000);
  std::vector<Payload> payloads_;
  std::vector<unsigned long long> keyTimes_;
  unsigned int latestMs_ = 0;
  std::vector<std::size_t> lost_;
};

// A number from the environment.
unsigned int Setting(const char* name, unsigned int otherwise) {
  const char* const text = std::getenv(name);
  return text != nullptr ? static_cast<unsigned int>(std::atoi(text)) : otherwise;
}

// QO_SEEK_FILES, for runs by hand: so many files.
TEST(HostSeek, ExactSeeksFindWhatAFullWalkFindsInRandomFiles) {
  constexpr Disorder kDisorders[] = {
      {0, 1, 0, 0}, {20, 1, 0, 0}, {300, 1, 0, 0}, {2000, 1, 0, 0}, {20000, 1, 0, 0}, {0, 2, 0, 0},
      {0, 5, 0, 0}, {0, 1, 1, 0},  {0, 1, 20, 0},  {0, 1, 0, 5},    {200, 3, 0, 100},
  };
  const unsigned int files = Setting("QO_SEEK_FILES", 77);
  for (unsigned int seed = 0; seed < files; ++seed) {
    SCOPED_TRACE(seed);
    RandomFile random(seed, kDisorders[seed % std::size(kDisorders)]);
    const Bytes file = random.Build();
    const auto open = [&file] {
      return std::make_unique<qo_host::MemorySource>(file.data(), file.size());
    };
    ExpectFullWalkAnswers(open,
                          seed / std::size(kDisorders) % 2 == 0 ? AsIs() : qo_host::OpenOptions(),
                          random.Targets());
    if (HasFatalFailure()) return;
  }
}

// QO_SEEK_FOLDER, for runs by hand: the files of another folder.
TEST(HostSeek, ExactSeeksFindWhatAFullWalkFindsInRealFiles) {
  const char* const folder = std::getenv("QO_SEEK_FOLDER");
  for (const fs::path& path : SamplePaths(folder != nullptr ? folder : QO_SAMPLES_DIR)) {
    SCOPED_TRACE(path);
    const auto open = [&path] {
      std::string error;
      return qo_host::FileSource::OpenPath(path.string(), &error);
    };
    for (const auto& options : {AsIs(), qo_host::OpenOptions()}) {
      qo_host::ParserSession session(Library(), open());
      if (session.Open(options) != kParserOk) continue;
      std::vector<unsigned long long> targets;
      for (unsigned int k = 0; k <= 20; ++k) targets.push_back(session.durationMs() * k / 20);
      ExpectFullWalkAnswers(open, options, targets);
    }
  }
}

}  // namespace
