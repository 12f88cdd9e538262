// The reference host, through the shared library as a host loads it.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <tuple>

#include "HostLibrary.h"
#include "qo_host/ExactSeek.h"
#include "qo_host/MemorySource.h"
#include "qo_host/ParserSession.h"
#include "qo_host/StatusText.h"
#include "qo_parser_asf/Codecs.h"
#include "testing/AsfBuilder.h"
#include "testing/FaultySource.h"
#include "testing/SampleFiles.h"

namespace {

using qo_host::ExactSeek;
using qo_host::TrackKind;

// Kind, time in ms, size and hash of the bytes.
using UnitCopy = std::tuple<TrackKind, unsigned long long, std::size_t, std::size_t>;

UnitCopy MakeUnit(TrackKind kind, unsigned long long timeMs, const void* data, std::size_t size) {
  const std::string_view bytes(static_cast<const char*>(data), size);
  return {kind, timeMs, size, std::hash<std::string_view>()(bytes)};
}

UnitCopy Copy(const qo_host::AccessUnit* unit) {
  EXPECT_TRUE(unit);
  return unit ? MakeUnit(unit->kind, unit->timeMs, unit->data, unit->size) : UnitCopy();
}

unsigned long long Time(const UnitCopy& unit) { return std::get<1>(unit); }

template <typename Next>
std::vector<UnitCopy> All(Next next) {
  std::vector<UnitCopy> units;
  while (const auto* unit = next()) units.push_back(Copy(unit));
  return units;
}

// A file's bytes and its session.
struct Playing {
  explicit Playing(Bytes file)
      : bytes(std::move(file)), session(Library(), Source()), status(session.Open(AsIs())) {}

  std::unique_ptr<IDataSource> Source() const {
    return std::make_unique<qo_host::MemorySource>(bytes.data(), bytes.size());
  }

  // All units of a kind, by a parser of their own; of video the key frames alone,
  // and of one that comes in several NAL units the first.
  std::vector<UnitCopy> PlayOut(TrackKind kind) const {
    std::vector<UnitCopy> units;
    const qo_host::Track* track = session.FindTrack(kind);
    if (track == nullptr) return units;
    const auto parser = Library().Make();
    const auto source = Source();
    parser->Open(source.get());
    std::vector<unsigned char> buffer(kMaxAccessUnitBytes);
    unsigned long size, time;
    const bool video = kind == TrackKind::kVideo;
    while ((video ? parser->GetVideoData(buffer.data(), &size, &time, buffer.size(), true)
                  : parser->GetAudioData(buffer.data(), &size, &time, buffer.size())) == 0) {
      const bool isNal = track->info.codec == kCodecH264;
      if (isNal && !units.empty() && Time(units.back()) == time) continue;
      units.push_back(MakeUnit(kind, time, buffer.data(), size));
    }
    parser->Close();
    return units;
  }

  const Bytes bytes;
  qo_host::ParserSession session;
  const int status;
};

TEST(HostSession, SaysWhyALibraryCannotBeLoaded) {
  std::string error;
  EXPECT_FALSE(qo_host::ParserLibrary::Load("/no/such/library.so", &error));
  EXPECT_NE(std::string::npos, error.find("/no/such/library.so")) << error;
  EXPECT_FALSE(qo_host::ParserLibrary::Load("libc.so.6", &error));
  EXPECT_NE(std::string::npos, error.find("createParser")) << error;
}

TEST(HostSession, InterleavesTheTracksByTime) {
  for (const auto& sample : SamplePaths()) {
    SCOPED_TRACE(sample.filename());
    Playing alone(FileBytes(sample)), together(FileBytes(sample));
    const auto video = All([&] { return alone.session.NextUnit(TrackKind::kVideo); });
    const auto audio = All([&] { return alone.session.NextUnit(TrackKind::kAudio); });
    std::vector<UnitCopy> expected;
    std::merge(video.begin(), video.end(), audio.begin(), audio.end(), std::back_inserter(expected),
               [](const UnitCopy& a, const UnitCopy& b) { return Time(a) < Time(b); });
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(expected, All([&] { return together.session.NextUnit(); }));
    for (const qo_host::Track& track : together.session.tracks()) {
      EXPECT_EQ(kParserEndOfStream, together.session.EndStatus(track.kind));
    }
    together.session.Rewind();
    EXPECT_EQ(expected, All([&] { return together.session.NextUnit(); }));
  }
}

TEST(HostSession, ARefusedFileHasNothingAndClosesCleanly) {
  AsfFile file;
  file.header = {Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x161)),
                 Object(ID_CONTENT_ENCRYPTION_OBJECT, "key")};
  Playing playing(file.Build());
  EXPECT_EQ(kParserUnsupported, playing.status);
  EXPECT_EQ("the content is encrypted",
            qo_host::StatusText(qo_host::Action::kOpen, playing.status));
  EXPECT_TRUE(playing.session.tracks().empty());
  EXPECT_EQ(nullptr, playing.session.NextUnit());
  EXPECT_EQ(kParserOk, playing.session.Seek(0, kSeekPreviousSync).video);
  const ExactSeek seek = qo_host::ExactSeeker(&playing.session).Seek(0);
  EXPECT_EQ(ExactSeek::Outcome::kFailed, seek.outcome);
  EXPECT_EQ(ExactSeek::Problem::kNoTrack, seek.problem);
}

