// What is said of files in which one thing is wrong, and of those in which nothing is.
#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "HostLibrary.h"
#include "qo_host/FileCheck.h"
#include "qo_host/MemorySource.h"
#include "testing/AsfBuilder.h"
#include "testing/SampleFiles.h"

namespace {

using qo_host::FindingCode;
using qo_host::Severity;

// Code, severity, stream, packet, what was stated or came before, what is true or came
// then; -1 where the finding names none.
using Found = std::tuple<FindingCode, Severity, int, long long, long long, long long>;

std::vector<Found> Judge(const Bytes& file, const qo_host::OpenOptions& options = {}) {
  auto owned = std::make_unique<qo_host::MemorySource>(file.data(), file.size());
  IDataSource* const source = owned.get();
  qo_host::ParserSession session(Library(), std::move(owned));
  const int status = session.Open(options);
  qo_host::AsfLayout layout, played;
  EXPECT_EQ(0, qo_host::ReadLayout(source, &layout));
  std::vector<qo_host::Finding> findings = qo_host::JudgeOpen({session, layout, source}, status),
                                more;
  qo_host::FileCheck check(session, source);
  qo_host::Totals totals;
  while (const auto* unit = session.NextUnit()) {
    totals.Add(*unit);
    EXPECT_EQ(0, check.Follow());
  }
  unsigned long long position = 0;
  EXPECT_EQ(0, session.view()->GetPosition(&position));
  EXPECT_EQ(0, qo_host::ReadLayout(session.view(), &played));
  EXPECT_EQ(0, session.view()->SeekTo(position, 0));
  EXPECT_EQ(0, qo_host::JudgePlayOut({session, played, session.view()}, totals, &findings));
  EXPECT_EQ(0, check.Finish(findings, &more));
  findings.insert(findings.end(), more.begin(), more.end());
  std::vector<Found> found;
  for (const qo_host::Finding& finding : findings) {
    const auto second = finding.actual ? finding.actual : finding.timeMs;
    found.emplace_back(finding.code, finding.severity, finding.stream ? finding.stream->number : -1,
                       finding.packet ? static_cast<long long>(*finding.packet) : -1,
                       finding.stated.value_or(-1), second.value_or(-1));
  }
  return found;
}

constexpr std::size_t kFileSizeAt = 70;  // in the file properties, which come first

Bytes WithFileSize(Bytes file, unsigned long long size) {
  return file.replace(kFileSizeAt, 8, Le(size, 8));
}

// Four seconds: of video and audio an object every 100 ms, a key frame every second.
AsfFile RightFile() {
  AsfFile file({Stream(ID_VIDEO_MEDIA, 1, VideoFormat("WMV2")),
                Stream(ID_AUDIO_MEDIA, 2, AudioFormat(0x161, 16000, 8))});
  for (unsigned int i = 0; i < 40; ++i) {
    const unsigned int time = 3000 + 100 * i;
    file.packets.push_back(
        Packet({Media(1, time, "pictures").Key(i % 10 == 0), Media(2, time, "sounding")}));
    file.packets.back().sendTime = 100 * i;
  }
  file.duration = 70000000;
  file.bitrate = 20000;
  file.trailing = SimpleIndex(10000000, {0, 0, 0, 0, 10, 20, 30});
  return file;
}

Packet& At(AsfFile* file, std::size_t packet) { return file->packets[packet]; }
Payload& Video(AsfFile* file, std::size_t packet) { return file->packets[packet].payloads[0]; }
Payload& Audio(AsfFile* file, std::size_t packet) { return file->packets[packet].payloads[1]; }

TEST(HostFindings, NameTheOneThingThatIsWrong) {
  using Change = std::function<void(AsfFile*)>;
  const auto note = Severity::kNote;
  const struct {
    const char* name;
    Change change;
    std::vector<Found> expected;
  } cases[] = {
      {"nothing", [](AsfFile*) {}, {}},
      {"a preroll of 0",
       [](AsfFile* f) {
         f->preroll = 0;
         for (Packet& packet : f->packets) packet.sendTime = 0;
       },
       {{FindingCode::kPrerollZero, note, -1, -1, -1, -1}}},
      {"an object that comes late",
       [](AsfFile* f) {
         for (std::size_t i = 20; i < 40; ++i) At(f, i).sendTime += 3500;
       },
       {{FindingCode::kPrerollShort, note, 1, 20, 3000, 3500}}},
      {"audio that runs backwards",
       [](AsfFile* f) { Audio(f, 20).time -= 250; },
       {{FindingCode::kTimesBackwards, note, 2, 20, 1900, 1750}}},
      {"video that begins anew",
       [](AsfFile* f) {
         for (std::size_t i = 30; i < 40; ++i) Video(f, i).time -= 2500;
       },
       {{FindingCode::kTimesBackwards, note, 1, 30, 1300, 500}}},
      {"reordered video",
       [](AsfFile* f) {
         for (std::size_t i = 1; i + 15 < 40; i += 15)
           std::swap(Video(f, i).time, Video(f, i + 8).time);
       },
       {}},
      {"audio with a hole",
       [](AsfFile* f) {
         for (std::size_t i = 10; i < 25; ++i) f->packets[i].payloads.pop_back();
       },
       {{FindingCode::kTimesJump, note, 2, 25, 900, 2500}}},
      {"sending times that run backwards",
       [](AsfFile* f) { At(f, 20).sendTime = 1000; },
       {{FindingCode::kSendBackwards, note, -1, 20, 1900, 1000}}},
      {"sending times that jump",
       [](AsfFile* f) { At(f, 39).sendTime += 20000; },
       {{FindingCode::kSendJump, note, -1, 39, 3800, 23900}}},
      {"a payload beyond its object",
       [](AsfFile* f) { Audio(f, 5).Replicated(Le(6, 4) + Le(3500, 4)); },
       {{FindingCode::kObjectOverrun, note, 2, 5, -1, 500}}},
      {"a payload beyond its packet",
       [](AsfFile* f) { Audio(f, 5).Length(400); },
       {{FindingCode::kPacketsFailed, Severity::kProblem, -1, 5, -1, -1}}},
      {"a wrong packet count",
       [](AsfFile* f) { f->packetCount = 39; },
       {{FindingCode::kPacketCount, note, -1, -1, 39, 40}}},
      {"a duration that is too long",
       [](AsfFile* f) { f->duration += 10000000; },
       {{FindingCode::kDuration, note, -1, -1, 5000, 4000}}},
      {"a bit rate that is too low",
       [](AsfFile* f) { f->bitrate = 8000; },
       {{FindingCode::kBitrate, note, -1, -1, 8000, 8914}}},
      {"an index that leads astray",
       [](AsfFile* f) {
         f->trailing = SimpleIndex(10000000, {0, 0, 0, 0, 10, 35, 30});
       },
       {{FindingCode::kIndexMisleading, note, 1, -1, -1, -1}}},
      {"two streams of one number",
       [](AsfFile* f) { f->header.push_back(Stream(ID_COMMAND_MEDIA, 2, "")); },
       {{FindingCode::kStreamTwice, Severity::kProblem, 2, -1, -1, -1}}},
      {"a stream without a payload",
       [](AsfFile* f) { f->header.push_back(Stream(ID_COMMAND_MEDIA, 3, "")); },
       {{FindingCode::kStreamEmpty, note, 3, -1, -1, -1}}},
      {"packets without error correction data in between",
       [](AsfFile* f) { At(f, 20).errorCorrection = ""; },
       {{FindingCode::kPacketsMisread, Severity::kMended, -1, -1, -1, -1}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    AsfFile file = RightFile();
    c.change(&file);
    const Bytes bytes = file.Build();
    EXPECT_EQ(c.expected, Judge(WithFileSize(bytes, bytes.size())));
  }
  const Bytes bytes = RightFile().Build();
  const auto size = static_cast<long long>(bytes.size());
  EXPECT_EQ((std::vector<Found>{{FindingCode::kFileSize, note, -1, -1, 5000, size}}),
            Judge(WithFileSize(bytes, 5000)));
}

// But for what the parser does with their formats.
TEST(HostFindings, AreNoneInSamples) {
  for (const auto& sample : SamplePaths()) {
    SCOPED_TRACE(sample.filename());
    for (const Found& found : Judge(FileBytes(sample))) {
      EXPECT_EQ(FindingCode::kMended, std::get<FindingCode>(found));
    }
  }
}

}  // namespace
