// Key frame detection, codec by codec.
#include "ParserSession.h"

namespace {

unsigned IsKeyFrame(ASFParser* parser, const char* fourcc, const Bytes& picture) {
  unsigned number;
  std::memcpy(&number, fourcc, 4);
  // A block of its own, so that a sanitizer sees a read beyond it.
  const std::vector<unsigned char> data(picture.begin(), picture.end());
  return parser->CheckIFrameStartCode(const_cast<unsigned char*>(data.data()),
                                      static_cast<unsigned>(data.size()), number);
}

TEST(KeyFrame, IsDecidedByThePictureHeader) {
  // Bytes that are missing count as 0; but a cut-off MPEG start code is none.
  const struct {
    std::vector<const char*> fourccs, keyFrames, others;  // pictures in hexadecimal
  } cases[] = {
      {{"MPG1", "mpg1", "MPG2", "mpg2"},
       {"00000100AA08", "00000100AACF", "00000100AA1000000100AA08", "000001B300000100AA08"},
       {"00000100AA10", "00000100AA18", "00000100AA", "000001", ""}},
      {{"H263", "h263"},
       {"0000800200000000", "0000830219000000", "00008002"},
       {"000083021A000000", "0000800202000000", "0100800200000000", "0001800200000000",
        "0000840200000000", "0000"}},
      // with the extended picture type
      {{"H263"},
       {"000080021F8F7FE3", "000080021C0FFFFF"},
       {"000080021C800004", "000080021C800010", "000080021C100000", "000080021C400000"}},
      {{"MJPG", "mjpg"}, {"FFD800"}, {"FFD9", "FED8", "FF"}},
      {{"WVC1", "wvc1"}, {"C0", "D0"}, {"00", "B0", "E0", "F0", ""}},
      {{"WMV3", "WMVA", "H264", "Mpg2", "DIVX", "h262"}, {"99", ""}, {}},
  };
  ParserSession session("");
  for (const auto& [fourccs, keyFrames, others] : cases) {
    for (const char* fourcc : fourccs) {
      const auto isKeyFrame = [&](const char* picture) {
        return IsKeyFrame(session.parser.get(), fourcc, Hex(picture));
      };
      for (const char* picture : keyFrames) EXPECT_EQ(1u, isKeyFrame(picture)) << fourcc << picture;
      for (const char* picture : others) EXPECT_EQ(0u, isKeyFrame(picture)) << fourcc << picture;
    }
  }
}

TEST(KeyFrame, PrintsWhatItFound) {
  const std::string h263 = "2 CheckIframe_h263\n2 [";
  const std::string intra = "]H263 StartCode and Iframe picture type are founded\n";
  const std::string mpeg = "2 CheckIframe_mpeg\n6 MPEG1 or 2 StartCode(P frmae) is founded, ";
  const struct {
    const char *fourcc, *picture;
    std::string log;
  } cases[] = {
      {"MPG2", "99 00 00 01 00 AA 10 00 00 01 00 AA 08",
       mpeg + "es_offset 1\n6 MPEG1 or 2 StartCode(I frmae) is founded, es_offset 7\n"},
      {"H263", "00 00 80 02 00 00 00 00", h263 + "PTYPE" + intra},
      {"H263", "00 00 80 02 1C 80 00 00", h263 + "PLUSPTYPE with OPPTYPE" + intra},
      {"H263", "00 00 80 02 1C 00 00 00", h263 + "PLUSPTYPE" + intra},
      {"MJPG", "FF D8", "2 CheckIframe_mjpeg\n2 MJPEG StartCode founded\n"},
      {"WVC1", "C0", "2 not interlaced clip, frametype(1)\n2 VC1 StartCode founded\n"},
      {"WVC1", "A0", "2 not interlaced clip, frametype(3)\n"},
  };
  ParserSession session("", "7");
  for (const auto& [fourcc, picture, log] : cases) {
    const Bytes bytes = Hex(picture);
    IsKeyFrame(session.parser.get(), fourcc, bytes);
    const std::string length = std::to_string(bytes.size());
    EXPECT_EQ("2 CheckIFrameStartCode Start, pLen=" + length + "\n" + log, TakeLog());
  }
}

TEST(KeyFrame, ReadsInterlacedVc1) {
  const Bytes config = Hex("00 00 01 0F 00 00 00 00 00 40");
  OpenSession session(AsfFile({VideoStream(2, VideoFormat("WVC1", config))}), "4");
  unsigned char buffer[16];
  unsigned long length;
  session.parser->GetVideoConfig(buffer, &length, sizeof(buffer));
  TakeLog();
  const unsigned frame[16] = {2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 1, 1, 4, 5};
  for (unsigned bits = 0; bits < 256; ++bits) {
    // Of a progressive picture, of two fields, of an interlaced frame.
    const unsigned type = bits < 0x80    ? frame[bits >> 3]
                          : bits >= 0xC0 ? 6 + (bits >> 3 & 7)
                                         : frame[bits >> 2 & 15];
    const bool key = type == 1 || type == 6 || type == 7;
    unsigned char picture = static_cast<unsigned char>(bits);
    EXPECT_EQ(key ? 0u : 1u, session.parser->CheckIframe_vc1_adv(&picture)) << bits;
    EXPECT_EQ("2 interlaced clip, frametype(" + std::to_string(type) + ")\n", TakeLog("clip"));
  }
}

TEST(KeyFrame, LiesBehindAVc1StartCode) {
  const Bytes code = Hex("00 00 01 0D"), start = Hex("00 00 01 0F") + "123456" + code;
  const struct {
    Bytes data;
    int frame, sequence;
  } cases[] = {
      {code + "x", 0, 0},
      {code, kParserInternal, 0},
      {"ab" + code + "x", 2, kParserInternal},
      {"ab" + code, kParserInternal, kParserInternal},
      {start + "x", 10, 10},
      {start, kParserInternal, kParserInternal},
      {Hex("00 00 01 0F"), kParserInternal, kParserInternal},
      {Hex("00 00 01 0E") + code, kParserInternal, 0},
      {Hex("00 00 01"), kParserInternal, 0},
      {Hex("00 00 02 0F") + code + "x", 4, kParserInternal},
      {"", kParserInternal, kParserInternal},
  };
  OpenSession session(AvFile());
  for (const auto& [data, frame, sequence] : cases) {
    std::vector<unsigned char> bytes(data.begin(), data.end());
    EXPECT_EQ(frame, session.parser->CheckFrameHeader(bytes.data(), bytes.size()));
    EXPECT_EQ(sequence, session.parser->CheckVideoSequenceHeader(2, bytes.data(), bytes.size()));
    EXPECT_EQ(kParserInternal,
              session.parser->CheckVideoSequenceHeader(1, bytes.data(), bytes.size()));
  }
}

}  // namespace
