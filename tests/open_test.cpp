// Opening a file: the exact calls and messages, the track table, the packet
// length, what lies behind the data, and the life cycle around it.
#include <algorithm>
#include <utility>

#include "ParserSession.h"
#include "asf/Globals.h"

namespace {

// Every kind of object that Open keeps, one that it skips in each place.
AsfFile EveryObject() {
  AsfFile file;
  file.header = {Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0xFF), {}, "eeee"),
                 HeaderExtension(Object(ID_PADDING_OBJECT, "pppp")),
                 ContentDescription({Utf16("T"), "", Utf16("c"), "", ""}),
                 ExtendedContent({Descriptor(Utf16("AB"), 0, "xxxx"), Descriptor("", 3, "dddd")}),
                 Object(ID_CODEC_LIST_OBJECT, "0123456789")};
  file.packets = {Packet({Media(1, 3000, "a")})};
  file.trailing = Object(ID_INDEX_OBJECT, "iiiiii") + SimpleIndex(10000000, {0});
  return file;
}

const char kHeaderCalls[] =
    "Open, ReadAt 0+30, Read 24, Read 80, Read 24, Read 54, Read 18, Read 4, "
    "Read 24, Read 22, Read 28, Read 24, Read 10, Read 4, Read 4, "
    "Read 24, GetPosition, Read 2, Read 2, Read 6, Read 2, Read 2, GetPosition, Read 4, "
    "Read 2, Read 2, Read 2, GetPosition, Read 4, Read 24, Skip 10, ReadAt 436+50, ";
const char kTrailingCalls[] =
    "GetSize, ReadAt 686+24, Skip 6, GetPosition, GetSize, "
    "GetSize, ReadAt 716+24, Read 32, Read 6, GetPosition, GetSize, ";
const char kPacketLengthCalls[] = "ReadAt 486+1, ReadAt 486+3, Read 2";

TEST(Open, CallsTheSourceInOrder) {
  const std::string header = kHeaderCalls, packet = kPacketLengthCalls;
  const std::pair<int, std::string> modes[] = {{0, header + kTrailingCalls + packet},
                                               {1, header + kTrailingCalls + packet},
                                               {8, header + kTrailingCalls + packet},
                                               {2, header + packet},
                                               {4, header + packet},
                                               {7, header + packet}};
  for (const auto& [mode, calls] : modes) {
    ParserSession session(EveryObject().Build());
    EXPECT_EQ(0, session.parser->OpenEx(&session.source, mode));
    EXPECT_EQ(calls, session.source.TakeCalls()) << mode;
  }
}

TEST(Open, PrintsEveryMessage) {
  ParserSession session(EveryObject().Build(), "7");
  EXPECT_EQ(0, session.Open());
  Lines expected = {
      "2 ID_FILE_PROPERTIES_OBJECT size = 104",
      "2 ID_STREAM_PROPERTIES_OBJECT size = 100",
      "2 ID_HEADER_EXTENSION_OBJECT size = 74",
      "2 ID_CONTENT_DESCRIPTION_OBJECT size = 42",
      "2 Title : T",
      "2 ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT size = 52",
      "2 ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT end pos = 401",
      "2 [ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]string length: 4",
      "2 [ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]DWord or Bool length: 4",
      "2 ID_OTHERS id = 86d15240 311d 11d0 a3a400a0c90348f6, size = 34",
      "2 ParseHeaderExtensionObjects",
      "2 ParseHeaderExtensionObjects HEDataSize 28",
      "2 ParseHeaderExtensionObjects tmpSize 24",
      "2 ParseHeaderExtensionObjects while offset 24",
      "2 ParseHeaderExtensionObjects objectType 21",
      "2 ParseHeaderExtensionObjects default 28",
      "2 ParseHeaderExtensionObjects is successed",
      "2 ParseOtherObjects  SeekMode(0)",
      "2 ParseOtherObjects ID_OTHERS id = d6e229d3 35da 11d1 903400a0c90349be, size = 30",
      "2 ParseOtherObjects  tmp_header.Size 30 ",
      "2 ParseOtherObjects offset 30 ",
      "2 ParseOtherObjects  SeekMode(0)",
      "2 ParseOtherObjects  ID_SIMPLE_INDEX_OBJECT",
      "2 [ParseOtherObjects] EndOfStream. pos=778/filelen=778",
      "2 ParseOtherObjects offset -1011 ",
      "2 [ASFParser] open > loop(0) trackindex(0)",
      "2 [ASFParser] in >> SetDataPacketLen  m_CurPos = (486) m_CurDataPacketLen = (0)",
      "2 [ASFParser] out >> SetDataPacketLen  m_CurDataPacketLen = (200)",
      "2 [SetMetaData] Start",
      "2 SetMetaData META_TITLE",
      "2 ECD has no matched meta data",
      "2 [SetASFMetaData] found MetaData, key 0"};
  for (const char* word :
       {"ALBUM", "ARTIST", "COMPOSER", "TRACK_NUM", "GENRE", "GENRE", "YEAR", "ALBUM_ART"}) {
    expected.insert(
        expected.end(),
        {"2 [SetMetaData] Start", std::string("2 SetMetaData META_") + word,
         "2 ECD has no matched meta data", "2 ContentDescription has no matched meta data"});
  }
  EXPECT_EQ(expected, TakeLog());
}

