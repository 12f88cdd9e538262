// Audio delivery: filling, frames of PCM and WMA, and the MPEG sync word.
#include <algorithm>

#include "ParserSession.h"

namespace {

AsfFile AudioFile(int tag, int bytesPerSecond, int blockAlign, const Lines& objects) {
  AsfFile file;
  file.header = {Stream(ID_AUDIO_MEDIA, 1, AudioFormat(tag, bytesPerSecond, blockAlign))};
  std::size_t largest = 70;
  for (const Bytes& object : objects) largest = std::max(largest, object.size());
  file.packetLength = static_cast<unsigned>(largest + 30);  // with its headers
  unsigned time = 3000;
  for (const Bytes& object : objects) {
    file.packets.push_back(Packet({Media(1, time, object)}));
    file.packets.back().paddingType = 3;
    time += 1000;
  }
  return file;
}

TEST(Audio, WaitsForASecondObjectOrTheEnd) {
  AsfFile file = AvFile();
  file.packets = {Packet({Media(1, 3000, "begun")}), Packet({Media(2, 3000, "video")}),
                  Packet({Media(1, 3000, "ended").Offset(5)}), Packet({Media(1, 3100, "last")})};
  OpenSession session(file, "4");
  EXPECT_EQ("begunended@0", session.Audio());
  EXPECT_EQ((Lines{"2 [ASFParser] GetAudioData m_CurAudioDataPacketNum 0",
                   "2 [ASFParser] GetAudioData m_CurAudioDataPacketNum 1",
                   "2 [ASFParser] GetAudioData m_CurAudioDataPacketNum 2",
                   "2 [ASFParser] GetAudioData m_CurAudioDataPacketNum 3"}),
            TakeLog());
  EXPECT_EQ("last@100", session.Audio());
  session.source.TakeCalls();
  EXPECT_EQ("(-1011)", session.Audio());
  EXPECT_EQ("2 [ASFParser] GetAudioData EOS", TakeLog().back());
  EXPECT_EQ("", session.source.TakeCalls());  // the end stays
  EXPECT_EQ("video@0", session.Video());      // and is audio's alone
}

TEST(Audio, StopsFillingAtAPacketThatFails) {
  AsfFile file = AudioFile(0xFF, 1, 1, {"a", "b", "c", "d"});
  file.packets[2].payloads[0].replicatedLength = 0;
  OpenSession session(file);
  EXPECT_EQ((Lines{"a@0", "b@1000"}), session.AllAudio());
}

TEST(Audio, CutsObjectsIntoFrames) {
  const std::string notMatching = "6 MakeAudFrameInfoTable not match with blockalign size";
  const std::string tooLong = "6 MakeAudFrameInfoTable ts term is too long";
  const struct {
    const char* what;
    int tag, rate, blockAlign;
    std::size_t length;
    std::vector<unsigned> sizes, times;  // of the frames; the last time may repeat a step
    std::string message;
  } cases[] = {
      {"PCM below a frame", 1, 176400, 4, 8820, {8820}, {92}, ""},
      {"PCM in frames", 1, 88200, 4, 40000, {16384, 16384, 7232}, {185, 370, 555}, ""},
      {"PCM of a second",
       1,
       1000,
       4,
       1000,
       std::vector<unsigned>(10, 100),
       {100, 200, 300, 400, 500, 600, 700, 800, 900, 1000},
       tooLong},
      {"mu-law", 7, 8000, 1, 800, {800}, {2048}, ""},
      {"PCM at no rate", 1, 9, 4, 50, {50}, {0}, tooLong},
      {"PCM at rate 0", 1, 0, 4, 50, {50}, {0}, tooLong},
      {"WMA, a block", 0x161, 16000, 2230, 2230, {2230}, {0}, ""},
      {"WMA, four blocks",
       0x161,
       16000,
       2230,
       8920,
       {2230, 2230, 2230, 2230},
       {139, 278, 417, 556},
       notMatching},
      {"WMA, part of a block", 0x162, 16000, 100, 250, {100, 100, 50}, {6, 12, 18}, notMatching},
      {"a step in single precision", 0x163, 8920, 2230, 2231, {2230, 1}, {249, 498}, notMatching},
      {"less than a block", 0x160, 16000, 100, 10, {10}, {6}, notMatching},
      {"no block align", 0x164, 16000, 0, 30, {30}, {0}, notMatching},
      {"no rate", 0x161, 0, 20, 30, {20, 10}, {0, 0}, notMatching},
      {"a length compared in 16 bits", 0x161, 16000, 1, 0x10001, {0x10001}, {0}, ""},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    Bytes object(test.length, 'x');
    for (std::size_t i = 0; i < object.size(); ++i) object[i] = static_cast<char>(i * 7 + i / 256);
    OpenSession session(AudioFile(test.tag, test.rate, test.blockAlign, {object, "next"}));
    std::size_t offset = 0;
    for (std::size_t i = 0; i < test.sizes.size(); ++i) {
      EXPECT_EQ(object.substr(offset, test.sizes[i]) + "@" + std::to_string(test.times[i]),
                session.Audio());
      offset += test.sizes[i];
    }
    EXPECT_EQ(object.size(), offset);
    EXPECT_EQ(test.message.empty() ? Lines{} : Lines{test.message}, TakeLog());
    EXPECT_EQ('n', session.Audio()[0]);
  }
}

TEST(Audio, LeavesOtherFormatsWhole) {
  for (const int tag : {0xFF, 0x2000, 0x2001, 0x165, 0x15F, 0x6, 0xA}) {
    OpenSession session(AudioFile(tag, 1, 1, {"abc", "def"}));
    EXPECT_EQ((Lines{"abc@0", "def@1000"}), session.AllAudio());
  }
}

TEST(Audio, PrintsItsFrames) {
  OpenSession session(AudioFile(0x161, 1000, 20, {Hex("01 02 03 F4") + Bytes(26, 'x'), "n"}), "4");
  session.Audio();
  EXPECT_EQ((Lines{"2 [ASFParser] GetAudioData m_CurAudioDataPacketNum 0",
                   "2 [ASFParser] GetAudioData m_CurAudioDataPacketNum 1",
                   "2 MakeAudFrameInfoTable Start, pLen=30",
                   "2 loc size(14)offset(14)ts_offset(20)[1 2 3]",
                   "2 loc size(a)offset(1e)ts_offset(40)[1 2 3]", "2 MakeAudFrameInfoTable End",
                   "2 pcmobj_size=(2)/loc_size=size(14), offset(0). ts(20)[1 2 f4]"}),
            TakeLog());
}

TEST(Audio, ForgetsATableThatDoesNotFit) {
  // Selecting the second audio stream points audio at the stream properties
  // behind the first: the video's, whose width reads as a format tag. The older
  // demultiplexer takes the video's objects in, shorter than the table says.
  AsfFile file;
  file.header = {Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x161, 1000, 20)),
                 Stream(ID_AUDIO_MEDIA, 3, AudioFormat(0x161, 1000, 20)),
                 Stream(ID_VIDEO_MEDIA, 2, VideoFormat("WMV2", {}, 0x161))};
  file.packets = {Packet({Media(1, 3000, Bytes(60, 'a')), Media(1, 3500, "b")}),
                  Packet({Media(2, 4000, "short")}), Packet({Media(2, 4100, "v")})};
  OpenSession session(file);
  EXPECT_EQ(Bytes(20, 'a') + "@20", session.Audio());
  EXPECT_EQ(0, session.parser->SelectAudioTrack(1));
  for (const unsigned long packet : {1ul, 2ul}) session.parser->ParseDataPacket(packet);
  EXPECT_EQ((Lines{"short@1000", "v@1100"}), session.AllAudio());
}

