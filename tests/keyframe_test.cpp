// Key frame detection, codec by codec.
#include <cstring>

#include "ParserSession.h"
#include "asf/Globals.h"

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
  const struct {
    const char* fourccs;  // four characters each
    Bytes picture;
    unsigned expected;
  } cases[] = {
      {"MPG1mpg1MPG2mpg2", Hex("00 00 01 00 AA 08"), 1},
      {"MPG1mpg1MPG2mpg2", Hex("00 00 01 00 AA CF"), 1},
      {"MPG2", Hex("00 00 01 00 AA 10"), 0},
      {"MPG2", Hex("00 00 01 00 AA 18"), 0},
      {"MPG2", Hex("00 00 01 00 AA 10 00 00 01 00 AA 08"), 1},
      {"MPG2", Hex("00 00 01 B3 00 00 00 01 00 AA 08"), 1},
      {"MPG2", Hex("00 00 01 00 AA"), 0},  // what is missing is 0
      {"MPG2", Hex("00 00 01"), 0},
      {"MPG2", "", 0},
      {"H263h263", Hex("00 00 80 02 00 00 00 00"), 1},
      {"H263h263", Hex("00 00 83 02 1A 00 00 00"), 0},
      {"H263", Hex("00 00 80 02 18 00 00 00"), 1},
      {"H263", Hex("00 00 80 02 02 00 00 00"), 0},
      {"H263", Hex("01 00 80 02 00 00 00 00"), 0},
      {"H263", Hex("00 01 80 02 00 00 00 00"), 0},
      {"H263", Hex("00 00 84 02 00 00 00 00"), 0},
      {"H263", Hex("00 00 80 02 1E 8F 7F E3"), 1},  // extended, with OPPTYPE
      {"H263", Hex("00 00 80 02 1C 80 00 04"), 0},
      {"H263", Hex("00 00 80 02 1C 80 00 10"), 0},
      {"H263", Hex("00 00 80 02 1C 0F FF FF"), 1},  // extended, without
      {"H263", Hex("00 00 80 02 1C 10 00 00"), 0},
      {"H263", Hex("00 00 80 02 1C 40 00 00"), 0},
      {"H263", Hex("00 00 80 02"), 1},  // what is missing is 0
      {"H263", Hex("00 00"), 0},
      {"MJPGmjpg", Hex("FF D8 00"), 1},
      {"MJPGmjpg", Hex("FF D9"), 0},
      {"MJPG", Hex("FE D8"), 0},
      {"MJPG", Hex("FF"), 0},
      {"WVC1wvc1", Hex("C0"), 1},
      {"WVC1wvc1", Hex("D0"), 1},
      {"WVC1", Hex("00"), 0},
      {"WVC1", Hex("B0"), 0},
      {"WVC1", Hex("E0"), 0},
      {"WVC1", Hex("F0"), 0},
      {"WVC1", "", 0},
      {"WMV3WMVAH264Mpg2DIVXh262", "x", 1},
      {"WMV3", "", 1},
  };
  ParserSession session("");
  for (const auto& test : cases) {
    for (const char* fourcc = test.fourccs; *fourcc != '\0'; fourcc += 4) {
      EXPECT_EQ(test.expected, IsKeyFrame(session.parser.get(), fourcc, test.picture))
          << fourcc << " " << &test - cases;
    }
  }
}

