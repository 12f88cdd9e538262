// Opening a file: the exact calls and messages, the track table, the packet
// length, what lies behind the data, and the life cycle around it.
#include <algorithm>

#include "ParserSession.h"
#include "asf/Globals.h"

namespace {

// Every kind of object that Open keeps, and one that it skips in each place. What
// the metadata object says of its size is wrong: the walk goes on behind its record.
AsfFile EveryObject() {
  const Bytes record = Record(Utf16("n"), 0, "val"), empty = Record("", 0, "");
  return AsfFile({Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0xFF), {}, "eeee"),
                  HeaderExtension(Metadata({record}, ID_METADATA_OBJECT, {}, 999) +
                                  Metadata({empty}, ID_METADATA_LIBRARY_OBJECT) +
                                  Object(ID_PADDING_OBJECT, "pppp")),
                  ContentDescription({Utf16("T"), "", Utf16("c"), "", ""}),
                  ExtendedContent({Descriptor(Utf16("AB"), 0, "xxxx"), Descriptor("", 3, "dddd")}),
                  Object(ID_CODEC_LIST_OBJECT, "0123456789")},
                 {Packet({Media(1, 3000, "a")})},
                 Object(ID_INDEX_OBJECT, "iiiiii") + SimpleIndex(10000000, {0}));
}

TEST(Open, CallsTheSourceInOrder) {
  const std::string header =
      "Open, ReadAt 0+30, Read 24, Read 80, Read 24, Read 54, Read 18, Read 4, "
      "Read 24, Read 22, Read 111, Read 24, Read 10, Read 4, Read 4, "
      "Read 24, GetPosition, Read 2, Read 2, Read 6, Read 2, Read 2, GetPosition, Read 4, "
      "Read 2, Read 2, Read 2, GetPosition, Read 4, Read 24, Skip 10, ReadAt 519+50, ";
  const std::string trailing =
      "GetSize, ReadAt 769+24, Skip 6, GetPosition, GetSize, "
      "GetSize, ReadAt 799+24, Read 32, Read 6, GetPosition, GetSize, ";
  for (const int mode : {0, 1, 8, 2, 4, 7}) {
    ParserSession session(EveryObject().Build());
    EXPECT_EQ(0, session.parser->OpenEx(&session.source, mode));
    EXPECT_EQ(header + ((mode & 6) == 0 ? trailing : "") + "ReadAt 569+1, ReadAt 569+3, Read 2",
              session.source.TakeCalls());
  }
  // Failures from the header on to the data object are passed on, all others are not.
  const long last = std::count(header.begin(), header.end(), ',');
  for (long call = 1; call <= last + 14; ++call) {
    ParserSession session(EveryObject().Build());
    session.source.PlanIn(call, Fault::kFail);
    EXPECT_EQ(call > 1 && call <= last ? FaultySource::kFailure : 0, session.Open()) << call;
  }
}

TEST(Open, HasItsStepsApart) {
  OpenSession session(EveryObject());
  EXPECT_EQ(0, session.parser->PreparseDataObjects());
  EXPECT_EQ("ReadAt 519+50", session.source.TakeCalls());
  EXPECT_EQ(kParserUnsupported, session.parser->ParseOtherObjects(0, 2));
  EXPECT_EQ("", session.source.TakeCalls());
  EXPECT_EQ(30, session.parser->ParseOtherObjects(0, 0));
  EXPECT_EQ(1, session.parser->SetDataPacketLen());
  for (const char* call : {"ReadAt 569+1", "ReadAt 569+3", "Read 2"}) {
    session.source.FailOn(call);
    EXPECT_EQ(FaultySource::kFailure, session.parser->SetDataPacketLen());
  }
  session.source.FailOn("ReadAt 519+50");
  EXPECT_EQ(FaultySource::kFailure, session.parser->PreparseDataObjects());
}

