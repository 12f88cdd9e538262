// The reference host, through the shared library as a host loads it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "AsfBuilder.h"
#include "host/CodecNames.h"
#include "host/MemorySource.h"
#include "host/ParserSession.h"

namespace {

using host::ExactSeek;
using host::TrackKind;

const host::ParserLibrary& Library() {
  static const auto library = [] {
    setenv("QOCP_DEBUG_LEVEL", "0", 1);
    std::string error;
    auto loaded = host::ParserLibrary::Load(QO_PARSER_LIBRARY, &error);
    if (!loaded) ADD_FAILURE() << error;
    return loaded;
  }();
  return *library;
}

struct Unit {
  TrackKind kind;
  unsigned long long timeMs;
  std::string bytes;

  bool operator==(const Unit& other) const {
    return kind == other.kind && timeMs == other.timeMs && bytes == other.bytes;
  }
};
std::ostream& operator<<(std::ostream& out, const Unit& unit) {
  return out << TrackKindName(unit.kind) << "@" << unit.timeMs << "+" << unit.bytes.size();
}

std::optional<Unit> Copy(const host::AccessUnit* unit) {
  if (unit == nullptr) return std::nullopt;
  return Unit{unit->kind, unit->timeMs,
              std::string(reinterpret_cast<const char*>(unit->data), unit->size)};
}

template <typename Next>
std::vector<Unit> All(Next next) {
  std::vector<Unit> units;
  while (const auto unit = Copy(next())) units.push_back(*unit);
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
    const auto parser = Library().MakeParser();
    const auto source = Source();
    parser->Open(source.get());
    std::string buffer(kMaxAccessUnitBytes, '\0');
    auto* const data = reinterpret_cast<unsigned char*>(buffer.data());
    unsigned long size, time;
    const bool video = session.FindTrack(TrackKind::kVideo) != nullptr;
    while ((video ? parser->GetVideoData(data, &size, &time, buffer.size(), true)
                  : parser->GetAudioData(data, &size, &time, buffer.size())) == 0) {
      if (video && !units.empty() && units.back().timeMs == time) continue;  // a further NAL unit
      units.push_back(
          {video ? TrackKind::kVideo : TrackKind::kAudio, time, buffer.substr(0, size)});
    }
    parser->Close();
    return units;
  }

  const Bytes bytes;
  host::ParserSession session;
  const int status;
};

std::vector<std::filesystem::path> Samples() {
  std::vector<std::filesystem::path> samples;
  for (const auto& entry : std::filesystem::directory_iterator(QO_SAMPLES_DIR)) {
    const auto kind = entry.path().extension();
    if (kind == ".asf" || kind == ".wmv" || kind == ".wma") samples.push_back(entry.path());
  }
  EXPECT_FALSE(samples.empty());
  return samples;
}

Bytes Load(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

TEST(HostSession, SaysWhyALibraryCannotBeLoaded) {
  std::string error;
  EXPECT_FALSE(host::ParserLibrary::Load("/no/such/library.so", &error));
  EXPECT_NE(std::string::npos, error.find("/no/such/library.so")) << error;
  EXPECT_FALSE(host::ParserLibrary::Load("libc.so.6", &error));
  EXPECT_NE(std::string::npos, error.find("createParser")) << error;
}

TEST(HostSession, InterleavesTheTracksByTime) {
  for (const auto& sample : Samples()) {
    SCOPED_TRACE(sample.filename());
    Playing alone(Load(sample)), together(Load(sample));
    const auto video = All([&] { return alone.session.NextUnit(TrackKind::kVideo); });
    const auto audio = All([&] { return alone.session.NextUnit(TrackKind::kAudio); });
    std::vector<Unit> expected;
    for (std::size_t v = 0, a = 0; v < video.size() || a < audio.size();) {
      const bool videoFirst =
          a == audio.size() || (v < video.size() && video[v].timeMs <= audio[a].timeMs);
      expected.push_back(videoFirst ? video[v++] : audio[a++]);
    }
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(expected, All([&] { return together.session.NextUnit(); }));
    for (const host::Track& track : together.session.tracks()) {
      EXPECT_EQ(kParserEndOfStream, together.session.EndStatus(track.kind));
    }
    together.session.Rewind();
    EXPECT_EQ(expected, All([&] { return together.session.NextUnit(); }));
  }
}

TEST(HostSession, DescribingAShortAc3TrackLosesNothing) {
  Playing playing(Load(QO_SAMPLES_DIR "/ac3.asf"));
  EXPECT_STREQ("AC-3", host::CodecName(playing.session.tracks().at(0).info.codec));
  const auto units = All([&] { return playing.session.NextUnit(); });
  EXPECT_EQ(units, playing.Landings());
  EXPECT_EQ(0u, units.at(0).timeMs);
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

TEST(HostSession, ASeekDropsWhatWaits) {
  Playing playing(Load(QO_SAMPLES_DIR "/wmv2_wma2.wmv"));
  const auto first = Copy(playing.session.NextUnit());
  for (int i = 0; i < 9; ++i) playing.session.NextUnit();
  const host::SeekStatus status = playing.session.Seek(0, kSeekPreviousSync);
  EXPECT_EQ(kParserOk, status.video);
  EXPECT_EQ(kParserOk, status.audio);
  EXPECT_EQ(first, Copy(playing.session.NextUnit()));
}

// Every target, and one before the first landing: the last one up to it comes
// out first, or the file from its beginning; audio in front of it does not.
void ExpectExactSeeks(const Bytes& bytes) {
  Playing playing(bytes);
  const std::vector<Unit> landings = playing.Landings();
  ASSERT_FALSE(landings.empty());
  std::vector<unsigned long long> targets = {0, ~0ull >> 1};
  for (const Unit& unit : landings) {
    targets.insert(targets.end(), {unit.timeMs, unit.timeMs + 1, unit.timeMs - (unit.timeMs > 0)});
  }
  for (const unsigned long long target : targets) {
    const Unit* expected = nullptr;
    for (const Unit& unit : landings) {
      if (unit.timeMs <= target && (expected == nullptr || unit.timeMs > expected->timeMs)) {
        expected = &unit;
      }
    }
    const ExactSeek seek = playing.session.SeekExact(target);
    const auto first = Copy(playing.session.NextUnit());
    ASSERT_TRUE(first);
    if (expected == nullptr) {
      EXPECT_EQ(ExactSeek::Outcome::kNothingBefore, seek.outcome) << target;
    } else {
      EXPECT_EQ(ExactSeek::Outcome::kFound, seek.outcome) << target << seek.problem;
      EXPECT_EQ(*expected, *first) << target;
      EXPECT_EQ(expected->timeMs, seek.timeMs);
    }
    if (const auto* audio = playing.session.NextUnit(TrackKind::kAudio)) {
      EXPECT_GE(audio->timeMs, first->timeMs);
    }
  }
}

TEST(HostSession, SeeksExactlyInRealFiles) {
  for (const auto& sample : Samples()) {
    SCOPED_TRACE(sample.filename());
    ExpectExactSeeks(Load(sample));
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
  Playing playing(Load(QO_SAMPLES_DIR "/wmv2_wma2.wmv"));
  playing.session.NextUnit();
  Playing undisturbed(Load(QO_SAMPLES_DIR "/wmv2_wma2.wmv"));
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