TEST(KeyFrame, PrintsWhatItFound) {
  const struct {
    const char* fourcc;
    Bytes picture;
    Lines log;
  } cases[] = {
      {"MPG2",
       Hex("99 00 00 01 00 AA 10 00 00 01 00 AA 08"),
       {"2 CheckIframe_mpeg", "6 MPEG1 or 2 StartCode(P frmae) is founded, es_offset 1",
        "6 MPEG1 or 2 StartCode(I frmae) is founded, es_offset 7"}},
      {"H263",
       Hex("00 00 80 02 00 00 00 00"),
       {"2 CheckIframe_h263", "2 [PTYPE]H263 StartCode and Iframe picture type are founded"}},
      {"H263",
       Hex("00 00 80 02 1C 80 00 00"),
       {"2 CheckIframe_h263",
        "2 [PLUSPTYPE with OPPTYPE]H263 StartCode and Iframe picture type are founded"}},
      {"H263",
       Hex("00 00 80 02 1C 00 00 00"),
       {"2 CheckIframe_h263", "2 [PLUSPTYPE]H263 StartCode and Iframe picture type are founded"}},
      {"MJPG", Hex("FF D8"), {"2 CheckIframe_mjpeg", "2 MJPEG StartCode founded"}},
      {"WVC1", Hex("C0"), {"2 not interlaced clip, frametype(1)", "2 VC1 StartCode founded"}},
      {"WVC1", Hex("A0"), {"2 not interlaced clip, frametype(3)"}},
      {"WMV3", "x", {}},
  };
  ParserSession session("", "7");
  for (const auto& test : cases) {
    Lines expected = test.log;
    expected.insert(expected.begin(),
                    "2 CheckIFrameStartCode Start, pLen=" + std::to_string(test.picture.size()));
    IsKeyFrame(session.parser.get(), test.fourcc, test.picture);
    EXPECT_EQ(expected, TakeLog());
  }
}

TEST(KeyFrame, ReadsInterlacedVc1) {
  AsfFile file;
  file.header = {
      Stream(ID_VIDEO_MEDIA, 2, VideoFormat("WVC1", Hex("00 00 01 0F 00 00 00 00 00 40")))};
  OpenSession session(file, "4");
  unsigned char config[16];
  unsigned long length;
  session.parser->GetVideoConfig(config, &length, sizeof(config));
  TakeLog();
  const int types[][2] = {{0x00, 2}, {0x40, 3}, {0x60, 1}, {0x68, 1},  {0x70, 4},  {0x78, 5},
                          {0xC0, 6}, {0xC8, 7}, {0xD0, 8}, {0xE0, 10}, {0xF8, 13}, {0x80, 2},
                          {0xA0, 3}, {0xB0, 1}, {0xB4, 1}, {0xB8, 4},  {0xBC, 5}};
  for (const auto& [picture, type] : types) {
    unsigned char byte = static_cast<unsigned char>(picture);
    const bool key = type == 1 || type == 6 || type == 7;
    EXPECT_EQ(key ? 0u : 1u, session.parser->CheckIframe_vc1_adv(&byte)) << picture;
    EXPECT_EQ("2 interlaced clip, frametype(" + std::to_string(type) + ")", TakeLog().front());
  }
}

TEST(KeyFrame, TablesAreThePictureTypes) {
  const unsigned frame[16] = {2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 1, 1, 4, 5};
  const unsigned field[8] = {6, 7, 8, 9, 10, 11, 12, 13};
  EXPECT_EQ(0, std::memcmp(frame, frmBasedTypeCodes, sizeof(frame)));
  EXPECT_EQ(0, std::memcmp(field, fldBasedTypeCodes, sizeof(field)));
}

TEST(KeyFrame, FindsAVc1FrameStartCode) {
  const Bytes start = Hex("00 00 01 0D");
  const std::pair<Bytes, int> cases[] = {
      {start + "x", 0},      {start, kParserInternal},        {"ab" + start + "x", 2},
      {"", kParserInternal}, {"ab" + start, kParserInternal}, {start + start, 0}};
  ParserSession session("");
  for (const auto& [data, expected] : cases) {
    std::vector<unsigned char> bytes(data.begin(), data.end());
    EXPECT_EQ(expected, session.parser->CheckFrameHeader(bytes.data(), bytes.size()));
  }
  unsigned char jpeg[2] = {0xFF, 0xD8};
  EXPECT_EQ(1u, session.parser->CheckIframe_mjpg(jpeg));
  jpeg[0] = 0;
  EXPECT_EQ(0u, session.parser->CheckIframe_mjpg(jpeg));
}

}  // namespace