// Of units, the last of those with the greatest time up to a target.
const UnitCopy* LastUpTo(const std::vector<UnitCopy>& units, unsigned long long target) {
  const UnitCopy* found = nullptr;
  for (const UnitCopy& unit : units) {
    if (Time(unit) <= target && (!found || Time(unit) >= Time(*found))) found = &unit;
  }
  return found;
}

// Seeks to every time that counts, against what playing the file out from its start
// brings: the last key frame up to the target, and audio from the last unit up to that
// key frame, or, where nothing lies so early, both from their beginning.
void ExpectExactSeeks(const Bytes& bytes) {
  Playing playing(bytes);
  qo_host::ExactSeeker seeker(&playing.session);
  const auto video = playing.PlayOut(TrackKind::kVideo), audio = playing.PlayOut(TrackKind::kAudio);
  const auto& landings = playing.session.FindTrack(TrackKind::kVideo) ? video : audio;
  std::set<unsigned long long> targets = {0, ~0ull};
  for (const UnitCopy& unit : landings) {
    const auto time = Time(unit);
    targets.insert({time, time + 1, time - (time > 0)});
  }
  for (const unsigned long long target : targets) {
    const UnitCopy* expected = LastUpTo(landings, target);
    const ExactSeek seek = seeker.Seek(target);
    if (expected == nullptr) {
      ASSERT_EQ(ExactSeek::Outcome::kNothingBefore, seek.outcome) << target;
      continue;
    }
    ASSERT_EQ(ExactSeek::Outcome::kFound, seek.outcome) << target;
    EXPECT_EQ(Time(*expected), seek.timeMs) << target;
    ASSERT_EQ(*expected, Copy(playing.session.NextUnit(std::get<0>(*expected)))) << target;
    if (&landings == &audio || audio.empty()) continue;
    const UnitCopy* sound = LastUpTo(audio, seek.timeMs);
    ASSERT_EQ(sound ? *sound : audio[0], Copy(playing.session.NextUnit(TrackKind::kAudio)))
        << target;
  }
}

TEST(HostSession, SeeksExactlyInRealFiles) {
  for (const auto& sample : SamplePaths()) {
    SCOPED_TRACE(sample.filename());
    ExpectExactSeeks(FileBytes(sample));
  }
}

TEST(HostSession, SeeksExactlyWhereFlaggedFramesAreRefused) {
  // Every frame is flagged; of `objects` those that hold an I picture or a JPEG
  // marker pass. Two frames to a packet, and audio between them.
  const auto file = [](const char* fourcc, const Bytes& good, const Bytes& bad, int every) {
    AsfFile built;
    built.header = {Stream(ID_VIDEO_MEDIA, 2, VideoFormat(fourcc)),
                    Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x55))};
    for (unsigned int i = 0; i < 60; i += 2) {
      std::vector<Payload> payloads;
      for (unsigned int k = i; k < i + 2; ++k) {
        const bool passes = k % static_cast<unsigned int>(every) == 3;
        payloads.push_back(Key(2, 3000 + 40 * k, (passes ? good : bad) + std::to_string(k)));
      }
      payloads.push_back(Media(1, 3000 + 40 * i, Hex("FF FB") + std::to_string(i)));
      built.packets.push_back(Packet(payloads));
    }
    return built.Build();
  };
  const Bytes intra = Hex("00 00 01 00 00 08"), inter = Hex("00 00 01 00 00 10");
  ExpectExactSeeks(file("MPG2", intra, inter, 5));
  ExpectExactSeeks(file("MPG2", intra + inter, inter, 23));  // two pictures in an object
  ExpectExactSeeks(file("MJPG", Hex("FF D8"), Hex("FF D9"), 50));
  ExpectExactSeeks(file("WMV2", "", "", 1));
}