TEST(Open, TakesTheFirstAudioAndTheFirstVideoStream) {
  // A stream's kind and number; then the passes of the track loop, x = dropped.
  const struct {
    const char *streams, *tracks, *loop;
  } cases[] = {
      {"", "", ""},
      {"A1 V2", "A1 V2", "(0)(0) (1)(1)"},
      {"V7 A9", "V7 A9", "(0)(0) (1)(1)"},
      {"A1 A2 V3", "A1 V3", "(0)(0) (1)(1)x (1)(1)"},
      {"C1 C2 V3 A4 V5", "V3 A4", "(0)(0)x (0)(0)x (0)(0) (1)(1) (2)(2)x"},
      {"C1", "", "(0)(0)x"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.streams);
    AsfFile file;
    for (const char* s = test.streams; *s != '\0'; s += s[2] == ' ' ? 3 : 2) {
      const int number = s[1] - '0', flags = 0x8000 | number;  // marked as encrypted
      // The formats carry the stream number: as channels, as width.
      file.header.push_back(
          *s == 'A'   ? Stream(ID_AUDIO_MEDIA, flags, AudioFormat(0xFF, 1, 1, {}, number))
          : *s == 'V' ? Stream(ID_VIDEO_MEDIA, flags, VideoFormat("WMV3", {}, number))
                      : Stream(ID_COMMAND_MEDIA, flags, ""));
    }
    file.packets = {Packet({Media(1, 0, "x")})};
    ParserSession session(file.Build(), "7");
    EXPECT_EQ(0, session.Open());
    std::string loop, tracks;
    for (const std::string& line : TakeLog()) {
      if (line == "6 [Open] not support StreamType") loop += "x";
      if (const auto at = line.find("open > loop"); at != line.npos) {
        loop += (loop.empty() ? "" : " ") + line.substr(at + 11);
      }
    }
    for (std::size_t at; (at = loop.find(" trackindex")) != loop.npos;) loop.erase(at, 11);
    for (unsigned i = 0; i < session.parser->GetTrackCount(); ++i) {
      const TrackInfo* info = session.parser->GetTrackInfo(i);
      ASSERT_NE(nullptr, info);
      tracks += (i == 0 ? "" : " ") + std::string(info->trackType == kTrackAudio ? "A" : "V") +
                std::to_string(info->value1);
    }
    EXPECT_EQ(test.loop, loop);
    EXPECT_EQ(test.tracks, tracks);
  }
}

