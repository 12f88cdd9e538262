// Changing streams while playing, against what each stream gives when it is played
// alone from its beginning.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "HostLibrary.h"
#include "qo_host/ExactSeek.h"
#include "qo_host/MemorySource.h"
#include "testing/AsfBuilder.h"
#include "testing/FaultySource.h"
#include "testing/SampleFiles.h"

namespace {

using qo_host::StreamChoice;
using qo_host::TrackKind;
constexpr unsigned char kNone = StreamChoice::kNoStream;
constexpr TrackKind kKinds[] = {TrackKind::kVideo, TrackKind::kAudio};

struct Unit {
  unsigned long long timeMs;
  std::string text;
};

std::string Text(const qo_host::AccessUnit* unit) {
  if (unit == nullptr) return "none";
  const std::string_view bytes(reinterpret_cast<const char*>(unit->data), unit->size);
  return std::string(TrackKindName(unit->kind)) + " " + std::to_string(unit->timeMs) + " " +
         std::to_string(std::hash<std::string_view>()(bytes)) + (unit->isKeyFrame ? " key" : "");
}

StreamChoice Alone(TrackKind kind, unsigned char number) {
  return kind == TrackKind::kAudio ? StreamChoice{number, kNone} : StreamChoice{kNone, number};
}

std::unique_ptr<qo_host::ParserSession> Open(const Bytes& file, const StreamChoice& streams) {
  auto session = std::make_unique<qo_host::ParserSession>(
      Library(), std::make_unique<qo_host::MemorySource>(file.data(), file.size()));
  qo_host::OpenOptions options;
  options.streams = streams;
  EXPECT_EQ(kParserOk, session->Open(options));
  return session;
}

// Every stream, played alone; what a session does by the words of its contract.
class Model {
 public:
  explicit Model(const Bytes& file) : header_(Open(file, {})->presented()->header()) {
    for (const qo_host::StreamHeader& stream : header_.streams) {
      const bool isAudio = stream.kind == qo_host::StreamKind::kAudio;
      if (!isAudio && stream.kind != qo_host::StreamKind::kVideo) continue;
      const TrackKind kind = isAudio ? TrackKind::kAudio : TrackKind::kVideo;
      numbers[kind].push_back(stream.number);
      const auto session = Open(file, Alone(kind, stream.number));
      std::vector<Unit>& units = streams_[stream.number].units;
      while (const auto* unit = session->NextUnit()) units.push_back({unit->timeMs, Text(unit)});
      if (isAudio) continue;
      session->Rewind();
      std::vector<unsigned long long>& keys = streams_[stream.number].keyTimes;
      while (const auto* unit = session->PeekUnit(kind, true)) {
        keys.push_back(unit->timeMs);
        session->NextUnit(kind);
      }
    }
  }

  void Choose(TrackKind kind, unsigned char number) { changes_[kind] = number; }
  void Apply() {
    const auto time = Reached();
    for (const auto& [kind, number] : changes_) {
      Lane& lane = lanes_[kind];
      if (lane.stream == number) continue;
      lane = {number, time ? Place(kind, number, *time) : 0, time};
    }
    changes_.clear();
  }

  std::string Next(TrackKind kind) {
    const Unit* unit = Peek(kind);
    if (unit == nullptr) return "none";
    ++lanes_[kind].next;
    lanes_[kind].reached = unit->timeMs;
    return unit->text;
  }
  std::string Next() {
    const Unit *video = Peek(TrackKind::kVideo), *audio = Peek(TrackKind::kAudio);
    const bool isAudio =
        video == nullptr || (audio && qo_host::IsBefore(audio->timeMs, video->timeMs));
    return Next(isAudio ? TrackKind::kAudio : TrackKind::kVideo);
  }
  StreamChoice Playing() { return {lanes_[kKinds[1]].stream, lanes_[kKinds[0]].stream}; }

  std::map<TrackKind, std::vector<unsigned char>> numbers;

 private:
  struct Played {
    std::vector<Unit> units;
    std::vector<unsigned long long> keyTimes;
  };
  struct Lane {
    unsigned char stream = kNone;
    std::size_t next = 0;
    std::optional<unsigned long long> reached;
  };

  const Unit* Peek(TrackKind kind) {
    const Lane& lane = lanes_[kind];
    const std::vector<Unit>& units = streams_[lane.stream].units;
    return lane.next < units.size() ? &units[lane.next] : nullptr;
  }

