// The reference host, through the shared library as a host loads it.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "HostLibrary.h"
#include "host/MemorySource.h"
#include "host/ParserSession.h"
#include "testing/AsfBuilder.h"
#include "testing/SampleFiles.h"

namespace {

using host::ExactSeek;
using host::TrackKind;

// Kind, time in ms, size and hash of the bytes.
using Unit = std::tuple<TrackKind, unsigned long long, std::size_t, std::size_t>;

Unit MakeUnit(TrackKind kind, unsigned long long timeMs, const void* data, std::size_t size) {
  const std::string_view bytes(static_cast<const char*>(data), size);
  return {kind, timeMs, size, std::hash<std::string_view>()(bytes)};
}

Unit Copy(const host::AccessUnit* unit) {
  EXPECT_TRUE(unit);
  return unit ? MakeUnit(unit->kind, unit->timeMs, unit->data, unit->size) : Unit();
}

unsigned long long Time(const Unit& unit) { return std::get<1>(unit); }

template <typename Next>
std::vector<Unit> All(Next next) {
  std::vector<Unit> units;
  while (const auto* unit = next()) units.push_back(Copy(unit));
  return units;
}

// A file's bytes and its session.
struct Playing {
  explicit Playing(Bytes file)
      : bytes(std::move(file)), session(Library(), Source()), status(session.Open()) {}

  std::unique_ptr<IDataSource> Source() const {
    return std::make_unique<host::MemorySource>(bytes.data(), bytes.size());
  }

  // What an exact seek can land on: the key frames that the delivery accepts, or
  // the audio units of a file without video. By a parser of its own.
  std::vector<Unit> Landings() const {
    std::vector<Unit> units;
    const bool video = session.FindTrack(TrackKind::kVideo) != nullptr;
    const auto parser = Library().MakeParser();
    const auto source = Source();
    parser->Open(source.get());
    std::vector<unsigned char> buffer(kMaxAccessUnitBytes);
    unsigned long size, time;
    while ((video ? parser->GetVideoData(buffer.data(), &size, &time, buffer.size(), true)
                  : parser->GetAudioData(buffer.data(), &size, &time, buffer.size())) == 0) {
      const bool again = video && !units.empty() && Time(units.back()) == time;
      if (again) continue;  // a further NAL unit
      const TrackKind kind = video ? TrackKind::kVideo : TrackKind::kAudio;
      units.push_back(MakeUnit(kind, time, buffer.data(), size));
    }
    parser->Close();
    return units;
  }

  const Bytes bytes;
  host::ParserSession session;
  const int status;
};

TEST(HostSession, SaysWhyALibraryCannotBeLoaded) {
  std::string error;
  EXPECT_FALSE(host::ParserLibrary::Load("/no/such/library.so", &error));
  EXPECT_NE(std::string::npos, error.find("/no/such/library.so")) << error;
  EXPECT_FALSE(host::ParserLibrary::Load("libc.so.6", &error));
  EXPECT_NE(std::string::npos, error.find("createParser")) << error;
}

TEST(HostSession, InterleavesTheTracksByTime) {
  for (const auto& sample : SamplePaths()) {
    SCOPED_TRACE(sample.filename());
    Playing alone(FileBytes(sample)), together(FileBytes(sample));
    const auto video = All([&] { return alone.session.NextUnit(TrackKind::kVideo); });
    const auto audio = All([&] { return alone.session.NextUnit(TrackKind::kAudio); });
    std::vector<Unit> expected;
    std::merge(video.begin(), video.end(), audio.begin(), audio.end(), std::back_inserter(expected),
               [](const Unit& a, const Unit& b) { return Time(a) < Time(b); });
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(expected, All([&] { return together.session.NextUnit(); }));
    for (const host::Track& track : together.session.tracks()) {
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
  EXPECT_EQ("the content is encrypted", host::ParserSession::StatusText(playing.status));
  EXPECT_TRUE(playing.session.tracks().empty());
  EXPECT_EQ(nullptr, playing.session.NextUnit());
  EXPECT_EQ(kParserOk, playing.session.Seek(0, kSeekPreviousSync).video);
  EXPECT_EQ(ExactSeek::Outcome::kFailed, playing.session.SeekExact(0).outcome);
}

// Every target, and one before the first landing: the last one up to it comes
// out first, or the file from its beginning; audio in front of it does not.
void ExpectExactSeeks(const Bytes& bytes) {
  Playing playing(bytes);
  const std::vector<Unit> landings = playing.Landings();
  ASSERT_FALSE(landings.empty());
  std::vector<unsigned long long> targets = {0, ~0ull >> 1};
  for (const Unit& unit : landings) {
    const auto time = Time(unit);
    targets.insert(targets.end(), {time, time + 1, time - (time > 0)});
  }
  for (const unsigned long long target : targets) {
    const Unit* expected = nullptr;
    for (const Unit& unit : landings) {
      const bool better = expected == nullptr || Time(unit) > Time(*expected);
      if (Time(unit) <= target && better) expected = &unit;
    }
    const ExactSeek seek = playing.session.SeekExact(target);
    const Unit first = Copy(playing.session.NextUnit());
    if (expected == nullptr) {
      EXPECT_EQ(ExactSeek::Outcome::kNothingBefore, seek.outcome) << target;
    } else {
      EXPECT_EQ(ExactSeek::Outcome::kFound, seek.outcome) << target << seek.problem;
      EXPECT_EQ(*expected, first) << target;
      EXPECT_EQ(Time(*expected), seek.timeMs);
    }
    if (const auto* audio = playing.session.NextUnit(TrackKind::kAudio)) {
      EXPECT_GE(audio->timeMs, Time(first));
    }
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

TEST(HostSession, ACancelledExactSeekMovesNothing) {
  Playing playing(FileBytes(QO_SAMPLES_DIR "/wmv2_wma2.wmv"));
  playing.session.NextUnit();
  Playing undisturbed(FileBytes(QO_SAMPLES_DIR "/wmv2_wma2.wmv"));
  undisturbed.session.NextUnit();
  const auto cancel = [](unsigned long long done, unsigned long long total) {
    EXPECT_LT(done, total);
    return false;
  };
  EXPECT_EQ(ExactSeek::Outcome::kCancelled, playing.session.SeekExact(500, cancel).outcome);
  EXPECT_EQ(All([&] { return undisturbed.session.NextUnit(); }),
            All([&] { return playing.session.NextUnit(); }));
}

}  // namespace