TEST(Mp3, StartsAtTheFirstSyncWord) {
  const Bytes sync = Hex("FF FB 90"), none = Hex("FF E3 00");
  for (const int tag : {0x55, 0x50}) {
    // Later objects are not looked at again.
    OpenSession session(AudioFile(tag, 16000, 1, {none, "gg" + sync, none + "end"}));
    EXPECT_EQ((Lines{sync + "@1000", none + "end@2000"}), session.AllAudio());
    EXPECT_EQ(Lines{"6 Start code not found."}, TakeLog());
  }
  OpenSession never(AudioFile(0x55, 16000, 1, {none, none}), "4");
  EXPECT_EQ("(-1011)", never.Audio());
  EXPECT_EQ("2 [ASFParser] GetAudioData EOS", TakeLog().back());
  OpenSession found(AudioFile(0x55, 16000, 1, {"g" + sync, none}), "4");
  found.Audio();
  Lines log = TakeLog();
  EXPECT_EQ((Lines{"2 DetectedMp3StartCode Start", "2 detect mp3 start code", "2 Start position :1",
                   "2 DetectedMp3StartCode End", "2 In Find Mp3 Sync byte OK"}),
            Lines(log.end() - 5, log.end()));
}

TEST(Mp3, KnowsItsSyncWords) {
  const struct {
    Bytes data;
    const char* message;  // null: none is found
    std::size_t at;
  } cases[] = {
      {Hex("FF F2 00"), "2 detect mp3 start code", 0},
      {Hex("FF F3 00"), "2 detect mp3 start code", 0},
      {Hex("00 FF FA 00"), "2 detect mp3 start code", 1},
      {Hex("FF FF FB 00"), "2 detect mp3 start code", 1},
      {Hex("00 00 FF F4 00"), "2 detect mp2 start code", 2},
      {Hex("FF F5 00"), "2 detect mp2 start code", 0},
      {Hex("FF FC 00"), "2 detect mp2 start code", 0},
      {Hex("FF FD 00"), "2 detect mp2 start code", 0},
      {Hex("FF F1 FF F6 FF FE FF F0 FF E2 00"), nullptr, 0},
      {Hex("00 FF FB"), nullptr, 0},  // the last two bytes are not looked at
      {Hex("FF FB"), nullptr, 0},
      {Hex("FF"), nullptr, 0},
      {"", nullptr, 0},
  };
  ParserSession session("", "5");
  for (const auto& test : cases) {
    Bytes data = test.data;
    unsigned long size = data.size();
    const bool found = test.message != nullptr;
    EXPECT_EQ(found ? 0 : kParserUnsupported,
              detectMp3StartCode(reinterpret_cast<unsigned char*>(&data[0]), &size));
    EXPECT_EQ(found ? test.data.size() - test.at : 0, size);
    EXPECT_EQ(found ? test.data.substr(test.at) : Bytes(data.size(), '\0'),
              data.substr(0, found ? size : data.size()));
    EXPECT_EQ(found ? Lines{test.message} : Lines{"6 Start code not found."},
              TakeLog(found ? "detect " : "not found"));
  }
}

}  // namespace