  std::optional<unsigned long long> Reached() {
    const Lane &audio = lanes_[TrackKind::kAudio], &video = lanes_[TrackKind::kVideo];
    if (audio.stream == kNone && video.stream == kNone)
      return std::max(audio.reached, video.reached);
    if (audio.stream != kNone && audio.reached && Peek(TrackKind::kAudio)) return audio.reached;
    if (video.stream != kNone && video.reached && Peek(TrackKind::kVideo)) return video.reached;
    std::optional<unsigned long long> latest;
    for (const Lane* lane : {&audio, &video}) {
      if (lane->stream != kNone) latest = std::max(latest, lane->reached);
    }
    return latest;
  }

  std::size_t Place(TrackKind kind, unsigned char number, unsigned long long timeMs) {
    const Played& stream = streams_[number];
    if (number == kNone) return 0;
    unsigned long long wanted = timeMs;
    if (kind == TrackKind::kVideo) {
      const auto behind = std::upper_bound(stream.keyTimes.begin(), stream.keyTimes.end(), timeMs);
      wanted = behind == stream.keyTimes.begin() ? stream.keyTimes.at(0) : *std::prev(behind);
    }
    const auto found = std::find_if(stream.units.begin(), stream.units.end(),
                                    [=](const Unit& unit) { return unit.timeMs >= wanted; });
    return static_cast<std::size_t>(found - stream.units.begin());
  }

  const qo_host::FileHeader header_;
  std::map<unsigned char, Played> streams_;
  std::map<TrackKind, Lane> lanes_;
  std::map<TrackKind, unsigned char> changes_;
};

std::string Rest(qo_host::ParserSession* session) {
  std::string text;
  while (const auto* unit = session->NextUnit()) text += Text(unit) + "\n";
  return text;
}

void ChooseInBoth(std::minstd_rand* random, Model* model, qo_host::ParserSession* session) {
  StreamChoice choice;
  for (const TrackKind kind : kKinds) {
    const std::vector<unsigned char>& numbers = model->numbers[kind];
    const std::size_t pick = (*random)() % (numbers.size() + 2);
    if (pick > numbers.size()) continue;  // as it was
    const unsigned char number = pick < numbers.size() ? numbers[pick] : kNone;
    (kind == TrackKind::kAudio ? choice.audio : choice.video) = number;
    model->Choose(kind, number);
  }
  ASSERT_EQ(kParserOk, session->Choose(choice));
  model->Apply();
}

// All that comes behind a seek or a rewind is as in a session opened with the choice.
void ExpectToMoveAsOne(const Bytes& file, unsigned int way, const StreamChoice& choice,
                       qo_host::ParserSession* session) {
  const auto fresh = Open(file, choice);
  for (qo_host::ParserSession* moved : {session, fresh.get()}) {
    const unsigned long long target = fresh->durationMs() * (way % 7) / 7;
    if (way % 3 == 0) moved->Rewind();
    if (way % 3 == 1) moved->Seek(target, kSeekPreviousSync);
    if (way % 3 == 2) qo_host::ExactSeeker(moved).Seek(target);
  }
  EXPECT_EQ(fresh->durationMs(), session->durationMs());
  EXPECT_EQ(Rest(fresh.get()), Rest(session));
}

void PlayChanging(const Bytes& file, Model model, unsigned int seed) {
  std::minstd_rand random(seed);
  const auto session = Open(file, {});
  for (const TrackKind kind : kKinds) {
    if (session->FindTrack(kind)) model.Choose(kind, *session->FindTrack(kind)->stream);
  }
  model.Apply();
  for (int change = 0; change < 6; ++change) {
    const auto how = static_cast<unsigned int>(random() % 4);
    for (auto count = random() % 30; count != 0; --count) {
      const TrackKind kind = kKinds[how % 2];
      ASSERT_EQ(how < 2 ? model.Next(kind) : model.Next(),
                Text(how < 2 ? session->NextUnit(kind) : session->NextUnit()));
    }
    if (random() % 2 == 0) session->PeekUnit(kKinds[random() % 2]);
    ChooseInBoth(&random, &model, session.get());
    if (::testing::Test::HasFatalFailure()) return;
    for (const TrackKind kind : kKinds) {
      const StreamChoice playing = model.Playing();
      const unsigned char number = kind == TrackKind::kAudio ? *playing.audio : *playing.video;
      const qo_host::Track* const track = session->FindTrack(kind);
      ASSERT_EQ(number, track ? *track->stream : kNone);
    }
  }
  ExpectToMoveAsOne(file, seed, model.Playing(), session.get());
}

// Two streams of each kind, of several forms; what follows a key frame differs in
// length, and audio lies up to a second behind or ahead of video.
Bytes FourStreams() {
  AsfFile file({Stream(ID_VIDEO_MEDIA, 2, VideoFormat("WMV2")),
                Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x161, 1000, 4)),
                Stream(ID_VIDEO_MEDIA, 4, VideoFormat("X264")),
                Stream(ID_AUDIO_MEDIA, 3, AudioFormat(0x0001))});
  for (unsigned int k = 0; k < 400; ++k) {
    const Bytes number = std::to_string(1000 + k);
    std::vector<Payload> payloads = {
        Media(2, 3000 + 40 * k, "a" + number).Key(k % 25 == 0),
        Media(4, 3010 + 40 * k, Hex("00 00 01") + "b" + number).Key(k % 60 == 7)};
    if (k % 2 == 0) payloads.push_back(Media(1, 4000 + 40 * k, number + number + number));
    if (k > 20) payloads.push_back(Media(3, 2600 + 40 * k, "pcm" + number));
    file.packets.push_back(Packet(payloads));
  }
  file.duration = 30ull * 10000000;
  return file.Build();
}

