// Tags as text, cover art, and names of codecs.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <sstream>

#include "qo_host/CodecNames.h"
#include "qo_host/TagText.h"
#include "testing/AsfBuilder.h"
#include "testing/SampleFiles.h"

namespace {

const unsigned char* CharsOf(const Bytes& bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

TEST(HostText, Utf16BecomesUtf8) {
  const struct {
    const char *units, *text;
  } cases[] = {
      {"", ""},
      {"41 00 42 00 00 00 43 00", "AB"},  // up to the terminator
      {"41 00 42", "A"},                  // an odd last byte
      {"E9 00 20 00", "\xC3\xA9 "},       // two bytes; what follows stays
      {"FF 07 00 08 FF FF", "\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
      {"3D D8 00 DE", "\xF0\x9F\x98\x80"},  // a pair
      {"FF DB FF DF", "\xF4\x8F\xBF\xBF"},  // the last code point
      {"3D D8", "\xEF\xBF\xBD"},            // half a pair: at the end,
      {"3D D8 00 00", "\xEF\xBF\xBD"},      // before the terminator,
      {"3D D8 20 00", "\xEF\xBF\xBD "},     // before another character,
      {"00 DE 20 00", "\xEF\xBF\xBD "},     // the second half alone,
      {"3D D8 3D D8 00 DE", "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
  };
  for (const auto& test : cases) {
    const Bytes units = Hex(test.units);
    EXPECT_EQ(test.text, qo_host::Utf16ToUtf8(CharsOf(units), units.size())) << test.units;
  }
}

meta_descriptor Descriptor(unsigned short type, unsigned int length, const Bytes& scalar,
                           const Bytes* bytes = nullptr) {
  meta_descriptor descriptor = {META_YEAR, type, length, {}};
  const unsigned char* address = bytes != nullptr ? CharsOf(*bytes) : nullptr;
  if (bytes != nullptr) std::memcpy(descriptor.value, &address, sizeof(address));
  std::memcpy(descriptor.value, scalar.data(), scalar.size());
  return descriptor;
}

TEST(HostText, TagsOfEveryType) {
  const Bytes text = Utf16("1999", false);
  const Bytes full = Hex("01 02 03 80 05 06 07 80");
  const struct {
    meta_descriptor descriptor;
    const char* text;
    unsigned long long number;
  } cases[] = {
      {Descriptor(kMetaString, 8, "", &text), "1999", 0},
      {Descriptor(kMetaString, 4, "", &text), "19", 0},
      {Descriptor(kMetaBytes, 8, "", &text), "", 0},
      {Descriptor(kMetaBool, 4, Hex("00 00 01 00")), "true", 1},
      {Descriptor(kMetaBool, 2, Hex("00")), "false", 0},
      {Descriptor(kMetaDword, 4, full), "2147680769", 0x80030201},
      {Descriptor(kMetaQword, 8, full), "9225348982384034305", 0x8007060580030201},
      {Descriptor(kMetaWord, 2, full), "513", 0x0201},
      {Descriptor(6, 16, ""), "", 0},  // a type without a value
  };
  for (const auto& test : cases) {
    const auto tag = qo_host::MakeTag(test.descriptor);
    ASSERT_TRUE(tag);
    EXPECT_EQ(test.text, tag->text) << test.descriptor.type;
    EXPECT_EQ(test.number, tag->number) << test.descriptor.type;
    EXPECT_STREQ("year", qo_host::TagName(tag->key));
  }
  EXPECT_FALSE(qo_host::MakeTag(Descriptor(kMetaString, 0, "")));
}

TEST(HostText, PictureIsTakenApartOrRefused) {
  const Bytes whole = Hex("03") + Le(5, 4) + Utf16("image/png") + Utf16("front") + "\x89PNG\n";
  const auto picture = qo_host::MakePicture(
      Descriptor(kMetaBytes, static_cast<unsigned int>(whole.size()), "", &whole));
  ASSERT_TRUE(picture);
  EXPECT_EQ(3, picture->type);
  EXPECT_EQ("image/png", picture->mimeType);
  EXPECT_EQ("front", picture->description);
  EXPECT_EQ("\x89PNG\n", Bytes(picture->bytes.begin(), picture->bytes.end()));
  EXPECT_FALSE(qo_host::MakePicture(Descriptor(kMetaString, 40, "", &whole)));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::vector<unsigned char> cut(whole.begin(), whole.begin() + static_cast<long>(size));
    EXPECT_FALSE(qo_host::ParsePicture(cut.data(), cut.size())) << size;
  }
}

TEST(HostText, CodecsHaveNames) {
  EXPECT_STREQ("Windows Media Video 9", qo_host::CodecName(108));
  EXPECT_STREQ("E-AC-3", qo_host::CodecName(204));
  // Each number that the header names has a name of its own, and no other has one.
  std::istringstream header(FileBytes(QO_SAMPLES_DIR "/../include/qo_parser_asf/Codecs.h"));
  std::set<unsigned int> numbers;
  for (std::string line; std::getline(header, line);) {
    unsigned int number;
    if (std::sscanf(line.c_str(), "constexpr unsigned int %*s = %u;", &number) == 1) {
      numbers.insert(number);
    }
  }
  EXPECT_EQ(1u, numbers.erase(kCodecUnknown));
  std::set<std::string> names = {"unknown"};
  for (unsigned int number = 0; number < 1000; ++number) {
    EXPECT_EQ(numbers.count(number) == 1, names.insert(qo_host::CodecName(number)).second)
        << number;
  }
  EXPECT_EQ(numbers.size() + 1, names.size());
  EXPECT_EQ("WMV2", qo_host::FourCcText(0x32564D57));
  EXPECT_EQ("\\x01 ~\\x7f", qo_host::FourCcText(0x7F7E2001));
}

}  // namespace
