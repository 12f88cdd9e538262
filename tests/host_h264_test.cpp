// H.264's NAL units and parameter sets, out of whole bytes and torn ones.
#include <gtest/gtest.h>

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

}  // namespace
