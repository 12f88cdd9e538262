// The page that asftool report writes: its numbers, what becomes of hostile text, and that
// there is one whatever the file is. scripts/report-check looks at its markup.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>

#include "testing/AsfBuilder.h"
#include "testing/AsfTool.h"
#include "testing/SampleFiles.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

class Report : public Tool {
 protected:
  // The page of a file; its digits are not grouped.
  std::string PageOf(const std::string& file, int exitCode = 0) const {
    const Outcome outcome = Run("report '" + file + "' -o page.html");
    EXPECT_EQ(outcome.exitCode, exitCode) << file << ": " << outcome.err;
    return std::regex_replace(FileBytes(Path("page.html")), std::regex("\u202F"), "");
  }

  void Write(const std::string& name, const Bytes& bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
};

// What stands behind a figure's words, up to the next figure.
std::string FigureOf(const std::string& page, const std::string& name) {
  const std::size_t at = page.find("id=\"" + name + "\"");
  if (at == std::string::npos) return "";
  return page.substr(at, page.find("</figure>", at) - at);
}

unsigned long long SumOfBins(const std::string& figure) {
  static const std::regex row("<tr><td>[^<]*</td><td>([0-9]+)</td></tr>");
  unsigned long long sum = 0;
  for (std::sregex_iterator it(figure.begin(), figure.end(), row), end; it != end; ++it) {
    sum += std::stoull((*it)[1]);
  }
  return sum;
}

TEST_F(Report, TellsTheNumbersThatOtherCommandsTell) {
  const std::string sample = Sample("wmv2_wma2.wmv");
  const std::string page = PageOf(sample);
  std::map<std::string, unsigned long long> bytes, units;
  const Json list = Json::parse(Run("units --json '" + sample + "'").out);
  for (const Json& unit : list["units"]) {
    bytes[unit["track"]] += unit["size"].get<unsigned long long>();
    ++units[unit["track"]];
  }
  const std::map<std::string, std::string> names = {{"video", "bitrate-1"}, {"audio", "bitrate-2"}};
  for (const auto& [track, name] : names) {
    EXPECT_EQ(SumOfBins(FigureOf(page, name)), bytes[track]) << track;
  }
  const std::string packets = FileBytes(sample + ".packets.tsv");
  const std::regex key("\n0\t[0-9]+\t[0-9]+\t1\t");
  const auto keys = std::distance(std::sregex_iterator(packets.begin(), packets.end(), key),
                                  std::sregex_iterator());
  EXPECT_NE(page.find(std::to_string(keys) + " key frames of " + std::to_string(units["video"]) +
                      " objects"),
            std::string::npos);
}

TEST_F(Report, TellsWhereSeeksShouldLandAsAnExactSeekDoes) {
  const std::string sample = Sample("wmv2_wma2.wmv");
  const std::string figure = FigureOf(PageOf(sample), "seek-previous");
  const std::regex row("<tr><td>0:0([0-9.]+)</td><td>0:0([0-9.]+)</td><td>");
  int rows = 0;
  for (std::sregex_iterator it(figure.begin(), figure.end(), row), end; it != end; ++it) {
    if (rows++ % 5 != 0) continue;
    const Outcome exact = Run("seek --exact --json '" + sample + "' --to " + (*it)[1].str());
    const auto shouldMs = std::lround(std::stod((*it)[2]) * 1000);
    EXPECT_EQ(Json::parse(exact.out)["video"]["time_ms"], shouldMs) << (*it)[0];
  }
  EXPECT_EQ(rows, 32);
}

TEST_F(Report, TakesTextFromTheFileAsText) {
  const Bytes hostile =
      Utf16("</bdi><script>alert(1)</script>\"'&\x01") + Hex("2e 20 41 00 00 d8 00 00");
  const AsfFile file({Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x161)),
                      ContentDescription({hostile, hostile, {}, {}, {}}),
                      ExtendedContent({Descriptor(hostile, 0, hostile)})},
                     {Packet({Media(1, 3000, Bytes(100, 'a'))})});
  const std::string name = "<img src=x onerror=alert(1)>&.wma";
  Write(name, file.Build());
  const std::string page = PageOf(Path(name));
  for (const char* markup : {"<script", "<img", "\u202E", "\x01", "&.wma"}) {
    EXPECT_EQ(page.find(markup), std::string::npos) << markup;
  }
  EXPECT_NE(page.find("&lt;script&gt;alert(1)&lt;/script&gt;&quot;&#39;&amp;"), std::string::npos);
}

TEST_F(Report, HasAPageForEveryFileThatCanBeRead) {
  const Bytes whole = FileBytes(Sample("wmv2_wma2.wmv"));
  Bytes damaged = whole;
  struct Case {
    const char* name;
    Bytes bytes;
    const char* words;
  };
  const std::size_t data = whole.find(Hex("36 26 b2 75 8e 66 cf 11 a6 d9 00 aa 00 62 ce 6c")) + 50;
  std::fill_n(damaged.begin() + static_cast<long>(data + 5 * 3200), 64, '\xFF');
  const Case cases[] = {
      {"empty", "", "not an ASF file"},
      {"garbage", Bytes(5000, 'x'), "not an ASF file"},
      {"header-cut", whole.substr(0, 200), "no audio and no video track"},
      {"packets-cut", whole.substr(0, whole.size() / 2), "stated are not in the file"},
      {"damaged", damaged, ". 1 damaged"}};
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    Write(row.name, row.bytes);
    const std::string page = PageOf(Path(row.name), 1);
    EXPECT_NE(page.find(row.words), std::string::npos);
    EXPECT_NE(page.find("</html>"), std::string::npos);
  }
}

TEST_F(Report, LeavesNothingWhereItCannotBeWritten) {
  Write("file.wmv", FileBytes(Sample("wmv2_wma2.wmv")));
  for (const char* page : {"file.wmv", "./file.wmv", "no/such/folder.html"}) {
    const Outcome outcome = Run(std::string("report file.wmv -o ") + page);
    EXPECT_EQ(outcome.exitCode, 2) << page;
    EXPECT_NE(outcome.err.find(page), std::string::npos) << outcome.err;
  }
  EXPECT_EQ(FileBytes(Path("file.wmv")), FileBytes(Sample("wmv2_wma2.wmv")));
  EXPECT_EQ(Run("report missing.wmv -o page.html").exitCode, 2);
  EXPECT_FALSE(fs::exists(Path("page.html")));
}

}  // namespace