TEST(Open, MeasuresThePacketLengthFromPacketZero) {
  const Bytes noErrorCorrection = Hex("00 40 99 34 12");  // length type 2 at bytes 1 and 2
  const struct {
    int lengthType;
    unsigned explicitLength, min, max, expected;
    Bytes front;
  } cases[] = {
      {0, 0, 200, 300, 200, Hex("82 00 00")},     {2, 200, 100, 300, 200, Hex("82 00 00")},
      {3, 200, 100, 300, 200, Hex("82 00 00")},   {1, 150, 100, 300, 150, Hex("8F 00 00")},
      {2, 50, 100, 300, 100, Hex("82 00 00")},    {2, 400, 100, 300, 300, Hex("82 00 00")},
      {2, 100, 100, 100, 100, Hex("82 00 00")},   {3, 0x10000, 1, ~0u, 0x10000, Hex("82 00 00")},
      {0, 0, 1, 5000, 0x1234, noErrorCorrection},
  };
  for (const auto& test : cases) {
    AsfFile file = AvFile();
    Packet packet({Media(1, 0, "x")});
    packet.errorCorrection = test.front;
    packet.packetLengthType = test.lengthType;
    packet.packetLength = test.explicitLength;
    file.packets = {packet};
    file.minPacket = test.min;
    file.maxPacket = test.max;
    ParserSession session(file.Build(), "7");
    EXPECT_EQ(0, session.Open());
    EXPECT_EQ(Lines{"2 [ASFParser] out >> SetDataPacketLen  m_CurDataPacketLen = (" +
                    std::to_string(test.expected) + ")"},
              TakeLog("out >> SetDataPacketLen"));
  }
}

TEST(Open, ReportsWhatIsOddAboutPacketZero) {
  AsfFile file = AvFile();
  file.packets = {Packet({Media(1, 0, "x")})};
  file.packets[0].errorCorrection = Hex("92 00 00");
  ParserSession opaque(file.Build());
  EXPECT_EQ(0, opaque.Open());
  EXPECT_EQ(Lines{"6 [ASFParser] ParseDataPacket : Opaque Data Present"}, TakeLog());

  for (const unsigned long long dataSize : {50ull, 0ull, ~0ull - 9}) {
    file.dataSize = dataSize;  // no packet, or an end that wraps
    ParserSession empty(file.Build(), "4");
    EXPECT_EQ(0, empty.Open());
    EXPECT_EQ(Lines{"2 [ASFParser] ParseDataPacket  End Of Data"}, TakeLog("ParseDataPacket"));
  }
}

TEST(Open, WalksWhatLiesBehindTheData) {
  const Bytes index = SimpleIndex(10000000, {0, 5, 7});
  const Bytes unknown = Bytes(16, 'u') + Le(28, 8) + "abcd";
  const auto sized = [](unsigned long long size) { return Object(ID_PADDING_OBJECT, "", size); };
  const struct {
    const char* what;
    Bytes trailing;
    bool hasIndex;
    std::string last;  // message before the walk ends
    int status;
    unsigned long long sizeAdded = 0;
  } cases[] = {
      {"nothing", "", false, " EOS m_CurPos + size = 433 mSize = 409", -1011},
      {"half a header", Bytes(23, 'x'), false, " EOS m_CurPos + size = 433 mSize = 432", -1011},
      {"an index", index, true, "[] EndOfStream. pos=483/filelen=483", -1011},
      {"no entries", SimpleIndex(1, {}), true, "[] EndOfStream. pos=465/filelen=465", -1011},
      {"an index, whose own fields are then taken for an object", index + unknown, true,
       "  pos error, pos=10000433/filelen=511", -1008},
      {"an index last", unknown + index, true, "[] EndOfStream. pos=511/filelen=511", -1011},
      {"an object", unknown, false, "[] EndOfStream. pos=437/filelen=437", -1011},
      {"too long", sized(30), false, "  pos error, pos=439/filelen=433", -1008},
      {"too small", sized(23), false, "  invalid header size - 23", -1007},
      {"negative", sized((1ull << 63) + 24), false, "[][2317 line]offset is invalid value", -1007},
      {"advance 0", sized(1ull << 32), false, "  tmp_header.Size 0 ", 0, 1ull << 63},
      {"advance -2", sized((1ull << 32) - 2), false, "  tmp_header.Size -2 ", -2, 1ull << 63},
      {"too many entries", SimpleIndex(1, {0}, 174763), false, "", -1008},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    AsfFile file;
    file.header = {Stream(ID_VIDEO_MEDIA, 2, VideoFormat("WMV2"))};
    file.packetLength = 96;
    file.packets = {Packet({Media(2, 0, "x")})};
    file.trailing = test.trailing;
    ParserSession session(file.Build(), "7");
    session.source.sizeAdded = test.sizeAdded;
    EXPECT_EQ(0, session.Open());
    const Lines walk = TakeLog("ParseOtherObjects");
    std::string last = walk[walk.size() - 2].substr(2);
    if (last[0] == '[') last.erase(1, 17);
    if (last[0] == 'P') last.erase(0, 17);
    EXPECT_EQ(test.last.empty() ? last : test.last, last);
    EXPECT_EQ("2 ParseOtherObjects offset " + std::to_string(test.status) + " ", walk.back());
    EXPECT_EQ(test.hasIndex ? 1u : 0u, session.parser->GetTrackInfo(0)->seekable);
  }
}

