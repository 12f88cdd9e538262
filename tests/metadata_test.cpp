// The header extension's walk, and where each tag comes from.
#include <malloc.h>

#include "ParserSession.h"

namespace {

const Bytes kArtist = Utf16("WM/AlbumArtist"), kGenre = Utf16("WM/Genre");
const Bytes kTitle = Utf16("WM/TrackTitle"), kYear = Utf16("WM/Year");

Bytes Library(const std::vector<Bytes>& records) {
  return Metadata(records, ID_METADATA_LIBRARY_OBJECT);
}

// The status of the walk over the extension. The file is refused at the object
// behind it, so that its own walk has not been.
int Walk(const std::vector<Bytes>& header) {
  AsfFile file(header);
  file.header.push_back(Object(ID_CONTENT_ENCRYPTION_OBJECT, ""));
  ParserSession session(file.Build());
  EXPECT_EQ(kParserUnsupported, session.Open());
  TakeLog();
  return session.parser->ParseHeaderExtensionObjects();
}

TEST(HeaderExtension, WalksItsObjects) {
  const Bytes padding = Object(ID_PADDING_OBJECT, "1234"), record = Record(Utf16("n"), 3, Le(1, 4));
  const Bytes unknown = Bytes(16, 'u') + Le(29, 8) + "12345";
  const auto sized = [](unsigned long long size) { return Object(ID_PADDING_OBJECT, "", size); };
  const struct {
    const char* what;
    Bytes data;
    int status;
    const char* error = "";
  } cases[] = {
      {"nothing", "", 0},
      {"unknown objects", padding + unknown, 0},
      {"the last one runs past the end", padding + sized(1000), 0},
      {"an end that wraps", padding + sized(~0ull), 0},
      {"a bare header", sized(24), kParserMalformed},
      {"a header and a byte", Object(ID_PADDING_OBJECT, "1"), 0},
      {"half a header", padding + Bytes(23, 'u'), kParserMalformed},
      {"both kinds", Metadata({record, record}) + padding + Library({record}), 0},
      {"no records", Metadata({}), kParserUnsupported},
      {"no records in the library", Library({}), kParserUnsupported},
      {"two of a kind", Metadata({record}) + Metadata({record}), kParserInternal},
      {"two libraries", Library({record}) + Library({record}), kParserInternal},
      {"no room for the count", Object(ID_METADATA_OBJECT, "", 26), kParserUnsupported},
      {"no room for a record", Metadata({record, Bytes(11, 'r')}), kParserUnsupported},
      {"a name that ends the data", Metadata({Record(Utf16("n"), 0, "")}), 0},
      {"an odd name", Metadata({Record("odd", 0, "v")}), 0},
      {"a name past the end", Metadata({Record("nnnn", 0, "", 5)}), kParserUnsupported,
       "6 [ParseHeaderExtensionObjects] abnormal NameLen 5(line 2132)\n"},
      {"a value past the end", Metadata({record, Record("", 0, "v", {}, 2)}), kParserUnsupported,
       "6 [ParseHeaderExtensionObjects] abnormal DataLen 2(line 2152)\n"},
      {"a value far past", Metadata({Record("", 0, "v", {}, ~0u)}), kParserUnsupported,
       "6 [ParseHeaderExtensionObjects] abnormal DataLen -1(line 2152)\n"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(test.status, Walk({HeaderExtension(test.data)})) << test.what;
    EXPECT_EQ(test.error, TakeLog());
  }
  EXPECT_EQ(kParserMalformed, Walk({}));
}

struct TagValue {
  unsigned type, length;
  std::string value;  // a text's bytes, any other value in decimal

  bool operator==(const TagValue& other) const {
    return type == other.type && length == other.length && value == other.value;
  }
};
const TagValue kNoTag = {kMetaString, 0, "0"};

std::ostream& operator<<(std::ostream& out, const TagValue& tag) {
  return out << tag.type << "/" << tag.length << "/" << tag.value;
}

TagValue Tag(ParserSession* session, unsigned key) {
  meta_descriptor tag{};
  tag.key = key;
  const int found = session->parser->SetMetaData(&tag);
  EXPECT_EQ(+tag.length, static_cast<unsigned>(found));
  unsigned long long value;
  std::memcpy(&value, tag.value, sizeof(value));
  if (tag.type > kMetaBytes || tag.length == 0) {
    return {tag.type, tag.length, std::to_string(value)};
  }
  return {tag.type, tag.length, std::string(reinterpret_cast<const char*>(value), tag.length)};
}

TEST(Tags, ComeFromTheFirstObjectThatHasThem) {
  const Bytes cd = ContentDescription({"cd-title", "cd-author", "", "", ""});
  const Bytes noTitle = ContentDescription({"", "author", "", "", ""}), undef = Utf16("UNDEF");
  const auto ecd = [](const Bytes& name, int type, const Bytes& value) {
    return ExtendedContent({Descriptor(Utf16("x"), 0, "x"), Descriptor(name, type, value),
                            Descriptor(name, 0, "a second one")});
  };
  const auto meta = [](const Bytes& name, int type, const Bytes& value) {
    return HeaderExtension(Metadata({Record(Utf16("x"), 0, "x"), Record(name, type, value)}));
  };
  const auto library = [](const char* name, const Bytes& value) {
    return HeaderExtension(Library({Record(Utf16(name), 0, value)}));
  };
  const auto both = [](const Bytes& first, const Bytes& second) {
    return HeaderExtension(Metadata({Record(kTitle, 0, first)}) +
                           Library({Record(kTitle, 0, second)}));
  };
  const struct {
    std::vector<Bytes> header;
    unsigned key;
    TagValue tag;
  } cases[] = {
      {{}, META_TITLE, kNoTag},
      {{ecd(kTitle, 0, "ecd"), cd}, META_TITLE, {kMetaString, 3, "ecd"}},
      {{ecd(kTitle, 0, ""), both("meta", "lib"), cd}, META_TITLE, {kMetaString, 4, "meta"}},
      {{ecd(kTitle, 0, ""), library("WM/TrackTitle", "lib"), cd},
       META_TITLE,
       {kMetaString, 3, "lib"}},
      {{ecd(kTitle, 0, ""), cd}, META_TITLE, {kMetaString, 8, "cd-title"}},
      {{both("", "lib"), cd},
       META_TITLE,
       {kMetaString, 8, "cd-title"}},  // an empty value ends the search
      {{meta(kTitle, 7, "guid"), cd}, META_TITLE, {7, 4, "0"}},
      {{noTitle}, META_TITLE, kNoTag},
      {{cd}, META_AUTHOR, {kMetaString, 9, "cd-author"}},
      {{ecd(undef, 0, "ecd"), cd}, META_AUTHOR, {kMetaString, 3, "ecd"}},
      {{ecd(undef, 0, "ecd")}, 77, {kMetaString, 3, "ecd"}},
      // Every type from either kind of object; BOOL differs between them.
      {{ecd(kYear, 1, "bytes")}, META_YEAR, {kMetaBytes, 5, "bytes"}},
      {{ecd(kYear, 2, Le(0x10000, 4))}, META_YEAR, {kMetaBool, 4, "1"}},
      {{ecd(kYear, 2, Le(0, 4))}, META_YEAR, {kMetaBool, 4, "0"}},
      {{ecd(kYear, 3, Le(0x87654321, 4))}, META_YEAR, {kMetaDword, 4, "2271560481"}},
      {{ecd(kYear, 4, Le(1ull << 40, 8))}, META_YEAR, {kMetaQword, 8, "1099511627776"}},
      {{ecd(kYear, 5, Le(0x8001, 2))}, META_YEAR, {kMetaWord, 2, "32769"}},
      {{ecd(kYear, 9, "odd")}, META_YEAR, {9, 3, "0"}},
      {{meta(kYear, 1, "bytes")}, META_YEAR, {kMetaBytes, 5, "bytes"}},
      {{meta(kYear, 2, Le(0x10000, 4))}, META_YEAR, {kMetaBool, 4, "65536"}},
      {{meta(kYear, 3, Le(0x187654321, 5))}, META_YEAR, {kMetaDword, 5, "2271560481"}},
      {{meta(kYear, 4, Le(1ull << 40, 8) + "x")}, META_YEAR, {kMetaQword, 9, "1099511627776"}},
      {{meta(kYear, 5, Le(0x1238001, 4))}, META_YEAR, {kMetaWord, 4, "32769"}},
      {{meta(kYear, 4, "\x05")}, META_YEAR, {kMetaQword, 1, "5"}},  // what is missing is 0
      {{library("WM/Composer", "c")}, META_COMPOSER, {kMetaString, 1, "c"}},
      {{library("WM/AlbumTitle", "t")}, META_ALBUM, {kMetaString, 1, "t"}},
      {{library("WM/AlbumArtist", "a")}, META_ARTIST, {kMetaString, 1, "a"}},
      {{library("WM/TrackNumber", "n")}, META_TRACK_NUM, {kMetaString, 1, "n"}},
      {{library("WM/Picture", "p")}, META_ALBUM_ART, {kMetaString, 1, "p"}},
  };
  for (const auto& [header, key, tag] : cases) {
    OpenSession session(AsfFile{header});
    EXPECT_EQ(tag, Tag(&session, key)) << tag;
  }
}

TEST(Tags, HaveTwoZeroBytesBehindTheirText) {
  mallopt(M_PERTURB, 1);  // so that memory isn't zero by chance
  const Bytes headers[] = {ContentDescription({"text", "", "", "", ""}),
                           ExtendedContent({Descriptor(kTitle, kMetaString, "text")}),
                           HeaderExtension(Metadata({Record(kTitle, kMetaString, "text")})),
                           HeaderExtension(Library({Record(kTitle, kMetaString, "text")}))};
  for (const Bytes& header : headers) {
    OpenSession session(AsfFile({header}));
    const unsigned char* text;
    std::memcpy(&text, session.parser->GetMetaInfo()->descriptors[0].value, sizeof(text));
    EXPECT_EQ(Bytes("text\0\0", 6), Bytes(text, text + 6));
  }
  mallopt(M_PERTURB, 0);
}

TEST(Tags, MatchNamesAsTheyAreStored) {
  Bytes accented = kGenre;
  accented.insert(6, Le(0xE9, 2));  // swallows the character behind it: "WM/" é "enre"
  const Bytes bare = Utf16("WM/Genre", false);
  const struct {
    Bytes name;
    bool isGenre, isGenreId;
  } cases[] = {
      {kGenre, true, false},
      {Utf16("WM/GenreID"), false, true},
      {bare, true, true},
      {Utf16("WM/G", false), true, true},
      {Utf16("W", false), true, true},
      {bare + "x", true, true},
      {kGenre + Utf16("junk"), true, false},
      {Utf16("wm/genre"), false, false},
      {"", false, false},
      {"W", false, false},
      {Utf16(""), false, false},
      {accented, false, false},
      {Utf16(Bytes(30000, 'W').c_str()), false, false},
      {Bytes(60000, '\xEE'), false, false},
  };
  const TagValue found = {kMetaString, 1, "v"};
  for (const auto& [name, isGenre, isGenreId] : cases) {
    for (const Bytes& object : {ExtendedContent({Descriptor(name, 0, "v")}),
                                HeaderExtension(Metadata({Record(name, 0, "v")}))}) {
      OpenSession session(AsfFile({object}));
      EXPECT_EQ(isGenre ? found : kNoTag, Tag(&session, META_GENRE)) << name.substr(0, 40);
      EXPECT_EQ(isGenreId ? found : kNoTag, Tag(&session, META_GENRE_ID)) << name.substr(0, 40);
    }
  }
}

TEST(Tags, SayWhereTheyLooked) {
  const Bytes cd = ContentDescription({"t", "a", "", "", ""});
  const Bytes emptyMeta = HeaderExtension(Metadata({Record(kArtist, 0, "")}));
  const Bytes emptyEcd = ExtendedContent({Descriptor(kArtist, 0, "")});
  const std::string end = " has no matched meta data\n";
  const struct {
    std::vector<Bytes> header;
    unsigned key;
    std::string log;
  } cases[] = {
      {{}, 13, ""},
      {{emptyMeta, cd}, 13, "2 ContentDescription" + end},
      {{emptyEcd, cd}, 13, "2 ContentDescription" + end},
      {{cd}, 0, ""},
      {{cd}, 1, "2 ContentDescription" + end},  // though it is found
  };
  for (const auto& [header, key, log] : cases) {
    OpenSession session(AsfFile{header}, "4");
    Tag(&session, key);
    EXPECT_EQ(log, TakeLog("has no matched")) << key;
  }
  OpenSession session(AsfFile(), "4");
  Tag(&session, 2);
  EXPECT_EQ("2 [SetMetaData] Start\n2 SetMetaData UnHandled META\n", TakeLog());
}

TEST(Tags, AreNineInFixedOrderAndBuiltAnew) {
  OpenSession session(AsfFile({ContentDescription({"T", "", "", "", ""})}));
  EXPECT_EQ(0, session.parser->SetASFMetaData());
  const meta_info* info = session.parser->GetMetaInfo();
  ASSERT_EQ(9, +info->count);
  const unsigned keys[] = {0, 14, 13, 17, 18, 8, 9, 16, 19};
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(keys[i], +info->descriptors[i].key);
    EXPECT_EQ(i == 0 ? 1u : 0u, +info->descriptors[i].length);
  }
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
  for (const auto& [units, count, expected] : cases) {
    std::vector<unsigned char> out(3 * units.size() + 1, '!');
    EXPECT_EQ(0, unicodeToUtf_8(out.data(), units.data(), count));
    EXPECT_EQ(expected + "!", Bytes(out.begin(), out.begin() + expected.size() + 1));
  }
}

}  // namespace