TEST(Open, PrintsEveryMessage) {
  OpenedSession session(EveryObject().Build(), "7");
  std::string expected =
      Lines("2 ID_",
            "FILE_PROPERTIES_OBJECT size = 104|STREAM_PROPERTIES_OBJECT size = 100|"
            "HEADER_EXTENSION_OBJECT size = 157|CONTENT_DESCRIPTION_OBJECT size = 42") +
      "2 Title : T\n" +
      Lines("2 ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT", " size = 52| end pos = 484") +
      Lines("2 [ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]",
            "string length: 4|DWord or Bool length: 4") +
      "2 ID_OTHERS id = 86d15240 311d 11d0 a3a400a0c90348f6, size = 34\n" +
      Lines("2 ParseHeaderExtensionObjects",
            "| HEDataSize 111"
            "| tmpSize 24| while offset 24| objectType 28| ID_METADATA_OBJECT| nDesRecords [1]"
            "| attribute Name length [4]| attribute []| attribute Data length [3]"
            "| tmpSize 24| while offset 69| objectType 29| ID_METADATA_LIBRARY_OBJECT"
            "| nDesRecords [1]| attribute Name length [0]| attribute []| attribute Data length [0]"
            "| tmpSize 24| while offset 107| objectType 21| default 111| is successed") +
      Lines("2 ParseOtherObjects",
            "  SeekMode(0)| ID_OTHERS id = d6e229d3 35da 11d1 903400a0c90349be, size = 30|"
            "  tmp_header.Size 30 | offset 30 |  SeekMode(0)|  ID_SIMPLE_INDEX_OBJECT") +
      "2 [ParseOtherObjects] EndOfStream. pos=861/filelen=861\n" +
      "2 ParseOtherObjects offset -1011 \n" +
      Lines("2 [ASFParser] ",
            "open > loop(0) trackindex(0)|"
            "in >> SetDataPacketLen  m_CurPos = (569) m_CurDataPacketLen = (0)|"
            "out >> SetDataPacketLen  m_CurDataPacketLen = (200)");
  const std::string none = " has no matched meta data\n";
  for (const std::string word : {"TITLE", "ALBUM", "ARTIST", "COMPOSER", "TRACK_NUM", "GENRE",
                                 "GENRE", "YEAR", "ALBUM_ART"}) {
    expected += "2 [SetMetaData] Start\n2 SetMetaData META_" + word + "\n";
    expected += "2 ECD" + none + "2 MetaObject" + none + "2 MetaLibraryObject" + none;
    expected += word == "TITLE" ? "2 [SetASFMetaData] found MetaData, key 0\n"
                                : "2 ContentDescription" + none;
  }
  EXPECT_EQ(expected, TakeLog());
}

TEST(Open, TakesTheFirstAudioAndTheFirstVideoStream) {
  struct Given {
    AsfObjectId type;
    int number;
  };
  const AsfObjectId audio = ID_AUDIO_MEDIA, video = ID_VIDEO_MEDIA, command = ID_COMMAND_MEDIA;
  constexpr int kDropped = -1;
  const struct {
    std::vector<Given> streams;
    std::vector<unsigned> tracks;  // numbers of their streams
    std::vector<int> passes;       // the track index of each pass of the loop
  } cases[] = {{{}, {}, {}},
               {{{audio, 1}, {video, 2}}, {1, 2}, {0, 1}},
               {{{video, 7}, {audio, 9}}, {7, 9}, {0, 1}},
               {{{audio, 1}, {audio, 2}, {video, 3}}, {1, 3}, {0, 1, kDropped, 1}},
               {{{command, 1}, {command, 2}, {video, 3}, {audio, 4}, {video, 5}},
                {3, 4},
                {0, kDropped, 0, kDropped, 0, 1, 2, kDropped}},
               {{{command, 1}}, {}, {0, kDropped}}};
  for (const auto& [streams, tracks, passes] : cases) {
    AsfFile file({}, {Packet({Media(1, 0, "x")})});
    for (const auto& [type, number] : streams) {
      // The formats carry the stream number: as channels, as width.
      const Bytes format = type == audio   ? AudioFormat(1, 1, 1, {}, number)
                           : type == video ? VideoFormat("WMV3", {}, number)
                                           : "";
      file.header.push_back(Stream(type, 0x8000 | number, format));  // marked as encrypted
    }
    OpenedSession session(file.Build(), "7");
    std::string log;
    for (const int pass : passes) {
      const std::string index = std::to_string(pass) + ")";
      log += pass == kDropped
                 ? "6 [Open] not support StreamType\n"
                 : "2 [ASFParser] open > loop(" + index + " trackindex(" + index + "\n";
    }
    EXPECT_NE(Bytes::npos, TakeLog().find("offset -1011 \n" + log + "2 [ASFParser] in >>"));
    std::vector<unsigned> taken;
    for (unsigned k = 0; k < session.parser->GetTrackCount(); ++k) {
      taken.push_back(session.parser->GetTrackInfo(k)->value1);
    }
    EXPECT_EQ(tracks, taken);
  }
}