TEST(Open, KeepsAFurtherIndexOnlyWithinTheLimit) {
  // The interval field of an index is taken for the size of an object: it leads
  // to the second one here.
  const struct {
    std::size_t entries;
    unsigned refused;
  } cases[] = {{3, 0}, {80000, 0}, {100000, 1}};
  for (const auto& [entries, refused] : cases) {
    AsfFile file = AvFile();
    file.packets = {Packet({Media(2, 0, "x")})};
    file.trailing = SimpleIndex(32 + 6 * entries, std::vector<unsigned>(entries, 4)) +
                    SimpleIndex(1, std::vector<unsigned>(entries, 9));
    ParserSession session(file.Build(), "5");
    EXPECT_EQ(0, session.Open());
    const Lines log = TakeLog();
    const auto count = [&](const char* line) { return std::count(log.begin(), log.end(), line); };
    EXPECT_EQ(2, count("2 ParseOtherObjects  ID_SIMPLE_INDEX_OBJECT"));
    EXPECT_EQ(refused, count("2 ParseOtherObjects offset -1008 "));
    EXPECT_EQ(4, session.parser->GetStartPacketNumEx(0, kTrackVideo, kSeekByteMode, 0, 0, 0));
  }
}

TEST(Open, EndsTheWalkWithoutASizeOrARead) {
  AsfFile file = AvFile();
  file.packets = {Packet({Media(2, 0, "x")})};
  file.trailing = SimpleIndex(10000000, {0, 5, 7});
  ParserSession unknown(file.Build());
  unknown.source.sizeKnown = false;
  EXPECT_EQ(0, unknown.Open());
  EXPECT_EQ(Lines{"6 ParseOtherObjects No File Size"}, TakeLog());

  ParserSession failing(file.Build());
  failing.source.failOn = "ReadAt 609+24";
  EXPECT_EQ(0, failing.Open());
  EXPECT_EQ(Lines{"6 ParseOtherObjects ReadAt Error m_CurPos=609"}, TakeLog());
}

TEST(Open, SkipsTheWalkWhenTheExtensionFails) {
  AsfFile file = AvFile();
  file.header.push_back(HeaderExtension(Metadata({})));
  file.packets = {Packet({Media(2, 0, "x")})};
  file.trailing = SimpleIndex(10000000, {0, 5, 7});
  ParserSession session(file.Build(), "7");
  EXPECT_EQ(0, session.Open());
  const Lines log = TakeLog();
  EXPECT_NE(log.end(),
            std::find(log.begin(), log.end(), "2 ParseHeaderExtensionObjects is failed"));
  EXPECT_EQ(0u, session.parser->GetTrackInfo(1)->seekable);
  EXPECT_EQ(std::string::npos, session.source.TakeCalls().find("GetSize"));
}

