// Video delivery: the key frame gate, and the splitting of AVC and MPEG-1/2.
#include "ParserSession.h"

namespace {

// Objects 100 ms apart, one per packet; those that begin with a capital letter
// or no letter at all are marked as key frames.
AsfFile VideoFile(const char* fourcc, const Lines& objects) {
  AsfFile file;
  file.header = {Stream(ID_VIDEO_MEDIA, 2, VideoFormat(fourcc))};
  unsigned time = 3000;
  for (const Bytes& object : objects) {
    const bool key = object[0] < 'a';
    file.packets.push_back(Packet({Media(2, time, object).Key(key)}));
    time += 100;
  }
  return file;
}

Bytes Nal(const Bytes& data) {
  return Bytes(2, '\0') + static_cast<char>(data.size() >> 8) + static_cast<char>(data.size()) +
         data;
}
const Bytes kStart = Hex("00 00 00 01");
const Bytes kPicture = Hex("00 00 01 00");

TEST(Video, WaitsForASecondObjectOrTheEnd) {
  AsfFile file = VideoFile("WMV2", {"begun", "last"});
  file.packets.insert(file.packets.begin() + 1, Packet({Media(2, 9000, "ended").Offset(5)}));
  for (const bool whole : {false, true}) {
    OpenSession session(file, "4");
    const auto next = [&] { return whole ? session.WholeVideo() : session.Video(); };
    EXPECT_EQ("begunended@0", next());
    EXPECT_EQ("last@100", next());
    EXPECT_EQ(Lines{}, TakeLog("GetVideoData"));
    session.source.TakeCalls();
    EXPECT_EQ("(-1011)", next());
    EXPECT_EQ(Lines{"2 [ASFParser] GetVideoData EOS"}, TakeLog());
    EXPECT_EQ("", session.source.TakeCalls());
  }
}

TEST(Video, DropsWhatIsNoKeyFrame) {
  const Bytes intra = "I" + kPicture + Hex("00 08"), inter = "P" + kPicture + Hex("00 10");
  const struct {
    const char* fourcc;
    Lines objects, keyFrames;
  } cases[] = {
      {"WMV3", {"a", "b", "KEY", "c", "KEY2"}, {"KEY@200", "KEY2@400"}},
      {"WMV3", {"a", "b"}, {}},
      {"MPG2", {"i" + intra, inter, intra}, {intra + "@200"}},
      {"MJPG", {Hex("FF D9"), "x", Hex("7F D8"), "y"}, {}},
  };
  for (const auto& test : cases) {
    OpenSession session(VideoFile(test.fourcc, test.objects));
    for (const std::string& unit : test.keyFrames) EXPECT_EQ(unit, session.Video(true));
    EXPECT_EQ("(-1011)", session.Video(true));
    // After a seek only the first unit has to be a key frame.
    session.parser->Seek(0, kTrackVideo, 0);
    EXPECT_EQ(test.keyFrames.empty() ? "(-1011)" : test.keyFrames[0], session.Video());
    EXPECT_EQ(test.keyFrames.size() > 1 ? "c@300" : "(-1011)", session.Video());
  }
}

TEST(Video, AsksTheKeyFrameTestOnlyAboutMarkedObjects) {
  OpenSession session(VideoFile("WMV3", {"a", "b", "KEY"}), "4");
  EXPECT_EQ("KEY@200", session.Video(true));
  EXPECT_EQ(Lines{"2 CheckIFrameStartCode Start, pLen=3"}, TakeLog("CheckIFrame"));
}

TEST(Avc, ComesInNalUnits) {
  const Bytes two = Nal("0123456789") + Nal(Bytes(20, 'n'));
  const Bytes cut = Nal("one").substr(0, 6);
  const auto unit = [](const Bytes& data) { return kStart + data + "@0"; };
  const struct {
    const char* what;
    Bytes object;
    Lines units;  // of the object, before the next one comes
  } cases[] = {
      {"two units", two, {unit("0123456789"), unit(Bytes(20, 'n'))}},
      {"one unit", Nal("x"), {unit("x")}},  // of one byte: a length of 1 at the start
      {"start codes already", kStart + "abc", {kStart + "abc@0"}},
      {"a unit of one byte further on", Nal("ab") + Nal("c"), {unit("ab"), unit("c")}},
      {"an empty unit", Nal("ab") + Nal("") + Nal("c"), {unit("ab"), unit(""), unit("c")}},
      {"the second overruns", Nal("ab") + cut, {unit("ab")}},
      {"the second prefix is cut off", Nal("ab") + Hex("00 00 00"), {unit("ab")}},
      {"the first overruns", cut, {}},
      {"a length that would wrap", Hex("FF FF FF FF 00"), {}},
      {"too short for a prefix", Hex("00 00 01"), {}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    for (const char* fourcc : {"H264", "h264", "x264", "avc1", "AVC1"}) {
      OpenSession session(VideoFile(fourcc, {test.object, Nal("next")}));
      for (const std::string& expected : test.units) EXPECT_EQ(expected, session.Video());
      EXPECT_EQ(kStart + "next@100", session.Video());
      EXPECT_EQ("(-1011)", session.Video());
    }
  }
  OpenSession other(VideoFile("X264", {two}));
  EXPECT_EQ(two + "@0", other.Video());
}

TEST(Avc, PrintsItsUnits) {
  OpenSession session(VideoFile("H264", {Nal("abc") + Nal("de")}), "5");
  session.Video();
  session.Video();
  EXPECT_EQ(
      (Lines{"2 [ASFParser] ParseDataPacket  End Of Data", "2 CheckAVCStartCode Start, pLen=13",
             "6 nal size(3)offset(7)[0 0 0]", "6 nal size(2)offset(d)[0 0 0]",
             "2 CheckAVCStartCode End", "6 v_size=(2)/nal_size=size(3), offset(0)[61 62 63]",
             "6 v_size=(1)/nal_size=size(2), offset(7)[64 65 0]",
             "6 [ASFParser] GetVideoData2 >> multi- m_VideoData.qData.erase done, qData "
             "Size(0)"}),
      TakeLog());
  OpenSession overrun(VideoFile("H264", {Nal("abc") + Hex("00 00 00 09 00")}));
  EXPECT_EQ(kStart + "abc@0", overrun.Video());
  EXPECT_EQ("6 CheckAVCStartCode error, pLen=12", TakeLog()[1]);
}

TEST(Mpeg12, ComesInPictures) {
  const Bytes sequence = Hex("00 00 01 B3") + Bytes(16, 's');
  const auto picture = [](std::size_t size) { return kPicture + Bytes(size - 4, 'p'); };
  const Bytes three = sequence + picture(48) + picture(40) + picture(30);
  const struct {
    const char* what;
    Lines objects, units;
  } cases[] = {
      {"three pictures",
       {three, "next"},
       {sequence + picture(48) + "@0", picture(40) + "@33", picture(30) + "@66", "next@100"}},
      {"one picture",
       {sequence + picture(48), "next"},
       {sequence + picture(48) + "@0", "next@100"}},
      {"no picture", {"nothing", "next"}, {"nothing@0", "next@100"}},
      {"the last object has no duration",
       {three},
       {sequence + picture(48) + "@0", picture(40) + "@0", picture(30) + "@0"}},
      // A code at offset 0 is not seen: the picture behind it is the first.
      {"a picture at the start",
       {picture(30) + picture(20), "next"},
       {picture(30) + picture(20) + "@0", "next@100"}},
      {"a code that is cut off",
       {sequence + picture(9) + picture(8) + Hex("00 00 01"), "next"},
       {sequence + picture(9) + "@0", picture(8) + Hex("00 00 01") + "@50", "next@100"}},
      {"a code that ends the object",
       {"x" + picture(9) + kPicture, "next"},
       {"x" + picture(9) + "@0", kPicture + "@50", "next@100"}},
  };
  for (const auto& test : cases) {
    for (const char* fourcc : {"MPG1", "mpg1", "MPG2", "mpg2"}) {
      OpenSession session(VideoFile(fourcc, test.objects));
      EXPECT_EQ(test.units, session.AllVideo()) << test.what;
    }
  }
}

TEST(Mpeg12, PrintsItsPictures) {
  OpenSession session(VideoFile("MPG2", {"abcd" + kPicture + Hex("A5 B6") + kPicture + "xyz", "n"}),
                      "1");
  session.Video();
  EXPECT_EQ(
      (Lines{"6 CheckMPEG12StartCode Start, pLen=17, tsdur=100",
             "6 es size(10)offset(0)[61 62 63 64]", "6 last es size(7)offset(10)[0 0 1 0]",
             "6 checkMPEG12 - count(0) ts(0)", "6 checkMPEG12 - count(1) ts(50)",
             "6 CheckMPEG12StartCode End", "6 v_size=(2)/es_size=size(10), offset(0)[61 62 63]"}),
      TakeLog());
}

TEST(Splitting, EndsWithItsObject) {
  // However the object leaves the queue, the next one is split anew.
  const Bytes object = Nal("ab") + Nal("cd") + Nal("ef");
  const Lines objects = {object, Nal("next"), Nal("last")};
  OpenSession whole(VideoFile("H264", objects));
  EXPECT_EQ(kStart + "ab@0", whole.Video());
  EXPECT_EQ(object + "@0", whole.WholeVideo());
  EXPECT_EQ(kStart + "next@100", whole.Video());

  for (const bool key : {true, false}) {
    AsfFile file = VideoFile("H264", objects);
    file.packets[0].payloads[0].key = key;
    OpenSession gate(file);
    EXPECT_EQ(kStart + "ab@0", gate.Video());
    EXPECT_EQ(kStart + (key ? "cd@0" : "next@100"), gate.Video(true));
  }
  OpenSession seek(VideoFile("H264", objects));
  EXPECT_EQ(kStart + "ab@0", seek.Video());
  seek.parser->Seek(0, kTrackVideo, 0);
  EXPECT_EQ(kStart + "ab@0", seek.Video());
  EXPECT_EQ(kStart + "cd@0", seek.Video());
}

}  // namespace