TEST(Choice, GoesOnAtTheSameTimeAndLosesNothing) {
  std::vector<Bytes> files = {FourStreams()};
  for (const auto& path : SamplePaths()) files.push_back(FileBytes(path));
  for (std::size_t i = 0; i < files.size(); ++i) {
    const Model model(files[i]);
    for (unsigned int seed = 1; seed <= (i == 0 ? 100u : 20u); ++seed) {
      SCOPED_TRACE("file " + std::to_string(i) + ", seed " + std::to_string(seed));
      PlayChanging(files[i], model, seed);
      if (HasFailure()) return;
    }
  }
}

// Behind a seek the place counts that it led to, whether a unit has been taken or not.
TEST(Choice, FollowsASeek) {
  const Bytes file = FourStreams();
  const auto session = Open(file, {});
  qo_host::ExactSeeker seeker(session.get());
  ASSERT_EQ(qo_host::ExactSeek::Outcome::kFound, seeker.Seek(9999).outcome);
  const auto sought = session->PeekUnit(TrackKind::kAudio)->timeMs;
  ASSERT_EQ(kParserOk, session->Choose({3, {}}));
  EXPECT_EQ(9000u, session->NextUnit(TrackKind::kVideo)->timeMs);
  EXPECT_GE(session->PeekUnit(TrackKind::kAudio)->timeMs, sought);
  EXPECT_LT(session->PeekUnit(TrackKind::kAudio)->timeMs, sought + 40);
  // The seeker has to learn the new streams' places.
  ASSERT_EQ(kParserOk, session->Choose({{}, 4}));
  ASSERT_EQ(qo_host::ExactSeek::Outcome::kFound, seeker.Seek(9999).outcome);
  EXPECT_EQ(10u + 40 * (7 + 60 * 4), session->NextUnit(TrackKind::kVideo)->timeMs);
}

TEST(Choice, AFailureChangesNothing) {
  const Bytes file = FourStreams();
  const auto undisturbed = Open(file, {});
  for (int i = 0; i < 200; ++i) undisturbed->NextUnit();
  const std::string rest = Rest(undisturbed.get());
  int failed = 0;
  for (unsigned long call = 1;; ++call) {
    auto owned = std::make_unique<FaultySource>(file);
    FaultySource* const source = owned.get();
    qo_host::ParserSession session(Library(), std::move(owned));
    EXPECT_EQ(kParserUnsupported, session.Choose({3, {}}));
    ASSERT_EQ(kParserOk, session.Open());
    for (int i = 0; i < 200; ++i) session.NextUnit();
    EXPECT_EQ(kParserOutOfRange, session.Choose({2, {}}));
    EXPECT_EQ(kParserOutOfRange, session.Choose({3, 9}));
    const unsigned long before = source->CallCount();
    source->PlanIn(call, call % 2 ? Fault::kFail : Fault::kThrow);
    const int status = session.Choose({3, 4});
    if (source->CallCount() < before + call) break;
    if (status == kParserOk) continue;  // what a plan can do without
    ++failed;
    ASSERT_EQ(1, *session.FindTrack(TrackKind::kAudio)->stream);
    ASSERT_EQ(rest, Rest(&session));
  }
  EXPECT_GT(failed, 3);

  qo_host::ParserSession asIs(Library(),
                              std::make_unique<qo_host::MemorySource>(file.data(), file.size()));
  ASSERT_EQ(kParserOk, asIs.Open(AsIs()));
  EXPECT_EQ(kParserUnsupported, asIs.Choose({3, {}}));
}

}  // namespace
