// The header object: what is kept of its sub-objects, what is skipped, refused
// or cut short.
#include "ParserSession.h"

namespace {

Bytes File(const std::vector<Bytes>& header) { return AsfFile(header).Build(); }

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

TEST(Header, SkipsWhatItDoesNotKeepByItsSize) {
  for (int id = 0; id < kAsfObjectIdCount; ++id) {
    if (id == 6 || id == 7 || id == 8 || id == 14 || id == 15 || id == 18) continue;
    const Bytes object = Object(static_cast<AsfObjectId>(id), "skipped");
    OpenedSession session(File({object, AudioStream(1)}), "4");
    EXPECT_EQ(1u, session.parser->GetTrackCount()) << id;
    EXPECT_NE("", TakeLog("ID_OTHERS id = "));
    EXPECT_NE(Bytes::npos, session.source.TakeCalls().find("Read 80, Read 24, Skip 7, Read 24"));
  }
}

TEST(Header, SkipsNothingBelow24BytesAndNeverBackwards) {
  const unsigned long long half = 1ull << 63;
  const struct {
    unsigned long long size;
    const char* skip;
  } cases[] = {{0, "Skip 0"},
               {23, "Skip 0"},
               {24, "Skip 0"},
               {25, "Skip 1"},
               {half + 23, "Skip 9223372036854775807"},
               {half + 24, ""},
               {~0ull, ""}};
  for (const auto& [size, skip] : cases) {
    ParserSession session(File({Bytes(16, 'u') + Le(size, 8)}), "4");
    EXPECT_EQ(*skip != '\0' ? 0 : kParserMalformed, session.Open()) << size;
    const std::string calls = session.source.TakeCalls();
    EXPECT_EQ(*skip != '\0', calls.find("Skip") != calls.npos);
    EXPECT_NE(calls.npos, calls.find(skip));
    EXPECT_EQ("2 ID_OTHERS id = 75757575 7575 7575 7575757575757575, size = " +
                  std::to_string(size) + "\n",
              TakeLog("ID_OTHERS"));
  }
}

TEST(Header, EndsWithItsCountOrWithTheBytes) {
  // The count, the bytes of the file that are there, the tracks, and whether a
  // stream was dropped: one of zeros is none.
  const unsigned cases[][4] = {{0, 999, 0, 0}, {2, 999, 1, 0}, {3, 999, 2, 0}, {90, 359, 2, 0},
                               {3, 230, 1, 0}, {3, 253, 1, 0}, {3, 254, 1, 1}};
  for (const auto& [count, bytes, tracks, dropped] : cases) {
    AsfFile file = AvFile();
    file.headerCount = count;
    OpenedSession session(file.Build().substr(0, bytes));
    EXPECT_EQ(tracks, session.parser->GetTrackCount()) << count << " " << bytes;
    EXPECT_EQ(dropped != 0, !TakeLog("not support").empty());
  }
}

TEST(Header, RefusesContentEncryptionAlone) {
  const Bytes encrypted = Object(ID_CONTENT_ENCRYPTION_OBJECT, "key");
  ParserSession session(File({AudioStream(1), encrypted, AudioStream(2)}), "5");
  EXPECT_EQ(kParserUnsupported, session.Open());
  EXPECT_TRUE(EndsWith(
      TakeLog(), "2 ID_CONTENT_ENCRYPTION_OBJECT size = 27\n6 Microsoft WMDRM. not support.\n"));
  EXPECT_TRUE(EndsWith(session.source.TakeCalls(), "Read 54, Read 18, Read 24"));
  EXPECT_EQ(1u, session.parser->GetTrackCount());
  EXPECT_EQ(nullptr, session.parser->GetTrackInfo(0));  // no record was allocated
  EXPECT_EQ("6 [ASFParser] Non A/V Track\n", TakeLog());
}

TEST(Header, ChecksEverySizeBeforeItAllocates) {
  const unsigned limit = 0x100000;
  for (const unsigned size : {0u, limit, limit + 1, ~0u}) {
    for (const Bytes& object :
         {Stream(ID_AUDIO_MEDIA, 1, "", size),
          Stream(ID_AUDIO_MEDIA, 1, AudioFormat(1), {}, "", size), HeaderExtension("", size)}) {
      ParserSession session(File({object}));
      EXPECT_EQ(size > limit ? kParserOutOfRange : 0, session.Open());
      const std::string log = TakeLog("alloc.");
      EXPECT_EQ(size > limit, log.find("trouble") != log.npos);
      EXPECT_EQ(size > limit ? "6" : "", log.substr(0, 1));
    }
  }
}

TEST(Header, BoundsAllBuffersTogether) {
  std::vector<Bytes> header(17, Stream(ID_AUDIO_MEDIA, 1, Bytes(0x100000, 't')));
  for (const char* last : {"", "e"}) {
    header.back() = Stream(ID_VIDEO_MEDIA, 2, "", {}, last);
    ParserSession session(File(header));
    EXPECT_EQ(*last == '\0' ? 0 : kParserOutOfRange, session.Open());
    EXPECT_EQ(*last == '\0', TakeLog("trouble").empty());
  }
}

TEST(Header, ReadsEveryTypeOfExtendedValueInItsOwnWidth) {
  const struct {
    int type;
    unsigned declared;
    int width;
    const char* message;
  } cases[] = {{0, 5, 5, "string length: 5"},
               {1, 5, 5, "Byte or Binary length: 5"},
               {2, 2, 4, "DWord or Bool length: 2"},
               {3, 2, 4, "DWord or Bool length: 2"},
               {4, 1, 8, "QWord length: 1"},
               {5, 4, 2, "Word length: 4"},
               {6, 3, 3, "this data type is not allowed, type: 6 length: 3"},
               {0xFFFF, 0, 0, "this data type is not allowed, type: 65535 length: 0"}};
  for (const auto& [type, declared, width, message] : cases) {
    // The next descriptor is found only behind exactly that many bytes.
    const Bytes first = Descriptor("", type, Le(0x1234, width), declared);
    const Bytes second = Descriptor(Utf16("WM/Year"), 3, Le(199, 4));
    OpenedSession session(File({ExtendedContent({first, second}), AudioStream(1)}), "5");
    const std::string log = "2 [ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]";
    EXPECT_EQ(log + message + "\n" + log + "DWord or Bool length: 4\n", TakeLog("OBJECT]"));
    EXPECT_EQ(199, session.parser->GetMetaInfo()->descriptors[7].value[0]);
    EXPECT_EQ(1u, session.parser->GetTrackCount());
  }
}

TEST(Header, StopsAValueAtTheEndOfItsObject) {
  for (const unsigned excess : {0u, 1u, 100u}) {
    const Bytes genre = Descriptor(Utf16("WM/Genre"), 0, "value", 5 + excess);
    OpenedSession session(File({ExtendedContent({genre}, excess == 0 ? 1 : 3), AudioStream(1)}));
    EXPECT_EQ(1u, session.parser->GetTrackCount());
    EXPECT_EQ(excess == 0 ? 5u : 0u, session.parser->GetMetaInfo()->descriptors[5].length + 0);
    // The object starts at 134 and is 24 + 2 + 2 + 18 + 4 + 5 bytes long.
    const std::string line = "6 ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT exceed end pos = ";
    EXPECT_EQ(excess == 0 ? "" : line + std::to_string(188 + excess) + "\n", TakeLog());
    const std::string calls = session.source.TakeCalls();
    EXPECT_EQ(excess != 0, calls.find("Read 2, GetPosition, SeekTo 189, Read 24") != calls.npos);
  }
}

TEST(Header, RefusesAnExtendedDescriptionThatEndsBeforeItBegins) {
  OpenedSession bare(File({ExtendedContent({}, {}, 24)}));
  for (const unsigned long long size : {0ull, 23ull, ~0ull}) {
    ParserSession session(File({ExtendedContent({}, {}, size)}), "4");
    EXPECT_EQ(kParserMalformed, session.Open()) << size;
    EXPECT_TRUE(EndsWith(session.source.TakeCalls(), "Read 24, GetPosition"));
    EXPECT_EQ("", TakeLog("end pos"));
  }
}

TEST(Header, ReplacesWhatComesTwice) {
  const auto year = [](int value) { return Descriptor(Utf16("WM/Year"), 3, Le(value, 4)); };
  OpenedSession twice(
      File({ContentDescription({Utf16("old"), "", "", "", ""}),
            ContentDescription({Utf16("new"), "", "", "", ""}), ExtendedContent({year(1)}),
            ExtendedContent({year(2)}), HeaderExtension(Object(ID_PADDING_OBJECT, "")),
            HeaderExtension(Metadata({Record(Utf16("WM/GenreID"), 3, Le(7, 4))}))}));
  EXPECT_EQ("5 m_objContentDescription is already existed\n", TakeLog());
  const meta_descriptor* tags = twice.parser->GetMetaInfo()->descriptors;
  const unsigned char* title;
  std::memcpy(&title, tags[0].value, sizeof(title));
  EXPECT_EQ('n', *title);
  EXPECT_EQ(2, tags[7].value[0]);
  EXPECT_EQ(7, tags[6].value[0]);
}

}  // namespace