TEST(Open, MeasuresThePacketLengthFromPacketZero) {
  const char* usual = "82 00 00";
  // The first byte without the flag; then length type 2 is in bytes 1 and 2.
  const char *bare = "00 40 99 34 12", *otherFlags = "6F 40 99 34 12";
  const struct {
    int lengthType;
    unsigned declared, min, max, expected;
    const char* front;
  } cases[] = {{0, 0, 200, 300, 200, usual},   {2, 200, 100, 300, 200, usual},
               {3, 200, 100, 300, 200, usual}, {1, 150, 100, 300, 150, "8F 00 00"},
               {2, 50, 100, 300, 100, usual},  {2, 400, 100, 300, 300, usual},
               {2, 99, 99, 99, 99, usual},     {3, 0x10000, 1, ~0u, 0x10000, usual},
               {0, 0, 1, 5000, 0x1234, bare},  {0, 0, 1, 5000, 0x1234, otherFlags}};
  for (const auto& test : cases) {
    AsfFile file = AvFile({Packet({Media(1, 0, "x")})});
    file.packets[0].errorCorrection = Hex(test.front);
    file.packets[0].packetLengthType = test.lengthType;
    file.packets[0].packetLength = test.declared;
    file.minPacket = test.min;
    file.maxPacket = test.max;
    OpenedSession session(file.Build(), "4");
    EXPECT_EQ("2 [ASFParser] out >> SetDataPacketLen  m_CurDataPacketLen = (" +
                  std::to_string(test.expected) + ")\n",
              TakeLog("out >> SetDataPacketLen"));
  }
}

TEST(Open, ReportsWhatIsOddAboutPacketZero) {
  AsfFile file = AvFile({Packet({Media(1, 0, "x")})});
  for (const unsigned long long dataSize : {50ull, 0ull, ~0ull - 9}) {
    file.dataSize = dataSize;  // no packet, or an end that wraps
    OpenedSession empty(file.Build(), "4");
    EXPECT_EQ("2 [ASFParser] ParseDataPacket  End Of Data\n", TakeLog("ParseDataPacket"));
  }
  file.dataSize.reset();
  file.packets[0].errorCorrection = Hex("92 00 00");
  OpenedSession opaque(file.Build());
  EXPECT_EQ("6 [ASFParser] ParseDataPacket : Opaque Data Present\n", TakeLog());
}

