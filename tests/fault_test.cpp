// Whatever the source does, at whichever call: the parser comes back with a
// documented status, keeps to its buffers, and Close leaves nothing behind.
#include <filesystem>
#include <fstream>
#include <sstream>

#include "ParserSession.h"

namespace {

struct Input {
  std::string name;
  Bytes bytes;
};

// The sample files, and one built file that has what they lack.
std::vector<Input> Inputs() {
  AsfFile file({AudioStream(1, AudioFormat(0x2000)), VideoStream(2, VideoFormat("H264")),
                ExtendedContent({Descriptor(Utf16("WM/Genre"), 0, Utf16("g"))}),
                HeaderExtension(Metadata({Record(Utf16("WM/Year"), 3, Le(1999, 4))})),
                ContentDescription({Utf16("T"), Utf16("A"), "", "", ""})});
  const Bytes nals = Hex("00 00 00 02") + "ab" + Hex("00 00 00 01") + "c";
  for (unsigned time = 3000; time < 3600; time += 100) {
    file.packets.push_back(Packet({Compressed(1, time, 10, {"aa", "bb"}), Key(2, time, nals),
                                   Media(2, time, "x").Offset(11)}));
  }
  file.trailing = SimpleIndex(1000000, {0, 2, 3, 4}) + Object(ID_INDEX_OBJECT, "index");
  std::vector<Input> inputs = {{"built", file.Build()}};
  for (const auto& entry : std::filesystem::directory_iterator(SAMPLES_DIR)) {
    const std::string extension = entry.path().extension();
    if (extension != ".wmv" && extension != ".wma" && extension != ".asf") continue;
    std::ostringstream bytes;
    bytes << std::ifstream(entry.path(), std::ios::binary).rdbuf();
    inputs.push_back({entry.path().filename(), bytes.str()});
  }
  return inputs;
}

bool IsDocumented(int status) {
  for (const int known : {0, -1007, -1008, -1010, -1011, INT_MIN, FaultySource::kFailure}) {
    if (status == known) return true;
  }
  return false;
}

// Does all that a host does with a file, `units` access units a track at most.
// False: it did not open.
bool UseFile(ParserSession* session, int units) {
  static std::vector<unsigned char> buffer(kMaxAccessUnitBytes);
  unsigned long size = 0, time = 0;
  ASFParser& parser = *session->parser;
  const int opened = session->Open();
  EXPECT_TRUE(IsDocumented(opened)) << opened;
  if (opened != 0) return false;
  bool hasTrack[3] = {};
  for (unsigned i = 0; i < parser.GetTrackCount(); ++i) {
    const TrackInfo* info = parser.GetTrackInfo(i);
    if (info != nullptr) hasTrack[info->trackType] = true;
  }
  if (hasTrack[kTrackAudio]) parser.GetAudioConfig(buffer.data(), &size, buffer.size());
  if (hasTrack[kTrackVideo]) parser.GetVideoConfig(buffer.data(), &size, buffer.size());
  const auto play = [&] {
    for (int track : {kTrackAudio, kTrackVideo}) {
      for (int i = 0; hasTrack[track] && i < units; ++i) {
        const int status =
            track == kTrackAudio
                ? parser.GetAudioData(buffer.data(), &size, &time, buffer.size())
                : parser.GetVideoData(buffer.data(), &size, &time, buffer.size(), i == 1);
        EXPECT_TRUE(IsDocumented(status)) << status;
        if (status != 0) break;
        EXPECT_LE(size, kMaxAccessUnitBytes);
      }
    }
  };
  play();
  for (int seekMode = 0; seekMode < 3; ++seekMode) {
    for (const int track : {kTrackVideo, kTrackAudio}) {
      const int status = parser.SeekEx(250, track, 0, 0, 0, seekMode);
      EXPECT_TRUE(IsDocumented(status)) << status;
    }
  }
  play();
  return true;
}

TEST(Faults, EverySourceCallFailsOnce) {
  for (const Input& input : Inputs()) {
    ParserSession sound(input.bytes, "0");
    sound.source.record = false;
    ASSERT_TRUE(UseFile(&sound, 3)) << input.name;
    // All of the header and the first calls of reading, then every 7th.
    const long calls = sound.source.callCount();
    for (long call = 1; call <= calls; call += call < 300 ? 1 : 7) {
      for (const auto fault :
           {FaultySource::kFail, FaultySource::kThrow, FaultySource::kThrowBadAlloc,
            FaultySource::kBringNothing, FaultySource::kShrink}) {
        SCOPED_TRACE(input.name + " call " + std::to_string(call) + " fault " +
                     std::to_string(fault));
        ParserSession session(input.bytes, "0");
        session.source.record = false;
        session.source.fault = fault;
        session.source.faultCall = call;
        UseFile(&session, 3);
        EXPECT_EQ(0, session.parser->Close());
        EXPECT_EQ(0u, session.parser->GetTrackCount());
      }
    }
  }
}

TEST(Faults, FilesAreCutAnywhere) {
  for (const Input& input : Inputs()) {
    const std::size_t step = std::max<std::size_t>(1, input.bytes.size() / 200);
    for (std::size_t size = 0; size < input.bytes.size(); size += size < 100 ? 1 : step) {
      SCOPED_TRACE(input.name + " cut to " + std::to_string(size));
      ParserSession session(input.bytes.substr(0, size), "0");
      session.source.record = false;
      EXPECT_TRUE(UseFile(&session, 1000));  // a short read is no failure
    }
  }
}

TEST(Faults, BytesAreChangedAnywhere) {
  for (const Input& input : Inputs()) {
    unsigned random = 1;
    for (int round = 0; round < 150; ++round) {
      Bytes bytes = input.bytes;
      SCOPED_TRACE(input.name + " round " + std::to_string(round));
      for (int change = 0; change < 4; ++change) {
        random = random * 1664525 + 1013904223;
        // Half of the changes in what is parsed first.
        const std::size_t range =
            change % 2 == 0 ? std::min<std::size_t>(1000, bytes.size()) : bytes.size();
        bytes[(random >> 8) % range] = "\x00\xFF\x01\x80"[random >> 30];
      }
      ParserSession session(bytes, "0");
      session.source.record = false;
      UseFile(&session, 1000);
    }
  }
}

TEST(Faults, ReadsOfAByteAtATimeAreShort) {
  for (const Input& input : Inputs()) {
    ParserSession session(input.bytes, "0");
    session.source.record = false;
    session.source.maxRead = 1;
    UseFile(&session, 1000);
  }
}

TEST(Faults, ThrownFromTheSourceBecomeAStatus) {
  const AsfFile file = AvFile({Packet({Media(1, 3000, "a")})});
  const std::pair<FaultySource::Fault, int> faults[] = {
      {FaultySource::kFail, FaultySource::kFailure},
      {FaultySource::kThrow, kParserEndOfStream},
      {FaultySource::kThrowBadAlloc, kParserOutOfRange}};
  for (const auto& [fault, status] : faults) {
    ParserSession opening(file.Build());
    opening.source.fault = fault;
    opening.source.faultCall = 2;
    EXPECT_EQ(status, opening.Open());
    OpenSession reading(file);
    reading.source.fault = fault;
    reading.source.faultCall = reading.source.callCount() + 3;
    EXPECT_EQ(status, reading.parser->ParseDataPacket(0, 2));
    EXPECT_EQ(0, reading.parser->ParseDataPacket(0, 2));
    reading.source.faultCall = reading.source.callCount() + 1;
    EXPECT_EQ(status, reading.parser->GetPacketTime(0, kTrackAudio));
  }
}

}  // namespace
