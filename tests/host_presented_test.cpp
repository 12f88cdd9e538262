// Sessions that present a file otherwise than it is: what comes out is what the same
// file without its faults gives.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "HostLibrary.h"
#include "qo_host/AsfLayout.h"
#include "qo_host/ExactSeek.h"
#include "qo_host/MemorySource.h"
#include "testing/AsfBuilder.h"
#include "testing/SampleFiles.h"

namespace {

using qo_host::TrackKind;

std::unique_ptr<IDataSource> Source(const Bytes& bytes) {
  return std::make_unique<qo_host::MemorySource>(bytes.data(), bytes.size());
}

// Every second a key frame and an audio object, two packets each second; the index
// knows them.
AsfFile Seconds(const char* fourCc = "WMV2", int audioTag = 0xFF) {
  AsfFile file({Stream(ID_VIDEO_MEDIA, 2, VideoFormat(fourCc)),
                Stream(ID_AUDIO_MEDIA, 1, AudioFormat(audioTag))});
  for (unsigned int k = 0; k < 40; ++k) {
    const Bytes number = std::to_string(100 + k);
    const Payload video = Media(2, 3000 + 500 * k, "video" + number).Key(k % 2 == 0);
    file.packets.push_back(Packet({video, Media(1, 3000 + 500 * k, "audio" + number)}));
  }
  file.duration = 23ull * 10000000;
  return file;
}

Bytes WithoutErrorCorrection(AsfFile file) {
  for (Packet& packet : file.packets) packet.errorCorrection.clear();
  return file.Build();
}

std::string UnitText(const qo_host::AccessUnit* unit) {
  if (unit == nullptr) return "none";
  return std::string(unit->data, unit->data + unit->size) + "@" + std::to_string(unit->timeMs) +
         (unit->isIncomplete ? " incomplete" : "");
}

std::string AllUnits(const Bytes& bytes) {
  qo_host::ParserSession session(Library(), Source(bytes));
  EXPECT_EQ(kParserOk, session.Open());
  std::string units;
  while (const qo_host::AccessUnit* unit = session.NextUnit()) units += UnitText(unit) + "\n";
  return units;
}

TEST(PresentedSession, TellsKeyFramesAsFlagged) {
  for (const Bytes& bytes : {Seconds().Build(), WithoutErrorCorrection(Seconds())}) {
    qo_host::ParserSession session(Library(), Source(bytes));
    ASSERT_EQ(kParserOk, session.Open());
    for (unsigned int k = 0; k < 40; ++k) {
      const qo_host::AccessUnit* unit = session.NextUnit(TrackKind::kVideo);
      ASSERT_NE(nullptr, unit);
      EXPECT_EQ(k % 2 == 0, unit->isKeyFrame) << k;
    }
  }
}

TEST(PresentedSession, SeeksAsInTheSameFileWithoutTheFault) {
  const Bytes good = Seconds().Build(), mended = WithoutErrorCorrection(Seconds());
  EXPECT_EQ(AllUnits(good), AllUnits(mended));
  for (const unsigned int target : {0u, 1u, 999u, 1000u, 7300u, 12500u, 19500u, 60000u}) {
    std::string landed[2];
    for (const Bytes* bytes : {&good, &mended}) {
      qo_host::ParserSession session(Library(), Source(*bytes));
      ASSERT_EQ(kParserOk, session.Open());
      const qo_host::ExactSeek seek = qo_host::ExactSeeker(&session).Seek(target);
      EXPECT_EQ(qo_host::ExactSeek::Outcome::kFound, seek.outcome) << target;
      landed[bytes == &good ? 0 : 1] = std::to_string(seek.timeMs) + " " +
                                       UnitText(session.NextUnit(TrackKind::kVideo)) + " " +
                                       UnitText(session.NextUnit(TrackKind::kAudio));
    }
    EXPECT_EQ(landed[0], landed[1]) << target;
    EXPECT_EQ(0u, landed[0].find(std::to_string(std::min(target, 19500u) / 1000 * 1000) + " "));
  }
}

// Where an exact seek lands, by the units that come then.
struct Landing {
  std::string video, audio;
  bool operator==(const Landing& other) const {
    return video == other.video && audio == other.audio;
  }
};

std::vector<Landing> Landings(const Bytes& bytes) {
  qo_host::ParserSession session(Library(), Source(bytes));
  EXPECT_EQ(kParserOk, session.Open());
  qo_host::ExactSeeker seeker(&session);
  std::vector<Landing> landings;
  for (unsigned int target = 0; target < 2500; target += 130) {
    EXPECT_NE(qo_host::ExactSeek::Outcome::kFailed, seeker.Seek(target).outcome);
    landings.push_back({UnitText(session.NextUnit(TrackKind::kVideo)),
                        UnitText(session.NextUnit(TrackKind::kAudio))});
  }
  return landings;
}

qo_host::AsfLayout LayoutOf(const Bytes& bytes) {
  qo_host::MemorySource source(bytes.data(), bytes.size());
  qo_host::AsfLayout layout;
  EXPECT_EQ(0, qo_host::ReadLayout(&source, &layout));
  return layout;
}

// Takes the error correction data off every packet; padding fills its place.
Bytes WithoutErrorCorrection(Bytes bytes) {
  const qo_host::AsfLayout layout = LayoutOf(bytes);
  for (unsigned long long k = 0; k < layout.PacketsInFile(); ++k) {
    Bytes packet = bytes.substr(layout.PacketPosition(k) + 3, layout.packetLength - 3);
    const unsigned char flags = static_cast<unsigned char>(packet[0]);
    EXPECT_EQ(0, flags & 0x66) << "a packet with its length, or a sequence number";
    if ((flags & 0x18) == 0) {
      packet[0] = static_cast<char>(flags | 0x08);
      packet.insert(2, Le(2, 1));
      packet += Bytes(2, '\0');
    } else {
      packet[2] = static_cast<char>(packet[2] + 3);
      if ((flags & 0x18) == 0x10 && static_cast<unsigned char>(packet[2]) < 3) ++packet[3];
      packet += Bytes(3, '\0');
    }
    bytes.replace(layout.PacketPosition(k), layout.packetLength, packet);
  }
  return bytes;
}

TEST(PresentedSession, SeeksInRealFilesAsWithoutTheDamage) {
  int same = 0, lost = 0;
  for (const auto& path : SamplePaths()) {
    SCOPED_TRACE(path.filename());
    const Bytes good = FileBytes(path);
    const qo_host::AsfLayout layout = LayoutOf(good);
    const std::vector<Landing> landings = Landings(good);
    EXPECT_TRUE(landings == Landings(good.substr(0, layout.DataEnd())));
    EXPECT_TRUE(landings == Landings(WithoutErrorCorrection(good)));
    for (unsigned long long packet = 1; packet < layout.PacketsInFile(); packet += 5) {
      Bytes damaged = good;
      damaged.replace(layout.PacketPosition(packet), 60, 60, '\xA5');
      const std::string units = AllUnits(damaged) + "none\n";
      const std::vector<Landing> reached = Landings(damaged);
      for (std::size_t i = 0; i < landings.size(); ++i) {
        const bool comesOut = units.find(landings[i].video + "\n") != units.npos &&
                              units.find(landings[i].audio + "\n") != units.npos;
        ++(comesOut ? same : lost);
        if (!comesOut) continue;
        EXPECT_TRUE(landings[i] == reached[i]) << "packet " << packet << ", " << 130 * i << " ms";
      }
    }
  }
  EXPECT_GT(same, 5 * lost);
}

// A packet that makes no sense costs what lies in it, and nothing else.
TEST(PresentedSession, GoesOnBehindDamage) {
  AsfFile file = Seconds();
  file.packets[7].payloads.push_back(Media(2, 7000, "of two").Key());
  file.packets[7].payloads.back().replicated = Le(12, 4) + Le(7000, 4);
  file.packets[8].payloads.insert(file.packets[8].payloads.begin(),
                                  Media(2, 7000, " parts").Offset(6));
  file.packets[8].payloads[0].replicated = Le(12, 4) + Le(7000, 4);
  const std::string whole = AllUnits(file.Build());
  EXPECT_NE(whole.npos, whole.find("of two parts@4000\n"));
  Bytes damaged = file.Build();
  damaged.replace(damaged.find("video108") - 40, 45, 45, '\xFF');  // in packet 8
  std::string expected = whole;
  for (const char* lost : {"video108@4000\n", "audio108@4000\n"}) {
    ASSERT_NE(expected.npos, expected.find(lost));
    expected.erase(expected.find(lost), std::string(lost).size());
  }
  expected.replace(expected.find("of two parts@4000"), 17, "of two@4000 incomplete");
  EXPECT_EQ(expected, AllUnits(damaged));
}

// A payload without a body or without replicated data costs itself.
TEST(PresentedSession, StepsOverPayloadsThatAreNone) {
  AsfFile file = Seconds();
  const std::string whole = AllUnits(file.Build());
  std::vector<Payload>& payloads = file.packets[7].payloads;
  payloads.insert(payloads.begin(), {Media(1, 6500, ""), Media(2, 6500, "none").Replicated("")});
  EXPECT_EQ(whole, AllUnits(file.Build()));
}

// The tracks say what the streams are, whatever the parser was shown.
TEST(PresentedSession, TellsTheTruth) {
  AsfFile file = Seconds("X264", 0x0001);
  file.header.push_back(Stream(ID_AUDIO_MEDIA, 9, AudioFormat(0x0007)));
  file.packets.push_back(Packet({Media(9, 23000, "other")}));
  const Bytes bytes = file.Build();
  qo_host::ParserSession session(Library(), Source(bytes));
  ASSERT_EQ(kParserOk, session.Open());
  EXPECT_EQ(kCodecH264, session.FindTrack(TrackKind::kVideo)->info.codec);
  const qo_host::Track& audio = *session.FindTrack(TrackKind::kAudio);
  EXPECT_EQ(kCodecPcm, audio.info.codec);
  EXPECT_EQ(0x0001u, audio.codecTag);
  EXPECT_EQ(1, audio.stream);
  EXPECT_EQ("audio100@0", UnitText(session.NextUnit(TrackKind::kAudio)));

  qo_host::OpenOptions options;
  options.streams.audio = 9;
  qo_host::ParserSession other(Library(), Source(bytes));
  ASSERT_EQ(kParserOk, other.Open(options));
  EXPECT_EQ(kCodecMuLaw, other.FindTrack(TrackKind::kAudio)->info.codec);
  EXPECT_EQ("other@20000", UnitText(other.NextUnit(TrackKind::kAudio)));

  options.streams.video = qo_host::StreamChoice::kNoStream;
  qo_host::ParserSession alone(Library(), Source(bytes));
  ASSERT_EQ(kParserOk, alone.Open(options));
  EXPECT_EQ(nullptr, alone.FindTrack(TrackKind::kVideo));
  EXPECT_EQ("other@20000", UnitText(alone.NextUnit()));
  EXPECT_EQ("none", UnitText(alone.NextUnit()));
}

// H.264 behind lengths of two bytes comes with start codes, as it does of four.
TEST(PresentedSession, PutsStartCodesInPlaceOfShortLengths) {
  const Bytes config = Hex("01 4D 00 1E FD E0 00");
  AsfFile file({Stream(ID_VIDEO_MEDIA, 2, VideoFormat("H264", config))});
  file.packets.push_back(Packet({Key(2, 3000, Hex("00 02") + "NA" + Hex("00 01") + "L"),
                                 Key(2, 3040, Hex("00 09") + "cut")}));
  const Bytes code = Hex("00 00 00 01");
  EXPECT_EQ(code + "NA" + code + "L@0\n" + code + "cut@40\n", AllUnits(file.Build()));
}

// Several blocks of Windows Media Audio in one object come one by one.
TEST(PresentedSession, CutsBlocksWithTheirOwnTimes) {
  AsfFile file({Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x161, 1000, 4))});
  file.packets.push_back(Packet({Media(1, 3000, "aaaabbbbcccc"), Media(1, 3012, "dddd")}));
  EXPECT_EQ("aaaa@0\nbbbb@4\ncccc@8\ndddd@12\n", AllUnits(file.Build()));
}

}  // namespace
