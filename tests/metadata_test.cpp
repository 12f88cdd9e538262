// The header extension's walk, and where each tag comes from.
#include "ParserSession.h"

namespace {

Bytes Library(const std::vector<Bytes>& records, Lie32 count = {}, Lie64 size = {}) {
  return Metadata(records, ID_METADATA_LIBRARY_OBJECT, count, size);
}

// The status of the walk over `data`: a file that is refused at the object
// behind its extension has that walk still before it.
int Walk(ParserSession* session) {
  EXPECT_EQ(kParserUnsupported, session->Open());
  TakeLog();
  return session->parser->ParseHeaderExtensionObjects();
}
Bytes Unopenable(const std::vector<Bytes>& header) {
  AsfFile file;
  file.header = header;
  file.header.push_back(Object(ID_CONTENT_ENCRYPTION_OBJECT, ""));
  return file.Build();
}

TEST(HeaderExtension, WalksItsObjects) {
  const Bytes padding = Object(ID_PADDING_OBJECT, "1234");
  const Bytes record = Record(Utf16("n"), 3, Le(1, 4)), named = Record(Utf16("n"), 0, "");
  const struct {
    const char* what;
    Bytes data;
    int status;
    Lines errors;
  } cases[] = {
      {"nothing", "", 0, {}},
      {"unknown objects", padding + Bytes(16, 'u') + Le(24 + 5, 8) + "12345", 0, {}},
      {"the last one runs past the end", padding + Object(ID_PADDING_OBJECT, "", 1000), 0, {}},
      {"an end that wraps", padding + Object(ID_PADDING_OBJECT, "", ~0ull), 0, {}},
      {"a bare header", Object(ID_PADDING_OBJECT, ""), kParserMalformed, {}},
      {"a header and a byte", Object(ID_PADDING_OBJECT, "1"), 0, {}},
      {"half a header", padding + Bytes(23, 'u'), kParserMalformed, {}},
      {"both kinds", Metadata({record, record}) + padding + Library({record}), 0, {}},
      {"no records", Metadata({}), kParserUnsupported, {}},
      {"no records in the library", Library({}), kParserUnsupported, {}},
      {"two of a kind", Metadata({record}) + Metadata({record}), kParserInternal, {}},
      {"two libraries", Library({record}) + Library({record}), kParserInternal, {}},
      {"no room for the count", Object(ID_METADATA_OBJECT, "", 26), kParserUnsupported, {}},
      {"no room for a record", Metadata({record, Bytes(11, 'r')}), kParserUnsupported, {}},
      {"a name that ends the data", Metadata({named}), 0, {}},
      {"a name past the end",
       Metadata({Record(Utf16("n"), 0, "", 5)}),
       kParserUnsupported,
       {"6 [ParseHeaderExtensionObjects] abnormal NameLen 5(line 2132)"}},
      {"a value past the end",
       Metadata({record, Record("", 0, "v", {}, 2)}),
       kParserUnsupported,
       {"6 [ParseHeaderExtensionObjects] abnormal DataLen 2(line 2152)"}},
      {"a value far past the end",
       Metadata({Record("", 0, "v", {}, ~0u)}),
       kParserUnsupported,
       {"6 [ParseHeaderExtensionObjects] abnormal DataLen -1(line 2152)"}},
      {"an odd name", Metadata({Record("odd", 0, "v")}), 0, {}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    ParserSession session(Unopenable({HeaderExtension(test.data)}));
    EXPECT_EQ(test.status, Walk(&session));
    EXPECT_EQ(test.errors, TakeLog());
  }
  ParserSession without(Unopenable({}));
  EXPECT_EQ(kParserMalformed, Walk(&without));
}

TEST(HeaderExtension, PrintsEveryMessage) {
  // Whatever the object's size says, the walk goes on behind its last record.
  ParserSession session(Unopenable({HeaderExtension(
                            Metadata({Record(Utf16("n"), 0, "val")}, ID_METADATA_OBJECT, {}, 999) +
                            Library({Record("", 0, "")}))}),
                        "4");
  EXPECT_EQ(0, Walk(&session));
  EXPECT_EQ((Lines{"2 ParseHeaderExtensionObjects", "2 ParseHeaderExtensionObjects HEDataSize 83",
                   "2 ParseHeaderExtensionObjects tmpSize 24",
                   "2 ParseHeaderExtensionObjects while offset 24",
                   "2 ParseHeaderExtensionObjects objectType 28",
                   "2 ParseHeaderExtensionObjects ID_METADATA_OBJECT",
                   "2 ParseHeaderExtensionObjects nDesRecords [1]",
                   "2 ParseHeaderExtensionObjects attribute Name length [4]",
                   "2 ParseHeaderExtensionObjects attribute []",
                   "2 ParseHeaderExtensionObjects attribute Data length [3]",
                   "2 ParseHeaderExtensionObjects tmpSize 24",
                   "2 ParseHeaderExtensionObjects while offset 69",
                   "2 ParseHeaderExtensionObjects objectType 29",
                   "2 ParseHeaderExtensionObjects ID_METADATA_LIBRARY_OBJECT",
                   "2 ParseHeaderExtensionObjects nDesRecords [1]",
                   "2 ParseHeaderExtensionObjects attribute Name length [0]",
                   "2 ParseHeaderExtensionObjects attribute []",
                   "2 ParseHeaderExtensionObjects attribute Data length [0]"}),
            TakeLog());
}

// A tag as "TYPE/LENGTH/VALUE": a text's bytes, any other value in decimal.
std::string Text(const meta_descriptor& tag) {
  const std::string front = std::to_string(tag.type) + "/" + std::to_string(tag.length) + "/";
  unsigned long long value;
  std::memcpy(&value, tag.value, sizeof(value));
  if (tag.type > 1 || tag.length == 0) return front + std::to_string(value);
  return front + std::string(reinterpret_cast<const char*>(value), tag.length);
}
std::string Tag(ParserSession* session, unsigned key) {
  meta_descriptor tag{};
  tag.key = key;
  const int found = session->parser->SetMetaData(&tag);
  EXPECT_EQ(+tag.length, static_cast<unsigned>(found));
  return Text(tag);
}

TEST(Tags, ComeFromTheFirstObjectThatHasThem) {
  const Bytes title = Utf16("WM/TrackTitle"), year = Utf16("WM/Year");
  const Bytes cd = ContentDescription({"cd-title", "cd-author", "", "", ""});
  const auto ecd = [](const Bytes& name, int type, const Bytes& value) {
    return ExtendedContent({Descriptor(Utf16("x"), 0, "x"), Descriptor(name, type, value),
                            Descriptor(name, 0, "a second one")});
  };
  const auto metadata = [](const Bytes& name, int type, const Bytes& value) {
    return HeaderExtension(Metadata({Record(Utf16("x"), 0, "x"), Record(name, type, value)}));
  };
  const auto library = [](const Bytes& name, int type, const Bytes& value) {
    return HeaderExtension(Library({Record(name, type, value)}));
  };
  const auto both = [](const Bytes& name, const Bytes& first, const Bytes& second) {
    return HeaderExtension(Metadata({Record(name, 0, first)}) + Library({Record(name, 0, second)}));
  };
  const struct {
    std::vector<Bytes> header;
    unsigned key;
    const char* tag;
  } cases[] = {
      {{}, 0, "0/0/0"},
      {{ecd(title, 0, "ecd"), cd}, 0, "0/3/ecd"},
      {{ecd(title, 0, ""), both(title, "meta", "lib"), cd}, 0, "0/4/meta"},
      {{ecd(title, 0, ""), library(title, 0, "lib"), cd}, 0, "0/3/lib"},
      {{ecd(title, 0, ""), cd}, 0, "0/8/cd-title"},
      {{metadata(title, 0, ""), cd}, 0, "0/8/cd-title"},
      {{both(title, "", "lib"), cd}, 0, "0/8/cd-title"},  // an empty value ends the search
      {{metadata(title, 7, "guid"), cd}, 0, "7/4/0"},
      {{ContentDescription({"", "author", "", "", ""})}, 0, "0/0/0"},
      {{cd}, 1, "0/9/cd-author"},
      {{ecd(Utf16("UNDEF"), 0, "ecd")}, 1, "0/3/ecd"},
      {{ecd(Utf16("UNDEF"), 0, "ecd")}, 77, "0/3/ecd"},
      // Every type from either kind of object; BOOL differs between them.
      {{ecd(year, 1, "bytes")}, 16, "1/5/bytes"},
      {{ecd(year, 2, Le(0x10000, 4))}, 16, "2/4/1"},
      {{ecd(year, 2, Le(0, 4))}, 16, "2/4/0"},
      {{ecd(year, 3, Le(0x87654321, 4))}, 16, "3/4/2271560481"},
      {{ecd(year, 4, Le(1ull << 40, 8))}, 16, "4/8/1099511627776"},
      {{ecd(year, 5, Le(0x8001, 2))}, 16, "5/2/32769"},
      {{ecd(year, 9, "odd")}, 16, "9/3/0"},
      {{metadata(year, 1, "bytes")}, 16, "1/5/bytes"},
      {{metadata(year, 2, Le(0x10000, 4))}, 16, "2/4/65536"},
      {{metadata(year, 3, Le(0x87654321, 4))}, 16, "3/4/2271560481"},
      {{metadata(year, 4, Le(1ull << 40, 8))}, 16, "4/8/1099511627776"},
      {{metadata(year, 5, Le(0x1238001, 4))}, 16, "5/4/32769"},
      {{metadata(year, 4, "\x05")}, 16, "4/1/5"},  // what is missing is 0
      {{library(Utf16("WM/Composer"), 0, "c")}, 17, "0/1/c"},
      {{library(Utf16("WM/AlbumTitle"), 0, "t")}, 14, "0/1/t"},
      {{library(Utf16("WM/AlbumArtist"), 0, "a")}, 13, "0/1/a"},
      {{library(Utf16("WM/TrackNumber"), 0, "n")}, 18, "0/1/n"},
      {{library(Utf16("WM/Picture"), 1, "p")}, 19, "1/1/p"},
  };
  for (const auto& test : cases) {
    AsfFile file;
    file.header = test.header;
    OpenSession session(file);
    EXPECT_EQ(test.tag, Tag(&session, test.key)) << &test - cases;
  }
}

TEST(Tags, MatchNamesAsTheyAreStored) {
  Bytes accented = Utf16("WM/Genre");
  accented.insert(6, Le(0xE9, 2));  // swallows the character behind it: "WM/" é "enre"
  const Bytes junk = Utf16("WM/Genre") + Utf16("junk");
  const struct {
    const char* what;
    Bytes name;
    const char *genre, *genreId;
  } cases[] = {
      {"terminated", Utf16("WM/Genre"), "0/1/v", "0/0/0"},
      {"longer", Utf16("WM/GenreID"), "0/0/0", "0/1/v"},
      {"without terminator", Utf16("WM/Genre", false), "0/1/v", "0/1/v"},
      {"a beginning", Utf16("WM/G", false), "0/1/v", "0/1/v"},
      {"one character", Utf16("W", false), "0/1/v", "0/1/v"},
      {"an odd byte", Utf16("WM/Genre", false) + "x", "0/1/v", "0/1/v"},
      {"text behind the terminator", junk, "0/1/v", "0/0/0"},
      {"another case", Utf16("wm/genre"), "0/0/0", "0/0/0"},
      {"nothing", "", "0/0/0", "0/0/0"},
      {"a byte", "W", "0/0/0", "0/0/0"},
      {"a terminator alone", Utf16(""), "0/0/0", "0/0/0"},
      {"an accent", accented, "0/0/0", "0/0/0"},
      {"far more than fits", Utf16(Bytes(30000, 'W').c_str()), "0/0/0", "0/0/0"},
      {"wide characters", Bytes(60000, '\xEE'), "0/0/0", "0/0/0"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    for (const Bytes& object : {ExtendedContent({Descriptor(test.name, 0, "v")}),
                                HeaderExtension(Metadata({Record(test.name, 0, "v")}))}) {
      AsfFile file;
      file.header = {object};
      OpenSession session(file);
      EXPECT_EQ(test.genre, Tag(&session, META_GENRE));
      EXPECT_EQ(test.genreId, Tag(&session, META_GENRE_ID));
    }
  }
}

TEST(Tags, SayWhereTheyLooked) {
  const Bytes other = Record(Utf16("x"), 0, "x"), cd = ContentDescription({"t", "a", "", "", ""});
  const struct {
    std::vector<Bytes> header;
    unsigned key;
    Lines expected;  // which objects had nothing
  } cases[] = {
      {{}, 13, {}},
      {{ExtendedContent({})}, 13, {"2 ECD"}},
      {{HeaderExtension(Metadata({other}))}, 13, {"2 MetaObject", "2 MetaLibraryObject"}},
      {{HeaderExtension(Library({other}))}, 13, {"2 MetaObject", "2 MetaLibraryObject"}},
      {{HeaderExtension(Metadata({Record(Utf16("WM/AlbumArtist"), 0, "")})), cd},
       13,
       {"2 ContentDescription"}},
      {{cd}, 0, {}},
      {{cd}, 1, {"2 ContentDescription"}},
      {{cd}, 14, {"2 ContentDescription"}},
      {{ExtendedContent({Descriptor(Utf16("WM/AlbumArtist"), 0, "")}), cd},
       13,
       {"2 ContentDescription"}},
  };
  for (const auto& test : cases) {
    AsfFile file;
    file.header = test.header;
    OpenSession session(file, "4");
    meta_descriptor tag{};
    tag.key = test.key;
    session.parser->SetMetaData(&tag);
    Lines expected;
    for (const std::string& line : test.expected)
      expected.push_back(line + " has no matched meta data");
    EXPECT_EQ(expected, TakeLog("has no matched")) << &test - cases;
    session.parser->SetMetaData(&tag);
    EXPECT_EQ("2 [SetMetaData] Start", TakeLog().front());
  }
}

TEST(Tags, AreNineInFixedOrderAndBuiltAnew) {
  AsfFile file;
  file.header = {ContentDescription({Utf16("T"), "", "", "", ""})};
  OpenSession session(file, "4");
  EXPECT_EQ(0, session.parser->SetASFMetaData());
  EXPECT_EQ(Lines{"2 [SetASFMetaData] found MetaData, key 0"}, TakeLog("found MetaData"));
  const meta_info* info = session.parser->GetMetaInfo();
  ASSERT_EQ(9, +info->count);
  const unsigned keys[] = {0, 14, 13, 17, 18, 8, 9, 16, 19};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(keys[i], +info->descriptors[i].key);
  EXPECT_EQ("0/4/" + Utf16("T"), Text(info->descriptors[0]));
  EXPECT_EQ("0/0/0", Text(info->descriptors[8]));
  const char* words[] = {"TITLE", "ALBUM", "ARTIST"};
  for (int i = 0; i < 3; ++i) {
    meta_descriptor tag{};
    tag.key = keys[i];
    session.parser->SetMetaData(&tag);
    EXPECT_EQ(Lines{std::string("2 SetMetaData META_") + words[i]}, TakeLog("META_"));
  }
  meta_descriptor unknown{};
  unknown.key = 2;
  EXPECT_EQ(0, session.parser->SetMetaData(&unknown));
  EXPECT_EQ(Lines{"2 SetMetaData UnHandled META"}, TakeLog("META"));
}

TEST(UnicodeToUtf8, DropsTheUnitBehindATwoByteCharacter) {
  const struct {
    std::vector<unsigned short> units;
    int count;
    Bytes expected;
  } cases[] = {
      {{'a', 0x7F, 0}, 3, Hex("61 7F 00")},
      {{'a', 'b'}, 0, ""},
      {{'a', 'b'}, -1, ""},
      {{0x80, 'x', 'y', 'z'}, 2, Hex("C2 80 79")},
      {{0x7FF, 'x', 0x7FF, 'x'}, 2, Hex("DF BF DF BF")},
      {{0x800, 'x', 0xFFFF}, 3, Hex("E0 A0 80 78 EF BF BF")},
      {{0xD83D, 0xDE00}, 2, Hex("ED A0 BD ED B8 80")},
  };
  for (const auto& test : cases) {
    std::vector<unsigned char> out(3 * test.units.size() + 1, '!');
    EXPECT_EQ(0, unicodeToUtf_8(out.data(), test.units.data(), test.count));
    EXPECT_EQ(test.expected, Bytes(out.begin(), out.begin() + test.expected.size()));
    EXPECT_EQ('!', out[test.expected.size()]);
  }
}

}  // namespace
