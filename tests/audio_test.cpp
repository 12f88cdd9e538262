// Audio delivery: filling, frames of PCM and WMA, and the MPEG sync word.
#include <algorithm>

#include "ParserSession.h"

namespace {

// Objects a second apart, one per packet.
AsfFile AudioFile(int tag, int bytesPerSecond, int blockAlign, const std::vector<Bytes>& objects) {
  AsfFile file({AudioStream(1, AudioFormat(tag, bytesPerSecond, blockAlign))});
  std::size_t largest = 70;
  unsigned time = 3000;
  for (const Bytes& object : objects) {
    largest = std::max(largest, object.size());
    file.packets.push_back(Packet({Media(1, time, object)}));
    file.packets.back().paddingType = 3;
    time += 1000;
  }
  file.packetLength = static_cast<unsigned>(largest + 30);  // with its headers
  return file;
}

TEST(Audio, WaitsForASecondObjectOrTheEnd) {
  OpenSession session(
      AvFile({Packet({Media(1, 3000, "begun")}), Packet({Media(2, 3000, "video")}),
              Packet({Media(1, 3000, "ended").Offset(5)}), Packet({Media(1, 3100, "last")})}),
      "4");
  EXPECT_EQ("begunended@0", session.Audio());
  EXPECT_EQ(Lines("2 [ASFParser] GetAudioData m_CurAudioDataPacketNum ", "0|1|2|3"), TakeLog());
  EXPECT_EQ("last@100", session.Audio());
  session.source.TakeCalls();
  TakeLog();
  EXPECT_EQ("(-1011)", session.Audio());
  EXPECT_EQ("2 [ASFParser] GetAudioData EOS\n", TakeLog());
  EXPECT_EQ("", session.source.TakeCalls());  // the end stays
  EXPECT_EQ("video@0", session.Video());      // and is audio's alone
}

TEST(Audio, StopsFillingAtAPacketThatFails) {
  AsfFile file = AudioFile(0xFF, 1, 1, {"a", "b", "c", "d"});
  file.packets[2].payloads[0].replicatedLength = 0;
  OpenSession session(file);
  EXPECT_EQ("a@0 b@1000 ", session.AllAudio());
}

TEST(Audio, CutsObjectsIntoFrames) {
  const char* whole = "";
  const char* blocks = "6 MakeAudFrameInfoTable not match with blockalign size\n";
  const char* tooLong = "6 MakeAudFrameInfoTable ts term is too long\n";
  const struct {
    int formatTag, bytesPerSecond, blockAlign;
    std::size_t objectBytes, frameBytes;  // the last frame may be shorter
    unsigned stepMs;                      // from frame to frame
    const char* log;
  } cases[] = {
      // PCM and mu-law: frames of 16384 bytes, of 100 ms, whole
      {0x1, 176400, 4, 8820, 16384, 92, whole},
      {0x1, 88200, 4, 40000, 16384, 185, whole},
      {0x7, 8000, 1, 800, 16384, 2048, whole},
      {0x1, 1000, 4, 1000, 100, 100, tooLong},
      {0x1, 999, 4, 1000, 99, 99, tooLong},
      {0x1, 9, 4, 50, 50, 0, tooLong},
      {0x1, 0, 4, 50, 50, 0, tooLong},
      // WMA: a block; blocks, with a step in single precision; no block align, no rate
      {0x161, 16000, 2230, 2230, 2230, 0, whole},
      {0x161, 16000, 2230, 8920, 2230, 139, blocks},
      {0x162, 16000, 100, 250, 100, 6, blocks},
      {0x163, 8920, 2230, 2231, 2230, 249, blocks},
      {0x160, 16000, 100, 10, 100, 6, blocks},
      {0x164, 16000, 0, 30, 30, 0, blocks},
      {0x161, 0, 20, 30, 20, 0, blocks},
      // A length compared in 16 bits; other formats
      {0x161, 16000, 1, 65537, 65537, 0, whole},
      {0x165, 16000, 1, 10, 10, 0, whole},
      {0xA, 16000, 1, 10, 10, 0, whole},
  };
  for (const auto& [tag, rate, blockAlign, length, frame, step, log] : cases) {
    SCOPED_TRACE(std::to_string(tag) + " " + std::to_string(rate) + " " + std::to_string(length));
    Bytes object(length, 'x');
    for (std::size_t i = 0; i < object.size(); ++i) object[i] = static_cast<char>(i * 7 + i / 256);
    OpenSession session(AudioFile(tag, rate, blockAlign, {object, "next"}));
    unsigned time = 0;
    for (std::size_t offset = 0; offset < length; offset += frame) {
      time += step;  // the first frame is stamped one step late
      EXPECT_EQ(object.substr(offset, frame) + "@" + std::to_string(time), session.Audio());
    }
    EXPECT_EQ(log, TakeLog());
    EXPECT_EQ('n', session.Audio()[0]);
  }
}

TEST(Audio, PrintsItsFrames) {
  OpenSession session(AudioFile(0x161, 1000, 20, {Hex("01 02 03 F4") + Bytes(26, 'x'), "n"}), "4");
  session.Audio();
  EXPECT_EQ(Lines("2 ",
                  "[ASFParser] GetAudioData m_CurAudioDataPacketNum 0|"
                  "[ASFParser] GetAudioData m_CurAudioDataPacketNum 1|"
                  "MakeAudFrameInfoTable Start, pLen=30|"
                  "loc size(14)offset(14)ts_offset(20)[1 2 3]|"
                  "loc size(a)offset(1e)ts_offset(40)[1 2 3]|MakeAudFrameInfoTable End|"
                  "pcmobj_size=(2)/loc_size=size(14), offset(0). ts(20)[1 2 f4]"),
            TakeLog());
  // A format that is delivered whole is cut all the same when asked to.
  std::vector<unsigned char> data(20000, 7);
  EXPECT_EQ(1, session.parser->MakeAudFrameInfoTable(data.data(), 20000, {}));
  EXPECT_EQ(Lines("2 loc size(",
                  "4000)offset(4000)ts_offset(0)[7 7 7]|"
                  "e20)offset(4e20)ts_offset(0)[7 7 7]"),
            TakeLog("loc "));
  EXPECT_EQ(1, session.parser->MakeAudFrameInfoTable(data.data(), 0, {}));
  EXPECT_EQ("", TakeLog("loc "));
}

TEST(Audio, ForgetsATableThatDoesNotFit) {
  // Selecting the second audio stream points audio at the stream properties
  // behind the first: the video's, whose width reads as a format tag. The older
  // demultiplexer takes the video's objects in, shorter than the table says.
  const Bytes wma = AudioFormat(0x161, 1000, 20);
  OpenSession session(AsfFile(
      {AudioStream(1, wma), AudioStream(3, wma), VideoStream(2, VideoFormat("WMV2", {}, 0x161))},
      {Packet({Media(1, 3000, Bytes(60, 'a')), Media(1, 3500, "b")}),
       Packet({Media(2, 4000, "short")}), Packet({Media(2, 4100, "v")})}));
  EXPECT_EQ(Bytes(20, 'a') + "@20", session.Audio());
  EXPECT_EQ(0, session.parser->SelectAudioTrack(1));
  for (const unsigned long packet : {1ul, 2ul}) session.parser->ParseDataPacket(packet);
  EXPECT_EQ("short@1000 v@1100 ", session.AllAudio());
}

TEST(Mp3, StartsAtTheFirstSyncWord) {
  const Bytes sync = Hex("FF FB 90"), none = Hex("FF E3 00");
  for (const int tag : {0x55, 0x50}) {
    // Later objects are not looked at again.
    OpenSession session(AudioFile(tag, 16000, 1, {none, "gg" + sync, none + "end"}));
    EXPECT_EQ(sync + "@1000 " + none + "end@2000 ", session.AllAudio());
    EXPECT_EQ("6 Start code not found.\n", TakeLog());
  }
  OpenSession never(AudioFile(0x55, 16000, 1, {none, none}), "4");
  EXPECT_EQ("(-1011)", never.Audio());
  EXPECT_EQ("2 [ASFParser] GetAudioData EOS\n", TakeLog("EOS"));
  OpenSession found(AudioFile(0x55, 16000, 1, {sync, none}), "4");
  found.Audio();
  EXPECT_EQ("2 In Find Mp3 Sync byte OK\n", TakeLog("In Find"));
}

TEST(Mp3, KnowsItsSyncWords) {
  // The last two bytes are not looked at.
  const struct {
    const char* data;
    int layer;  // 0 = no sync word
    std::size_t position = 0;
  } cases[] = {{"FFF200", 3},      {"FFF300", 3},        {"00FFFA00", 3, 1},
               {"FFFFFB00", 3, 1}, {"0000FFF400", 2, 2}, {"FFF500", 2},
               {"FFFC00", 2},      {"FFFD00", 2},        {"FFF1FFF6FFFEFFF0FFE200", 0},
               {"00FFFB", 0},      {"FFFB", 0},          {"FF", 0}};
  ParserSession session("", "5");
  for (const auto& [digits, layer, position] : cases) {
    SCOPED_TRACE(digits);
    const bool found = layer != 0;
    const Bytes before = Hex(digits);
    const Bytes after = found ? before.substr(position) : Bytes(before.size(), '\0');
    Bytes data = before;
    unsigned long size = data.size();
    EXPECT_EQ(found ? 0 : kParserUnsupported,
              detectMp3StartCode(reinterpret_cast<unsigned char*>(&data[0]), &size));
    EXPECT_EQ(found ? after.size() : 0, size);
    EXPECT_EQ(after, data.substr(0, after.size()));
    const std::string at = std::to_string(position);
    EXPECT_EQ("2 DetectedMp3StartCode Start\n" +
                  (found ? Lines("2 ", "detect mp" + std::to_string(layer) +
                                           " start code|Start position :" + at +
                                           "|DetectedMp3StartCode End")
                         : "6 Start code not found.\n"),
              TakeLog());
  }
}

}  // namespace