// Key frames that share their times, of which the delivery refuses some, one to four
// to a packet, perhaps in two pieces; audio stored up to two seconds ahead or behind.
Bytes SomeRandomFile(unsigned int seed) {
  std::mt19937 random(seed);
  const auto below = [&](unsigned int limit) {
    return static_cast<unsigned int>(random() % limit);
  };
  AsfFile file({Stream(ID_VIDEO_MEDIA, 2, VideoFormat(below(4) == 0 ? "WMV2" : "MJPG")),
                Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x55))});
  const bool isUnordered = below(4) == 0;
  const int ahead = static_cast<int>(below(4000)) - 2000;
  unsigned int time = 5000, audioTime = 3000;
  Bytes rest;
  for (unsigned int i = 0, count = 2 + below(20); i < count; ++i) {
    std::vector<Payload> payloads;
    if (!rest.empty()) payloads.push_back(Media(2, time, rest).Offset(3));
    rest.clear();
    for (unsigned int k = 0, frames = below(4); k <= frames; ++k) {
      const Bytes number = std::to_string(i) + "-" + std::to_string(k);
      time += below(2) * 40;
      if (isUnordered && below(4) == 0) time -= 40;
      const Bytes data = (below(2) == 0 ? Hex("FF D8") : Hex("FF D9")) + number;
      payloads.push_back(Media(2, time, data).Key(below(4) != 0));
      if (k == frames && below(3) == 0) rest = "rest" + number;
    }
    for (; static_cast<int>(audioTime) < static_cast<int>(time) + ahead; audioTime += 60) {
      payloads.push_back(Media(1, audioTime, Hex("FF FB") + std::to_string(audioTime)));
      if (payloads.size() > 12) break;
    }
    file.packets.push_back(Packet(payloads));
  }
  file.packetLength = 600;
  return file.Build();
}

TEST(HostSession, SeeksExactlyAmongEqualTimes) {
  for (unsigned int seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    ExpectExactSeeks(SomeRandomFile(seed));
    if (HasFatalFailure()) return;
  }
}

TEST(HostSession, AnExactSeekThatFailsMovesNothing) {
  const Bytes file = FileBytes(QO_SAMPLES_DIR "/wmv2_wma2.wmv");
  Playing undisturbed(file);
  undisturbed.session.NextUnit();
  const auto units = All([&] { return undisturbed.session.NextUnit(); });
  const struct {
    Fault fault;
    int status;
  } cases[] = {{Fault::kFail, FaultySource::kFailure},
               {Fault::kThrow, kParserEndOfStream},
               {Fault::kThrowBadAlloc, kParserOutOfRange}};
  for (const auto& test : cases) {
    int failed = 0;
    for (unsigned long call = 1;; call += call < 50 ? 1 : 37) {
      SCOPED_TRACE(std::to_string(test.status) + " at call " + std::to_string(call));
      auto owned = std::make_unique<FaultySource>(file);
      FaultySource* const source = owned.get();
      qo_host::ParserSession session(Library(), std::move(owned));
      ASSERT_EQ(kParserOk, session.Open(AsIs()));
      qo_host::ExactSeeker seeker(&session);
      if (call % 2 == 0) seeker.Seek(1500);  // so that the next has learned
      session.Rewind();
      session.NextUnit();
      const unsigned long before = source->CallCount();
      source->PlanIn(call, test.fault);
      const ExactSeek seek = seeker.Seek(1500);
      if (source->CallCount() < before + call) break;
      // A size that isn't known is no failure.
      if (seek.outcome == ExactSeek::Outcome::kFound) continue;
      ++failed;
      ASSERT_EQ(ExactSeek::Outcome::kFailed, seek.outcome);
      EXPECT_EQ(test.status, seek.status);
      ASSERT_EQ(units, All([&] { return session.NextUnit(); }));
      EXPECT_EQ(ExactSeek::Outcome::kFound, seeker.Seek(1500).outcome);
    }
    EXPECT_GT(failed, 20);
  }
}

