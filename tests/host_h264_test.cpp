// H.264's NAL units, parameter sets and frames, out of whole bytes and torn ones.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "qo_host/H264.h"
#include "testing/AsfBuilder.h"

namespace {

std::vector<unsigned char> Data(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// The units in hexadecimal, each behind a slash.
std::string Units(const Bytes& stream) {
  const std::vector<unsigned char> bytes = Data(stream);
  std::string text;
  qo_host::NalUnits units(bytes.data(), bytes.size());
  for (qo_host::NalUnit unit{}; units.Next(&unit);) {
    text += "/";
    for (std::size_t i = 0; i < unit.size; ++i) {
      constexpr char kDigits[] = "0123456789ABCDEF";
      text += {kDigits[unit.data[i] >> 4], kDigits[unit.data[i] & 15]};
    }
  }
  return text;
}

TEST(HostH264, WalksUnitsAndFindsParameters) {
  const struct {
    const char *bytes, *units;
    bool startsWithParameters;
  } cases[] = {
      {"", "", false},
      {"41 42", "", false},
      {"00 00 01", "", false},
      {"00 00 00 01 67 AA 00 00 00 01 68 BB 00 00 01 65 CC 00", "/67AA/68BB/65CC", true},
      {"00 00 01 00 00 01 09 10 00 00 03 00 00 01 27", "/0910000003/27", true},
      {"FF 00 00 01 06 05 00 00 01 41 9A 00 00 01 67", "/0605/419A/67", false},
      {"00 00 01 68 00 00", "/68", false},
  };
  for (const auto& test : cases) {
    const Bytes bytes = Hex(test.bytes);
    EXPECT_EQ(test.units, Units(bytes)) << test.bytes;
    EXPECT_EQ(test.startsWithParameters,
              qo_host::StartsWithH264Parameters(Data(bytes).data(), bytes.size()))
        << test.bytes;
  }
}

TEST(HostH264, TakesParameterSetsFromAConfigurationAsFarAsItGoes) {
  const struct {
    unsigned int codec;
    const char *config, *sets;
  } cases[] = {
      {kCodecH264, "01 42 00 1E FF E1 00 02 67 AA 01 00 02 68 BB", "/67AA/68BB"},
      {kCodecH264, "01 42 00 1E FF E2 00 02 67 AA 00 02 67 BB 01 00 02 68", "/67AA/67BB"},
      {kCodecH264, "01 42 00 1E FF E1 00 02 67", ""},
      {kCodecH264, "01 42 00 1E FF", ""},
      {kCodecH264, "00 00 00 01 67 AA 00 00 01 68", "/67AA/68"},
      {kCodecH264, "", ""},
      {kCodecMpeg4, "00 00 01 B0", ""},
  };
  for (const auto& test : cases) {
    qo_host::Track track{};
    track.info.codec = test.codec;
    track.config = Data(Hex(test.config));
    const std::vector<unsigned char> sets = H264ParameterSets(track);
    EXPECT_EQ(test.sets, Units(Bytes(sets.begin(), sets.end()))) << test.config;
  }
}

// Numbers as bits: "5u3" in three bits, "7g" as a Golomb code.
Bytes Bits(const std::string& text) {
  std::string bits;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    std::size_t at = 0;
    unsigned int value = static_cast<unsigned int>(std::stoul(word, &at)) + (word[at] == 'g');
    unsigned int count =
        word[at] == 'u' ? static_cast<unsigned int>(std::stoul(word.substr(at + 1))) : 0;
    for (unsigned int rest = value; word[at] == 'g' && rest != 0; rest /= 2)
      count += rest > 1 ? 2 : 1;
    while (count-- != 0) bits += (count < 32 ? value >> count & 1 : 0) != 0 ? '1' : '0';
  }
  bits += '1';
  bits.resize((bits.size() + 7) / 8 * 8, '0');
  Bytes bytes;
  for (std::size_t i = 0; i < bits.size(); i += 8)
    bytes += static_cast<char>(std::stoul(bits.substr(i, 8), nullptr, 2));
  return bytes;
}

Bytes Nal(const char* head, const std::string& bits) {
  return Hex("00 00 01") + Hex(head) + Bits(bits);
}

// 4 bits of frame number, 4 of order, frames and fields, no slices again.
const char kSequence[] = "77u8 0u8 30u8 0g 0g 0g 0g 1g 0u1 1g 1g 0u1 0u1";
const char kPictureSet[] = "0g 0g 0u1 0u1 0g 0g 0g 0u3 0g 0g 0g 0u2 0u1";
const char kRepeating[] = "1g 0g 0u1 0u1 0g 0g 0g 0u3 0g 0g 0g 0u2 1u1";

// Where each of the units goes: i inside, o open, N next.
std::string Places(const std::vector<Bytes>& units, bool hasSets = true) {
  qo_host::H264Frames frames{qo_host::Track{}};
  for (const Bytes& set : {Nal("67", kSequence), Nal("68", kPictureSet), Nal("68", kRepeating)}) {
    if (hasSets) frames.Take(Data(set).data(), set.size());
  }
  frames.Start();
  std::string places;
  for (const Bytes& unit : units)
    places += "ioN"[static_cast<int>(frames.Take(Data(unit).data(), unit.size()))];
  return places;
}

TEST(HostH264, TellsFramesApart) {
  const Bytes delimiter = Nal("09", "7u3"), supplement = Nal("06", "5u8"), filler = Nal("0C", "");
  // First macroblock, type, picture set, number of the frame, not a field, order.
  const Bytes first = Nal("41", "0g 5g 0g 3u4 0u1 6u4");
  const Bytes second = Nal("41", "9g 5g 0g 3u4 0u1 6u4");
  const Bytes next = Nal("41", "0g 5g 0g 4u4 0u1 6u4"), later = Nal("41", "0g 5g 0g 3u4 0u1 8u4");
  const Bytes free = Nal("01", "9g 5g 0g 3u4 0u1 6u4"), idr = Nal("65", "0g 5g 0g 3u4 0u1 0g 6u4");
  const Bytes otherIdr = Nal("65", "9g 5g 0g 3u4 0u1 1g 6u4");
  const Bytes top = Nal("41", "0g 5g 0g 3u4 1u1 0u1 6u4"),
              bottom = Nal("41", "0g 5g 0g 3u4 1u1 1u1 7u4");
  const Bytes freeBottom = Nal("01", "0g 5g 0g 3u4 1u1 1u1 7u4");
  const Bytes laterTop = Nal("41", "0g 5g 0g 4u4 1u1 0u1 8u4");
  const Bytes repeating = Nal("41", "0g 5g 1g 3u4 0u1 6u4");
  const struct {
    const char *name, *places;
    std::vector<Bytes> units;
  } cases[] = {
      {"slices of a picture", "iii", {first, second, second}},
      {"a frame's number", "iN", {first, next}},
      {"an order", "iN", {first, later}},
      {"no reference", "iN", {first, free}},
      {"IDR, and another", "iNN", {first, idr, otherIdr}},
      {"the first macroblock again", "iNi", {first, first, second}},
      {"again where it may", "ii", {repeating, repeating}},
      {"what stands in front", "iiooNi", {supplement, first, delimiter, filler, next, filler}},
      {"the same frame behind it", "ioi", {first, supplement, second}},
      {"another by a delimiter alone", "ioN", {first, delimiter, second}},
      {"two fields, and the next two", "iioNi", {top, bottom, delimiter, laterTop, filler}},
      {"a delimiter between two fields", "iooiN", {top, delimiter, supplement, bottom, first}},
      {"fields that make no frame", "iNNN", {top, laterTop, bottom, freeBottom}},
      {"a third field", "iiN", {top, bottom, top}},
      {"units that hold several", "iN", {supplement + first + second, delimiter + next + filler}},
      {"torn slices, and parts of one",
       "iiii",
       {first, Hex("00 00 01 41"), Hex("00 00 01 41 00 00"), Hex("00 00 01 43 80")}},
      {"no unit at all", "iii", {first, Bytes(), Hex("FF 00 00 01")}},
  };
  for (const auto& test : cases) EXPECT_EQ(test.places, Places(test.units)) << test.name;
  EXPECT_EQ("iiNi", Places({first, second, first, second}, false)) << "no parameter sets";
  EXPECT_EQ("iiNi", Places({Hex("00 00 01 67 FF"), first, next, second}, false)) << "torn sets";
}

}  // namespace