TEST(Open, OnceMoreKeepsNoTrack) {
  AsfFile file = AvFile();
  file.packets = {Packet({Media(1, 0, "x")})};
  AsfFile shorter = file;
  shorter.packetLength = 150;
  FaultySource other(shorter.Build());
  OpenSession session(file);
  EXPECT_EQ(0, session.parser->Open(&other));
  EXPECT_EQ(0u, session.parser->GetTrackCount());
  const Lines dropped(4, "6 [Open] not support StreamType");
  Lines log = TakeLog();
  EXPECT_EQ("6 [ASFParser] SetDataPacketLen : Wrong Pakcet Len Info.", log.back());
  log.pop_back();
  EXPECT_EQ(dropped, log);
  EXPECT_EQ(0, session.parser->Close());
  EXPECT_NE(std::string::npos, other.TakeCalls().find("Close"));
}

TEST(LifeCycle, TakesTheLevelFromTheProperty) {
  const std::pair<const char*, int> levels[] = {{nullptr, 1}, {"6", 6}, {"0x7", 0}, {"loud", 0}};
  for (const auto& [property, level] : levels) {
    SetLevelProperty(property);
    ASFParser parser;
    EXPECT_EQ(level, debug_level.load());
  }
  TakeLog();
  SetLevelProperty("2");
  { ASFParser parser; }
  EXPECT_EQ(
      (Lines{"3 [ASFParser] ASFParser::ASFParser()", "3 [ASFParser] ASFParser::~ASFParser()"}),
      TakeLog());
}

TEST(LifeCycle, CloseForgetsTheFile) {
  AsfFile file = AvFile();
  file.packets = {Packet({Media(1, 3000, "a"), Media(1, 3010, "b"), Media(2, 3000, "v")})};
  OpenSession session(file, "4");
  ASFParser& parser = *session.parser;
  EXPECT_EQ(0, parser.ParseDataPacket(0, 0));
  session.source.TakeCalls();
  EXPECT_EQ(0, parser.Close());
  EXPECT_EQ("Close", session.source.TakeCalls());
  EXPECT_EQ(0u, parser.GetTrackCount());
  EXPECT_EQ(nullptr, parser.getExtraInterface());
  EXPECT_EQ(nullptr, parser.GetMetaInfo());
  EXPECT_EQ(nullptr, parser.GetTrackInfo(0));
  TakeLog();
  EXPECT_EQ(kParserEndOfStream, parser.ParseDataPacket(0, 2));
  EXPECT_EQ(kParserEndOfStream, parser.GetPacketTime(0, kTrackAudio));
  EXPECT_EQ(Lines(2, "2 [ASFParser] ParseDataPacket  End Of Data"), TakeLog());
  EXPECT_EQ("(-1011)", session.Audio());
  EXPECT_EQ("(-1011)", session.Video());
  EXPECT_EQ("", session.source.TakeCalls());
}

TEST(LifeCycle, CloseWithoutOpenTouchesNothing) {
  ParserSession session("");
  EXPECT_EQ(0, session.parser->Close());
  EXPECT_EQ(nullptr, session.parser->getExtraInterface());
  EXPECT_EQ("", session.source.TakeCalls());
}

TEST(Duration, IsThePlayDurationLessThePreroll) {
  const struct {
    unsigned long long duration, preroll;
    unsigned long expected;
  } cases[] = {{123456789, 3000, 9345},
               {30000000, 3000, 0},
               {10000000, 3000, 0},
               {~0ull, 0, 1844674407370955}};
  for (const auto& test : cases) {
    AsfFile file;
    file.duration = test.duration;
    file.preroll = test.preroll;
    ParserSession session(file.Build());
    unsigned long ms = 1;
    EXPECT_EQ(0, session.parser->GetDurationMs(&ms));
    EXPECT_EQ(0u, ms);
    session.Open();
    EXPECT_EQ(0, session.parser->GetDurationMs(&ms));
    EXPECT_EQ(test.expected, ms);
  }
}

}  // namespace