TEST(HostSession, AudioStaysWhereAVideoSeekFails) {
  AsfFile file({Stream(ID_VIDEO_MEDIA, 2, VideoFormat("WMV2")),
                Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x55))});
  for (unsigned int i = 0; i < 8; ++i) {
    const Bytes number = std::to_string(i);
    file.packets.push_back(Packet({Key(2, 3000 + 1000 * i, "video" + number),
                                   Media(1, 3000 + 1000 * i, Hex("FF FB") + number)}));
  }
  file.trailing = SimpleIndex(10000000, {0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7});
  auto owned = std::make_unique<FaultySource>(file.Build());
  FaultySource* const source = owned.get();
  qo_host::ParserSession session(Library(), std::move(owned));
  ASSERT_EQ(kParserOk, session.Open(AsIs()));
  EXPECT_EQ(1u, session.FindTrack(TrackKind::kVideo)->info.seekable);
  EXPECT_EQ(0u, session.NextUnit(TrackKind::kAudio)->timeMs);
  source->PlanIn(1, Fault::kFail);
  const qo_host::SeekStatus status = session.Seek(5500, kSeekPreviousSync);
  EXPECT_EQ(FaultySource::kFailure, status.video);
  EXPECT_EQ(FaultySource::kFailure, status.audio);
  EXPECT_EQ(1000u, session.NextUnit(TrackKind::kAudio)->timeMs);
}

TEST(HostSession, NextUnitTakesATimeThatWrappedForOneBeforeTheStart) {
  const AsfFile file(
      {Stream(ID_VIDEO_MEDIA, 2, VideoFormat("WMV2")),
       Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x55))},
      {Packet({Compressed(1, 2900, 60, {Hex("FF FB 01"), Hex("FF FB 02"), Hex("FF FB 03")}),
               Key(2, 3000, "a"), Key(2, 3040, "b")})});
  Playing playing(file.Build());
  std::vector<int> times;
  while (const auto* unit = playing.session.NextUnit()) {
    times.push_back(static_cast<int>(unit->timeMs));
  }
  EXPECT_EQ((std::vector<int>{-100, -40, 0, 20, 40}), times);
}

TEST(HostSession, ASeekFarBeyondTheEndIsOneToTheLastTimeThereIs) {
  Playing playing(FileBytes(QO_SAMPLES_DIR "/wmv2_wma2.wmv"));
  for (const int mode : {kSeekPreviousSync, kSeekNextSync, kSeekClosestSync}) {
    const auto landing = [&](unsigned long long timeMs) {
      const qo_host::SeekStatus status = playing.session.Seek(timeMs, mode);
      EXPECT_EQ(kParserOk, std::min(status.video, status.audio));
      return Copy(playing.session.NextUnit(TrackKind::kVideo));
    };
    const UnitCopy last = landing(qo_host::ParserSession::kMaxSeekMs);
    EXPECT_GT(Time(last), 0u);
    for (const auto timeMs : {1ull << 31, 0xFFFFFFFFull, 1ull << 32, ~0ull}) {
      EXPECT_EQ(last, landing(timeMs)) << timeMs;
    }
  }
}

TEST(HostSession, ACancelledExactSeekMovesNothing) {
  Playing playing(FileBytes(QO_SAMPLES_DIR "/wmv2_wma2.wmv"));
  playing.session.NextUnit();
  Playing undisturbed(FileBytes(QO_SAMPLES_DIR "/wmv2_wma2.wmv"));
  undisturbed.session.NextUnit();
  const auto cancel = [](unsigned long long done, unsigned long long total) {
    EXPECT_LT(done, total);
    return false;
  };
  EXPECT_EQ(ExactSeek::Outcome::kCancelled,
            qo_host::ExactSeeker(&playing.session).Seek(500, cancel).outcome);
  EXPECT_EQ(All([&] { return undisturbed.session.NextUnit(); }),
            All([&] { return playing.session.NextUnit(); }));
}

}  // namespace