TEST(Open, WalksWhatLiesBehindTheData) {
  const Bytes index = SimpleIndex(10000000, {0, 5, 7});
  const Bytes unknown = Bytes(16, 'u') + Le(28, 8) + "abcd";
  const auto sized = [](unsigned long long size) { return Object(ID_PADDING_OBJECT, "", size); };
  const struct {
    const char* what;
    Bytes trailing;
    bool hasIndex;
    const char* last;  // message before the walk ends
    int status;
    unsigned long long sizeAdded = 0;
  } cases[] = {
      {"nothing", "", false, " EOS m_CurPos + size = 433 mSize = 409", -1011},
      {"half a header", Bytes(23, 'x'), false, " EOS m_CurPos + size = 433 mSize = 432", -1011},
      {"an index", index, true, "] EndOfStream. pos=483/filelen=483", -1011},
      {"no entries", SimpleIndex(1, {}), true, "] EndOfStream. pos=465/filelen=465", -1011},
      {"an index in front", index + unknown, true, "  pos error, pos=10000433/filelen=511", -1008},
      {"an index last", unknown + index, true, "] EndOfStream. pos=511/filelen=511", -1011},
      {"an object", unknown, false, "] EndOfStream. pos=437/filelen=437", -1011},
      {"too long", sized(30), false, "  pos error, pos=439/filelen=433", -1008},
      {"too small", sized(23), false, "  invalid header size - 23", -1007},
      {"negative", sized((1ull << 63) + 24), false, "][2317 line]offset is invalid value", -1007},
      {"advance 0", sized(1ull << 32), false, "  tmp_header.Size 0 ", 0, 1ull << 63},
      {"advance -2", sized((1ull << 32) - 2), false, "  tmp_header.Size -2 ", -2, 1ull << 63},
      {"too many entries", SimpleIndex(1, {0}, 174763), false, "trouble (1048578)", -1008},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    AsfFile file({VideoStream(2)}, {Packet({Media(2, 0, "x")})}, test.trailing);
    file.packetLength = 96;
    ParserSession session(file.Build(), "7");
    session.source.OverstateSize(test.sizeAdded);
    EXPECT_EQ(0, session.Open());
    const std::string log = TakeLog("ParseOtherObjects");
    const std::string end = std::string(test.last) + "\n2 ParseOtherObjects offset " +
                            std::to_string(test.status) + " \n";
    EXPECT_EQ(end, log.substr(log.size() - std::min(log.size(), end.size())));
    EXPECT_EQ(test.hasIndex ? 1u : 0u, session.parser->GetTrackInfo(0)->seekable);
  }
}

TEST(Open, KeepsAFurtherIndexOnlyWithinTheLimit) {
  // The interval field of an index is taken for the size of an object: it leads
  // to the second one here.
  for (const std::size_t entries : {3, 80000, 100000}) {
    AsfFile file = AvFile({Packet({Media(2, 0, "x")})});
    file.trailing = SimpleIndex(32 + 6 * entries, std::vector<unsigned>(entries, 4)) +
                    SimpleIndex(1, std::vector<unsigned>(entries, 9));
    OpenedSession session(file.Build(), "5");
    const std::string log = TakeLog();
    const std::string found = "ID_SIMPLE_INDEX_OBJECT\n";
    EXPECT_NE(log.find(found), log.rfind(found));
    EXPECT_EQ(entries == 100000, log.find("ParseOtherObjects offset -1008") != log.npos);
    EXPECT_EQ(4, session.parser->GetStartPacketNumEx(0, kTrackVideo, kSeekByteMode, 0, 0, 0));
  }
}

TEST(Open, GoesOnWithoutTheWalk) {
  AsfFile file = AvFile({Packet({Media(2, 0, "x")})});
  file.trailing = SimpleIndex(10000000, {0, 5, 7});
  ParserSession unknown(file.Build());
  unknown.source.Plan(1, Fault::kSizeUnknown);
  EXPECT_EQ(0, unknown.Open());
  EXPECT_EQ("6 ParseOtherObjects No File Size\n", TakeLog());
  for (const std::string call : {"ReadAt 609+24", "Read 32", "Read 6"}) {
    ParserSession failing(file.Build());
    failing.source.FailOn(call);
    EXPECT_EQ(0, failing.Open());
    EXPECT_EQ(call[4] == 'A' ? "6 ParseOtherObjects ReadAt Error m_CurPos=609\n" : "", TakeLog());
    EXPECT_EQ(0u, failing.parser->GetTrackInfo(1)->seekable);
  }
  file.header.push_back(HeaderExtension(Metadata({})));
  OpenedSession skipping(file.Build(), "4");
  EXPECT_EQ("2 ParseHeaderExtensionObjects is failed\n", TakeLog("Objects is"));
  EXPECT_EQ(0u, skipping.parser->GetTrackInfo(1)->seekable);
  EXPECT_EQ(std::string::npos, skipping.source.TakeCalls().find("GetSize"));
}

