// asftool as a person or a script meets it: what it prints, where, and with which
// exit code.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "testing/AsfTool.h"
#include "testing/SampleFiles.h"

namespace {

namespace fs = std::filesystem;

// A file that holds no unit.
std::string Silent() {
  std::string silent = FileBytes(QO_SAMPLES_DIR "/pcm.wma");
  for (std::size_t at = 0; (at = silent.find("\x82\x00\x00", at, 3)) != std::string::npos; ++at) {
    silent.replace(at, 3, 3, '\0');
  }
  return silent;
}

TEST_F(Tool, ListsTheUnitsOfEverySampleAsCommitted) {
  for (const fs::path& sample : SamplePaths()) {
    const std::string dump = sample.string() + ".units.txt";
    for (const char* source : {"", " --read-ahead"}) {
      const Outcome outcome = Run("--as-is units '" + sample.string() + "'" + source);
      EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
      EXPECT_TRUE(outcome.out == FileBytes(dump))
          << dump << " differs; if the difference is wanted:\n  asftool --as-is units " << sample
          << " > " << dump;
    }
  }
}

TEST_F(Tool, JsonAgreesWithTheTextAndIsAllThereIsOnStdout) {
  const auto info = nlohmann::json::parse(Run("info --json " + Sample("tags.wma")).out);
  EXPECT_EQ(info["tags"]["album"], "The Album");
  EXPECT_EQ(info["tracks"][0]["codec"], 211);
  const auto artist =
      std::find_if(info["file_tags"].begin(), info["file_tags"].end(),
                   [](const nlohmann::json& tag) { return tag["name"] == "Author"; });
  ASSERT_NE(artist, info["file_tags"].end());
  EXPECT_EQ("\u00C4rtist", (*artist)["value"]);
  const auto streams = nlohmann::json::parse(Run("info --json " + Sample("two_audio.wmv")).out);
  EXPECT_EQ(streams["streams"][2]["kind"], "audio");
  EXPECT_EQ(streams["streams"][2]["chosen"], false);
  EXPECT_EQ(streams["streams"][2]["tag"], "0x0161");
  const auto units =
      nlohmann::json::parse(Run("units --json --track video " + Sample("two_audio.wmv")).out);
  const std::string lines = Run("units --track video " + Sample("two_audio.wmv")).out;
  EXPECT_EQ(static_cast<long>(units["units"].size()) + 1,
            std::count(lines.begin(), lines.end(), '\n'));
  const auto seek =
      nlohmann::json::parse(Run("seek --to 1.2 --exact --json " + Sample("wmv2_wma2.wmv")).out);
  EXPECT_LE(seek["video"]["time_ms"], 1200);
  EXPECT_EQ(seek["video"]["time_ms"], 1046);
}

TEST_F(Tool, ExitCodesTellBadFilesFromCommandsThatCannotRun) {
  const std::string good = Sample("wmv2_wma2.wmv");
  const std::string bytes = FileBytes(good);
  const auto write = [&](const char* name, const std::string& text) {
    std::ofstream(Path(name), std::ios::binary) << text;
  };
  // With a packet of 3200 bytes that makes no sense from its payload flags on.
  const auto broken = [&](std::size_t packet) {
    const std::size_t first = bytes.find("\x82\x00\x00", 0, 3);
    return std::string(bytes).replace(first + packet * 3200 + 3, 40, 40, '\xFF');
  };
  write("cut.asf", bytes.substr(0, bytes.size() / 2));
  write("broken.asf", broken(5));
  write("broken_end.asf", broken(24));
  write("text.asf", "no ASF at all");
  write("silent.wma", Silent());
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  const struct {
    std::string arguments;
    int exitCode;
    const char* error;  // part of what stderr says
  } cases[] = {
      {"verify " + good, 0, ""},
      {"--audio-stream 99 verify " + good, 2, "no audio stream 99: there are video 1, audio 2"},
      {"--audio-stream 9 seek --to 1 " + good, 2, "no audio stream 9"},
      {"--video-stream 2 repair " + good + " out.wmv", 2, "no video stream 2: there are video 1"},
      {"verify cut.asf", 1, "cut.asf: truncated"},
      {"info cut.asf", 1, "cut.asf: truncated"},
      {"--as-is verify broken.asf", 1, "broken.asf: video ends early"},
      {"verify broken.asf", 1, "broken.asf: 1 media object lost fragments"},
      {"units broken.asf", 1, "broken.asf: 1 packet failed, first packet 5"},
      {"verify broken_end.asf", 1, "1 packet failed, first packet 24"},
      {"trace cut.asf play --totals", 1, "cut.asf: truncated"},
      {"info text.asf", 1, "text.asf: not an ASF file"},
      {"info nowhere.asf", 2, "nowhere.asf: No such file"},
      {"info .", 2, "Is a directory"},
      {"--library nowhere.so info " + good, 2, "nowhere.so"},
      {"play " + good, 2, "play"},
      {"units --track text " + good, 2, "--track"},
      {"seek " + good, 2, "--to"},
      {"extract " + good, 2, "nothing to extract"},
      {"units --limit -1 " + good, 2, "must be 0 or more"},
      {"extract --cover c " + good, 1, "no cover art"},
      {"extract --raw --video ./cut.asf cut.asf", 2, "cut.asf: is the input"},
      {"extract --raw --video v --audio ./v " + good, 2, "v: named for two outputs"},
      {"extract --raw --video nowhere/v " + good, 2, "nowhere/v: cannot be written"},
      {"extract --raw --video /dev/full " + good, 2, "No space left"},
      {"units " + good + " >/dev/full", 2, "standard output"},
      {"--help >/dev/full", 2, "standard output"},
      {"info " + good + " >&-", 2, "standard output: Bad file descriptor"},
      {"info pipe", 2, "pipe: is a pipe: name - in its place"},
      {"info - <&-", 2, "-: reading failed"},
      {"info - <text.asf", 1, "-: not an ASF file"},
      {"verify /dev/zero", 1, "/dev/zero: not an ASF file"},
      {"seek --to inf " + good, 2, "inf is no time"},
      {"seek --to 0:61 " + good, 2, "0:61 is no time"},
      {"seek --to 1:02.5 " + good, 2, "ends at 0:03.046, before 1:02.500"},
      {"seek --to 0:00.5 silent.wma", 1, "no unit follows 0:00.500"},
      {"seek --sweep 10001 " + good, 2, "not in range"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = Run(c.arguments);
    EXPECT_EQ(outcome.exitCode, c.exitCode) << c.arguments << "\n" << outcome.err;
    EXPECT_NE(outcome.err.find(c.error), std::string::npos) << c.arguments << outcome.err;
    EXPECT_EQ(outcome.err.empty(), c.exitCode == 0) << c.arguments << outcome.err;
  }
}

TEST_F(Tool, VerifyTellsItsFindingsByTheirCodes) {
  const auto verify = [&](const std::string& arguments) {
    return nlohmann::json::parse(Run("verify --json " + arguments).out);
  };
  const auto good = verify(Sample("wmv2_wma2.wmv"));
  EXPECT_EQ(good["verdict"], "good");
  EXPECT_EQ(good["tracks"][0],
            nlohmann::json::parse(R"({"kind": "video", "units": 45, "bytes": 64291, "stream": 1,
                                      "first_ms": 46, "last_ms": 2979})"));
  EXPECT_TRUE(good["findings"].empty()) << good["findings"];
  const auto mended = verify(Sample("pcm.wma"));
  EXPECT_EQ(mended["verdict"], "good-with-kit");
  EXPECT_EQ(mended["findings"][0]["code"], "units-bent");
  EXPECT_EQ(mended["findings"][0]["severity"], "mended");
  const std::string bytes = FileBytes(Sample("wmv2_wma2.wmv"));
  std::ofstream(Path("cut.wmv"), std::ios::binary) << bytes.substr(0, bytes.size() / 2);
  const auto bad = verify("cut.wmv");
  EXPECT_EQ(bad["verdict"], "bad");
  EXPECT_EQ(bad["findings"][0]["code"], "truncated");
  EXPECT_EQ(bad["findings"][0]["severity"], "problem");
  EXPECT_LT(bad["findings"][0]["count"], bad["findings"][0]["total"]);
}

TEST_F(Tool, ExtractsWholeFilesOrNone) {
  const Outcome outcome =
      Run("extract --raw --audio a --video v --config-video c " + Sample("wmv2_wma2.wmv"));
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(fs::file_size(Path("c")), 4u);
  std::size_t bytes = 0;
  std::istringstream lines(FileBytes(Sample("wmv2_wma2.wmv.units.txt")));
  std::string number, track, time, size, md5;
  for (std::getline(lines, md5); lines >> number >> track >> time >> size >> md5;) {
    bytes += std::stoul(size);
  }
  EXPECT_EQ(fs::file_size(Path("a")) + fs::file_size(Path("v")), bytes);

  // A file that holds no unit leaves nothing behind, and replaces nothing.
  std::ofstream(Path("kept")) << "kept";
  std::ofstream(Path("silent.wma"), std::ios::binary) << Silent();
  EXPECT_EQ(Run("extract --raw --audio kept silent.wma").exitCode, 1);
  EXPECT_EQ(FileBytes(Path("kept")), "kept");
  // Nor does an interruption, here while a pipe waits for its reader.
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(Run("extract --raw --audio kept --video pipe " + Sample("wmv2_wma2.wmv") +
                " & until ls | grep -q part; do sleep 0.1; done; sleep 0.2; kill -TERM $!; wait $!")
                .exitCode,
            2);
  EXPECT_EQ(FileBytes(Path("kept")), "kept");
  for (const auto& entry : fs::directory_iterator(fs::path(Path("kept")).parent_path())) {
    EXPECT_EQ(entry.path().string().find(".part"), std::string::npos) << entry.path();
  }
}

TEST_F(Tool, RepairsIntoAnotherFileOrLeavesNothing) {
  const std::string good = Sample("wmv2_wma2.wmv");
  const std::string cut = FileBytes(good).substr(0, fs::file_size(good) / 2);
  std::ofstream(Path("cut.asf"), std::ios::binary) << cut;
  std::ofstream(Path("text.asf")) << "no ASF at all";
  std::ofstream(Path("kept")) << "kept";
  fs::create_symlink("cut.asf", Path("link"));
  fs::create_hard_link(Path("cut.asf"), Path("hard link"));
  const struct {
    std::string arguments;
    int exitCode;
    const char* said;  // part of it, on stdout for 0, otherwise on stderr
    std::string before;
  } unwritten[] = {
      {"repair " + good + " kept", 0, "good, nothing is written", ""},
      {"repair text.asf kept", 1, "text.asf: past mending: not an ASF file", ""},
      {"repair --force text.asf kept", 1, "past mending", ""},
      {"repair nowhere.asf kept", 2, "nowhere.asf: No such file", ""},
      {"repair cut.asf ./cut.asf", 2, "is the input", ""},
      {"repair cut.asf link", 2, "link: is the input", ""},
      {"repair link cut.asf", 2, "cut.asf: is the input", ""},
      {"repair cut.asf 'hard link'", 2, "hard link: is the input", ""},
      {"repair cut.asf .", 2, "is no file", ""},
      {"repair cut.asf nowhere/out", 2, "cannot be written", ""},
      {"repair cut.asf kept", 2, "kept: cannot be written: File too large", "ulimit -f 8 && "},
      {"repair cut.asf", 2, "OUT", ""},
      {"--library nowhere.so repair cut.asf kept", 2, "nowhere.so", ""},
  };
  for (const auto& c : unwritten) {
    const Outcome outcome = Run(c.arguments, c.before);
    EXPECT_EQ(outcome.exitCode, c.exitCode) << c.arguments << "\n" << outcome.err;
    const std::string& said = c.exitCode == 0 ? outcome.out : outcome.err;
    EXPECT_NE(said.find(c.said), std::string::npos) << c.arguments << said;
  }
  EXPECT_EQ(FileBytes(Path("kept")), "kept");
  EXPECT_EQ(FileBytes(Path("cut.asf")), cut);
  const std::set<std::string> files = {"cut.asf", "err", "hard link", "kept",
                                       "link",    "out", "text.asf"};
  std::set<std::string> left;
  for (const auto& entry : fs::directory_iterator(fs::path(Path("kept")).parent_path()))
    left.insert(entry.path().filename().string());
  EXPECT_EQ(files, left);

  EXPECT_EQ(Run("repair --force " + good + " kept").exitCode, 0);
  EXPECT_TRUE(FileBytes(Path("kept")) == FileBytes(good));
  const Outcome mended = Run("repair cut.asf kept");
  EXPECT_EQ(mended.exitCode, 0) << mended.err;
  EXPECT_NE(mended.out.find("cut.asf: mended, written to kept"), std::string::npos) << mended.out;
  EXPECT_EQ(Run("--as-is verify kept").exitCode, 0);
}

// What a seek costs and where it starts from is told by the parser's own calls.
TEST_F(Tool, ReadingAheadChangesNothingOfWhatASeekTells) {
  for (const char* arguments :
       {"seek --to 1.2 ", "seek --to 1.2 --json ", "seek --to 1.2 --exact ", "seek --sweep 10 "}) {
    const Outcome plain = Run(arguments + Sample("wmv1_wma1_p500.wmv"));
    const Outcome ahead =
        Run(std::string("--read-ahead ") + arguments + Sample("wmv1_wma1_p500.wmv"));
    EXPECT_EQ(plain.out, ahead.out);
    EXPECT_EQ(plain.out.find(" 0 packets probed"), std::string::npos) << plain.out;
  }
}

TEST_F(Tool, TracesTheCallsOfAnOpen) {
  const Outcome outcome = Run("--as-is trace " + Sample("wmv2_wma2.wmv") + " open");
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(
      outcome.out.rfind("Open\nReadAt\tat 0\tasked 30\tgot 30\nRead\tat 30\tasked 24\tgot 24\n", 0),
      0u)
      << outcome.out.substr(0, 300);
}

TEST_F(Tool, SeeksAndTracesWhatIsPlayed) {
  const std::string file = Sample("two_audio.wmv");
  const auto landing = [&](const std::string& options) {
    return nlohmann::json::parse(Run(options + " seek --to 1.5 --exact --json " + file).out);
  };
  const auto first = landing(""), other = landing("--audio-stream 3");
  EXPECT_EQ(first, landing("--as-is"));
  EXPECT_EQ(first["video"], other["video"]);

  const Outcome played = Run("--audio-stream 3 trace " + file + " play --totals");
  EXPECT_EQ(played.exitCode, 0) << played.err;
  EXPECT_NE(played.out, Run("--as-is trace " + file + " play --totals").out);
}

}  // namespace
