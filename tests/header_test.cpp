// The header object: what is kept of its sub-objects, what is skipped, refused
// or cut short.
#include <utility>

#include "ParserSession.h"

namespace {

Bytes File(const std::vector<Bytes>& header) {
  AsfFile file;
  file.header = header;
  return file.Build();
}

Bytes UnknownObject(unsigned long long size) { return Bytes(16, 'u') + Le(size, 8); }

TEST(Header, SkipsWhatItDoesNotKeepByItsSize) {
  const Bytes audio = Stream(ID_AUDIO_MEDIA, 1, AudioFormat(1));
  for (int id = 0; id < kAsfObjectIdCount; ++id) {
    if (id == 6 || id == 7 || id == 8 || id == 14 || id == 15 || id == 18) continue;
    ParserSession session(File({Object(static_cast<AsfObjectId>(id), "skipped"), audio}), "4");
    EXPECT_EQ(0, session.Open());
    EXPECT_EQ(1u, session.parser->GetTrackCount()) << id;
    EXPECT_EQ(1u, TakeLog("ID_OTHERS id = ").size());
    EXPECT_NE(Bytes::npos, session.source.TakeCalls().find("Read 80, Read 24, Skip 7, Read 24"));
  }
}

TEST(Header, SkipsNothingBelow24BytesAndNeverBackwards) {
  const unsigned long long half = 1ull << 63;
  const struct {
    unsigned long long size;
    int status;
    const char* skip;  // null: the header ends
  } cases[] = {{0, 0, "Skip 0"},
               {23, 0, "Skip 0"},
               {24, 0, "Skip 0"},
               {25, 0, "Skip 1"},
               {half + 23, 0, "Skip 9223372036854775807"},
               {half + 24, kParserMalformed, nullptr},
               {~0ull, kParserMalformed, nullptr}};
  for (const auto& test : cases) {
    ParserSession session(File({UnknownObject(test.size)}), "4");
    EXPECT_EQ(test.status, session.Open()) << test.size;
    const std::string calls = session.source.TakeCalls();
    EXPECT_EQ(test.skip != nullptr, calls.find("Skip") != calls.npos);
    EXPECT_NE(calls.npos, calls.find(test.skip != nullptr ? test.skip : "Read 24"));
    EXPECT_EQ(Lines{"2 ID_OTHERS id = 75757575 7575 7575 7575757575757575, size = " +
                    std::to_string(test.size)},
              TakeLog("ID_OTHERS"));
  }
}

TEST(Header, EndsWithItsCountOrWithTheBytes) {
  const Bytes audio = Stream(ID_AUDIO_MEDIA, 1, AudioFormat(1));
  const Bytes video = Stream(ID_VIDEO_MEDIA, 2, VideoFormat("WMV2"));
  AsfFile file;
  file.header = {audio, video};
  const struct {
    unsigned count;
    std::size_t bytes;  // of the file that are there
    unsigned tracks, dropped;
  } cases[] = {{0, 999, 0, 0}, {2, 999, 1, 0}, {3, 999, 2, 0}, {90, 359, 2, 0},
               {3, 230, 1, 0}, {3, 253, 1, 0}, {3, 254, 1, 1}};  // a stream of zeros is none
  for (const auto& test : cases) {
    file.headerCount = test.count;
    ParserSession session(file.Build().substr(0, test.bytes));
    EXPECT_EQ(0, session.Open());
    EXPECT_EQ(test.tracks, session.parser->GetTrackCount()) << test.count << " " << test.bytes;
    EXPECT_EQ(test.dropped, TakeLog("not support").size());
  }
}

TEST(Header, RefusesContentEncryptionAlone) {
  const Bytes audio = Stream(ID_AUDIO_MEDIA, 1, AudioFormat(1));
  ParserSession session(File({audio, Object(ID_CONTENT_ENCRYPTION_OBJECT, "key"), audio}), "5");
  EXPECT_EQ(kParserUnsupported, session.Open());
  const Lines log = TakeLog();
  ASSERT_GE(log.size(), 2u);
  EXPECT_EQ((Lines{"2 ID_CONTENT_ENCRYPTION_OBJECT size = 27", "6 Microsoft WMDRM. not support."}),
            Lines(log.end() - 2, log.end()));
  const std::string calls = session.source.TakeCalls();
  EXPECT_EQ("Read 54, Read 18, Read 24", calls.substr(calls.size() - 25));
  EXPECT_EQ(1u, session.parser->GetTrackCount());
  EXPECT_EQ(nullptr, session.parser->GetTrackInfo(0));  // no record was allocated
  EXPECT_EQ(Lines{"6 [ASFParser] Non A/V Track"}, TakeLog());
}

TEST(Header, ChecksEverySizeBeforeItAllocates) {
  const unsigned limit = 0x100000;
  for (const unsigned size : {0u, limit, limit + 1, ~0u}) {
    const Bytes objects[] = {
        Stream(ID_AUDIO_MEDIA, 1, "", size),
        Stream(ID_AUDIO_MEDIA, 1, AudioFormat(1), {}, "", size),
        HeaderExtension("", size),
    };
    for (const Bytes& object : objects) {
      ParserSession session(File({object}));
      EXPECT_EQ(size > limit ? kParserOutOfRange : 0, session.Open());
      const Lines log = TakeLog("alloc.");
      EXPECT_EQ(size > limit ? 1u : 0u, log.size());
      for (const std::string& line : log) {
        EXPECT_EQ('6', line[0]);
        EXPECT_NE(line.npos, line.find("trouble", line.find("alloc.")));
      }
    }
  }
}

TEST(Header, BoundsAllBuffersTogether) {
  const Bytes large = Stream(ID_AUDIO_MEDIA, 1, Bytes(0x100000, 't'));
  std::vector<Bytes> header(16, large);
  header.push_back(Stream(ID_VIDEO_MEDIA, 2, ""));
  ParserSession full(File(header));
  EXPECT_EQ(0, full.Open());
  header.back() = Stream(ID_VIDEO_MEDIA, 2, "", {}, "e");
  ParserSession over(File(header));
  EXPECT_EQ(kParserOutOfRange, over.Open());
  EXPECT_EQ(1u, TakeLog("trouble").size());
}

TEST(Header, ReadsEveryTypeOfExtendedValueInItsOwnWidth) {
  const struct {
    int type;
    unsigned declared;
    int width;  // of what is read
    const char* message;
  } cases[] = {
      {0, 5, 5, "string length: 5"},
      {1, 5, 5, "Byte or Binary length: 5"},
      {2, 2, 4, "DWord or Bool length: 2"},
      {3, 2, 4, "DWord or Bool length: 2"},
      {4, 1, 8, "QWord length: 1"},
      {5, 4, 2, "Word length: 4"},
      {6, 3, 3, "this data type is not allowed, type: 6 length: 3"},
      {0xFFFF, 0, 0, "this data type is not allowed, type: 65535 length: 0"},
  };
  for (const auto& test : cases) {
    // The next descriptor is found only behind exactly that many bytes.
    const Bytes value = Le(0x1234, test.width);
    ParserSession session(File({ExtendedContent({Descriptor("", test.type, value, test.declared),
                                                 Descriptor(Utf16("WM/Year"), 3, Le(1999, 4))}),
                                Stream(ID_AUDIO_MEDIA, 1, AudioFormat(1))}),
                          "5");
    EXPECT_EQ(0, session.Open());
    const Lines log = TakeLog("[ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]");
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(std::string("2 [ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT]") + test.message, log[0]);
    EXPECT_EQ(1999u, session.parser->GetMetaInfo()->descriptors[7].value[0] +
                         256u * session.parser->GetMetaInfo()->descriptors[7].value[1]);
    EXPECT_EQ(1u, session.parser->GetTrackCount());
  }
}

TEST(Header, StopsAValueAtTheEndOfItsObject) {
  for (const unsigned excess : {0u, 1u, 100u}) {
    const Bytes genre = Descriptor(Utf16("WM/Genre"), 0, "value", 5 + excess);
    ParserSession session(File({ExtendedContent({genre}, excess == 0 ? 1 : 3),
                                Stream(ID_AUDIO_MEDIA, 1, AudioFormat(1))}),
                          "5");
    EXPECT_EQ(0, session.Open());
    EXPECT_EQ(1u, session.parser->GetTrackCount());
    EXPECT_EQ(excess == 0 ? 5u : 0u, session.parser->GetMetaInfo()->descriptors[5].length + 0);
    // The object starts at 134 and is 24 + 2 + 2 + 18 + 4 + 5 bytes long.
    const std::string line = "6 ID_EXTENDED_CONTENT_DESCRIPTION_OBJECT exceed end pos = ";
    EXPECT_EQ(excess == 0 ? Lines{} : Lines{line + std::to_string(188 + excess)},
              TakeLog("exceed"));
    const bool seeks = session.source.TakeCalls().find(
                           "Read 2, GetPosition, SeekTo 189, Read 24") != std::string::npos;
    EXPECT_EQ(excess != 0, seeks);
  }
}

TEST(Header, RefusesAnExtendedDescriptionThatEndsBeforeItBegins) {
  for (const unsigned long long size : {0ull, 23ull, ~0ull}) {
    ParserSession session(File({ExtendedContent({}, {}, size)}), "4");
    EXPECT_EQ(kParserMalformed, session.Open()) << size;
    const std::string calls = session.source.TakeCalls();
    EXPECT_EQ("Read 24, GetPosition", calls.substr(calls.size() - 20));
    EXPECT_EQ(0u, TakeLog("end pos").size());
  }
}

TEST(Header, ReplacesWhatComesTwice) {
  ParserSession session(
      File({ContentDescription({Utf16("old"), "", "", "", ""}),
            ContentDescription({Utf16("new"), "", "", "", ""}),
            ExtendedContent({Descriptor(Utf16("WM/Year"), 3, Le(1, 4))}),
            ExtendedContent({Descriptor(Utf16("WM/Year"), 3, Le(2, 4))}),
            HeaderExtension(Object(ID_PADDING_OBJECT, "")),
            HeaderExtension(Metadata({Record(Utf16("WM/GenreID"), 3, Le(7, 4))}))}));
  EXPECT_EQ(0, session.Open());
  EXPECT_EQ(Lines{"5 m_objContentDescription is already existed"}, TakeLog());
  const meta_descriptor* tags = session.parser->GetMetaInfo()->descriptors;
  const unsigned char* title;
  std::memcpy(&title, tags[0].value, sizeof(title));
  EXPECT_EQ('n', *title);
  EXPECT_EQ(2, tags[7].value[0]);
  EXPECT_EQ(7, tags[6].value[0]);
}

}  // namespace