TEST(Open, OnceMoreKeepsNoTrack) {
  AsfFile file = AvFile({Packet({Media(1, 0, "x")})});
  file.packetLength = 150;
  FaultySource other(file.Build());
  file.packetLength = 200;
  OpenSession session(file);
  EXPECT_EQ(0, session.parser->OpenEx(&other, 0));
  EXPECT_EQ(0u, session.parser->GetTrackCount());
  const std::string dropped = "6 [OpenEx] not support StreamType\n";
  const std::string length = "6 [ASFParser] SetDataPacketLen : Wrong Pakcet Len Info.\n";
  EXPECT_EQ(dropped + dropped + dropped + dropped + length, TakeLog());
}

TEST(LifeCycle, TakesTheLevelFromTheProperty) {
  const struct {
    const char* property;
    int level;
  } levels[] = {{nullptr, 1}, {"6", 6}, {"0x7", 0}, {"loud", 0}};
  for (const auto& [property, level] : levels) {
    SetLevelProperty(property);
    ASFParser parser;
    EXPECT_EQ(level, debug_level.load());
  }
  CaptureLog();
  SetLevelProperty("2");
  { ASFParser parser; }
  EXPECT_EQ("3 [ASFParser] ASFParser::ASFParser()\n3 [ASFParser] ASFParser::~ASFParser()\n",
            TakeLog());
}

TEST(LifeCycle, CloseForgetsTheFile) {
  ParserSession never("");
  unsigned long ms = 1;
  EXPECT_EQ(0, never.parser->GetDurationMs(&ms));
  EXPECT_EQ(0u, ms);
  EXPECT_EQ(0, never.parser->Close());
  EXPECT_EQ("", never.source.TakeCalls());

  OpenSession session(
      AvFile({Packet({Media(1, 3000, "a"), Media(1, 3010, "b"), Media(2, 3000, "v")})}), "4");
  ASFParser& parser = *session.parser;
  EXPECT_EQ(0, parser.ParseDataPacket(0, 0));
  session.source.TakeCalls();
  EXPECT_EQ(0, parser.Close());
  EXPECT_EQ("Close", session.source.TakeCalls());
  EXPECT_EQ(0u, parser.GetTrackCount());
  EXPECT_EQ(nullptr, parser.getExtraInterface());
  EXPECT_EQ(nullptr, parser.GetMetaInfo());
  EXPECT_EQ(nullptr, parser.GetTrackInfo(0));
  EXPECT_EQ("", TakeLog());
  EXPECT_EQ(kParserEndOfStream, parser.ParseDataPacket(0, 2));
  EXPECT_EQ(kParserEndOfStream, parser.GetPacketTime(0, kTrackAudio));
  const std::string end = "2 [ASFParser] ParseDataPacket  End Of Data\n";
  EXPECT_EQ(end + end, TakeLog());
  EXPECT_EQ("(-1011)", session.Audio());
  EXPECT_EQ("(-1011)", session.Video());
  EXPECT_EQ("", session.source.TakeCalls());
}

TEST(Duration, IsThePlayDurationLessThePreroll) {
  const unsigned long long cases[][3] = {// 100 ns, ms, ms
                                         {123456789, 3000, 9345},
                                         {30000000, 3000, 0},
                                         {10000000, 3000, 0},
                                         {~0ull, 0, 1844674407370955}};
  for (const auto& [duration, preroll, expected] : cases) {
    AsfFile file;
    file.duration = duration;
    file.preroll = preroll;
    OpenSession session(file);
    unsigned long ms;
    EXPECT_EQ(0, session.parser->GetDurationMs(&ms));
    EXPECT_EQ(expected, ms);
  }
}

}  // namespace
