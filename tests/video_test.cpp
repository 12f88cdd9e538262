// Video delivery: the key frame gate, and the splitting of AVC and MPEG-1/2.
#include <set>

#include "ParserSession.h"

namespace {

// Objects 100 ms apart, one per packet; those that don't begin with a small letter
// are marked as key frames.
AsfFile VideoFile(const char* fourcc, const std::vector<Bytes>& objects) {
  AsfFile file({VideoStream(2, VideoFormat(fourcc))});
  unsigned time = 3000;
  for (const Bytes& object : objects) {
    file.packets.push_back(Packet({Media(2, time, object).Key(object[0] < 'a')}));
    time += 100;
  }
  return file;
}

Bytes Nal(const Bytes& data) {
  return Bytes(3, '\0') + static_cast<char>(data.size()) + data;  // shorter than 256 bytes
}
const Bytes kStart = Hex("00 00 00 01");
const Bytes kPicture = Hex("00 00 01 00");

TEST(Video, WaitsForASecondObjectOrTheEnd) {
  AsfFile file = VideoFile("WMV2", {"begun", "more", "last"});
  file.packets.insert(file.packets.begin() + 1, Packet({Media(2, 9000, "ended").Offset(5)}));
  for (const bool whole : {false, true}) {
    OpenSession session(file, "4");
    const auto next = [&] { return whole ? session.WholeVideo() : session.Video(); };
    EXPECT_EQ("begunended@0", next());
    EXPECT_EQ(Bytes::npos, session.source.TakeCalls().find("ReadAt 913+1"));  // packet 3
    EXPECT_EQ("more@100", next());
    EXPECT_EQ("last@200", next());
    EXPECT_EQ("", TakeLog("GetVideoData"));
    session.source.TakeCalls();
    EXPECT_EQ("(-1011)", next());
    EXPECT_EQ("2 [ASFParser] GetVideoData EOS\n", TakeLog());
    EXPECT_EQ("", session.source.TakeCalls());
  }
}

TEST(Video, ComesWholeFromFragments) {
  const Bytes nal = Nal("12345678"), nals = Nal("1234") + Nal("56") + Nal("78");
  const struct {
    const char* fourcc;
    Bytes object;
    std::string units;
  } cases[] = {
      {"WMV2", "12345678", "12345678@0 "},
      {"H264", nal, kStart + "12345678@0 "},
      {"H264", nals, kStart + "1234@0 " + kStart + "56@0 " + kStart + "78@0 "},
      {"H264", kStart + "12345678", kStart + "12345678@0 "},
      {"MPG2", "S" + kPicture + "1" + kPicture + "2", "S" + kPicture + "1@0 " + kPicture + "2@0 "},
  };
  for (const auto& [fourcc, object, units] : cases) {
    for (std::size_t first = 1; first < object.size(); ++first) {
      for (std::size_t second = first + 1; second < object.size(); ++second) {
        AsfFile file = VideoFile(fourcc, {object.substr(0, first)});
        const Bytes middle = object.substr(first, second - first);
        file.packets.push_back(Packet({Media(2, 3000, middle).Offset(1)}));
        file.packets.push_back(Packet({Media(2, 3000, object.substr(second)).Offset(1)}));
        OpenSession session(file);
        EXPECT_EQ(units, session.AllVideo()) << first << ' ' << second;
      }
    }
  }
}

// Whatever call on the source meets it, what is queued by then is delivered later.
TEST(Video, OutlivesACallThatRanOutOfMemory) {
  AsfFile file = VideoFile("WMV2", {"one", "next"});
  file.packets.insert(file.packets.begin() + 1, {Packet({Media(2, 3000, "two").Offset(3)}),
                                                 Packet({Media(2, 3000, "three").Offset(6)})});
  std::set<std::string> delivered;
  std::string unit = "(-1008)";
  for (unsigned long call = 1; unit == "(-1008)"; ++call) {
    OpenSession session(file);
    session.source.PlanIn(call, Fault::kThrowBadAlloc);
    unit = session.Video();
    delivered.insert((unit == "(-1008)" ? "" : unit + " ") + session.AllVideo());
  }
  EXPECT_EQ((std::set<std::string>{"next@100 ", "onethree@0 next@100 ", "onetwo@0 next@100 ",
                                   "onetwothree@0 ", "onetwothree@0 next@100 "}),
            delivered);
}

TEST(Video, DropsWhatIsNoKeyFrame) {
  const Bytes intra = "I" + kPicture + Hex("00 08"), inter = "P" + kPicture + Hex("00 10");
  const struct {
    const char* fourcc;
    std::vector<Bytes> objects;
    std::string keyFrames, afterSeek;
  } cases[] = {
      {"WMV3", {"a", "b", "KEY", "c", "KEY2"}, "KEY@200 KEY2@400 ", "KEY@200 c@300 KEY2@400 "},
      {"WMV3", {"a", "b"}, "", ""},
      {"MPG2", {"i" + intra, inter, intra}, intra + "@200 ", intra + "@200 "},
      {"MJPG", {Hex("FF D9"), "x", Hex("7F D8"), "y"}, "", ""},
  };
  for (const auto& [fourcc, objects, keyFrames, afterSeek] : cases) {
    OpenSession session(VideoFile(fourcc, objects));
    std::string delivered, unit;
    while ((unit = session.Video(true)) != "(-1011)") delivered += unit + " ";
    EXPECT_EQ(keyFrames, delivered);
    // After a seek only the first unit has to be a key frame.
    session.parser->Seek(0, kTrackVideo, 0);
    EXPECT_EQ(afterSeek, session.AllVideo());
  }
  // The key frame test is asked only about marked objects.
  OpenSession session(VideoFile("WMV3", {"a", "b", "KEY"}), "4");
  EXPECT_EQ("KEY@200", session.Video(true));
  EXPECT_EQ("2 CheckIFrameStartCode Start, pLen=3\n", TakeLog("CheckIFrame"));
}

TEST(Avc, ComesInNalUnits) {
  const Bytes cut = Hex("00 00 00 03 61"), two = Nal("0123456789") + Nal(Bytes(20, 'n'));
  const auto unit = [](const Bytes& data) { return kStart + data + "@0 "; };
  const struct {
    const char* what;
    Bytes object, units;
  } cases[] = {
      {"two units", two, unit("0123456789") + unit(Bytes(20, 'n'))},
      {"start codes already", kStart + "abc", unit("abc")},
      {"a unit of one byte further on", Nal("ab") + Nal("c"), unit("ab") + unit("c")},
      {"an empty unit", Nal("ab") + Nal("") + Nal("c"), unit("ab") + unit("") + unit("c")},
      {"an empty unit last", Nal("ab") + Nal(""), unit("ab") + unit("")},
      {"the second overruns", Nal("ab") + cut, unit("ab")},
      {"the second prefix is cut off", Nal("ab") + Hex("00 00 00"), unit("ab")},
      {"the first overruns", cut, ""},
      {"a length that would wrap", Hex("FF FF FF FF 00"), ""},
      {"too short for a prefix", Hex("00 00 01"), ""},
  };
  for (const auto& [what, object, units] : cases) {
    for (const char* fourcc : {"H264", "h264", "x264", "avc1", "AVC1"}) {
      OpenSession session(VideoFile(fourcc, {object, Nal("next")}));
      EXPECT_EQ(units + kStart + "next@100 ", session.AllVideo()) << what;
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
      Lines("2 ", "[ASFParser] ParseDataPacket  End Of Data|CheckAVCStartCode Start, pLen=13") +
          Lines("6 nal ", "size(3)offset(7)[0 0 0]|size(2)offset(d)[0 0 0]") +
          "2 CheckAVCStartCode End\n" +
          Lines("6 ",
                "v_size=(2)/nal_size=size(3), offset(0)[61 62 63]|"
                "v_size=(1)/nal_size=size(2), offset(7)[64 65 0]|[ASFParser] "
                "GetVideoData2 >> multi- m_VideoData.qData.erase done, qData Size(0)"),
      TakeLog());
  OpenSession overrun(VideoFile("H264", {Nal("abc") + Hex("00 00 00 09 00")}));
  overrun.Video();
  EXPECT_EQ("6 CheckAVCStartCode error, pLen=12\n", TakeLog("error"));
}

TEST(Mpeg12, ComesInPictures) {
  const Bytes sequence = Hex("00 00 01 B3") + Bytes(16, 's');
  const auto picture = [](std::size_t size) { return kPicture + Bytes(size - 4, 'p'); };
  const Bytes first = sequence + picture(48), second = picture(40), third = picture(30);
  const Bytes cut = Hex("00 00 01");
  const struct {
    const char* what;
    Bytes object, units;
  } cases[] = {
      {"three", first + second + third, first + "@0 " + second + "@33 " + third + "@66 "},
      {"one", first, first + "@0 "},
      {"none", "nothing", "nothing@0 "},
      // A code at offset 0 is not seen: the picture behind it is the first.
      {"one behind a byte", "x" + second + third, "x" + second + "@0 " + third + "@50 "},
      {"one at the start", second + third, second + third + "@0 "},
      {"a code that is cut off", first + second + cut, first + "@0 " + second + cut + "@50 "},
      {"a code that ends the object", first + kPicture, first + "@0 " + kPicture + "@50 "},
  };
  for (const auto& [what, object, units] : cases) {
    for (const char* fourcc : {"MPG1", "mpg1", "MPG2", "mpg2"}) {
      OpenSession session(VideoFile(fourcc, {object, "next"}));
      EXPECT_EQ(units + "next@100 ", session.AllVideo()) << what;
    }
  }
  OpenSession last(VideoFile("MPG2", {first + second}));  // without a duration
  EXPECT_EQ(first + "@0 " + second + "@0 ", last.AllVideo());
}

TEST(Mpeg12, PrintsItsPictures) {
  OpenSession session(VideoFile("MPG2", {"abcd" + kPicture + "ef" + kPicture + "xyz", "n"}));
  session.Video();
  EXPECT_EQ(Lines("6 ",
                  "CheckMPEG12StartCode Start, pLen=17, tsdur=100|"
                  "es size(10)offset(0)[61 62 63 64]|last es size(7)offset(10)[0 0 1 0]|"
                  "checkMPEG12 - count(0) ts(0)|checkMPEG12 - count(1) ts(50)|"
                  "CheckMPEG12StartCode End|v_size=(2)/es_size=size(10), offset(0)[61 62 63]"),
            TakeLog());
  OpenSession one(VideoFile("MPG2", {"abcd" + kPicture, "n"}));
  one.Video();
  EXPECT_EQ("", TakeLog("count"));  // one picture has its object's time
}

TEST(Splitting, EndsWithItsObject) {
  // However the object leaves the queue, the next one is split anew.
  const Bytes object = Nal("ab") + Nal("cd") + Nal("ef");
  AsfFile file = VideoFile("H264", {object, Nal("next"), Nal("last")});
  OpenSession whole(file);
  EXPECT_EQ(kStart + "ab@0", whole.Video());
  EXPECT_EQ(object + "@0", whole.WholeVideo());
  EXPECT_EQ(kStart + "next@100", whole.Video());
  OpenSession seek(file);
  EXPECT_EQ(kStart + "ab@0", seek.Video());
  seek.parser->Seek(0, kTrackVideo, 0);
  EXPECT_EQ(kStart + "ab@0", seek.Video());
  EXPECT_EQ(kStart + "cd@0", seek.Video(true));  // of an object that is a key frame
  file.packets[0].payloads[0].key = false;
  OpenSession gate(file);
  EXPECT_EQ(kStart + "ab@0", gate.Video());
  EXPECT_EQ(kStart + "next@100", gate.Video(true));
}

}  // namespace
