// asftool verify over collections, and what the tool makes of pipes and of names.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "testing/AsfTool.h"
#include "testing/SampleFiles.h"

namespace {

namespace fs = std::filesystem;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

class Collection : public Tool {
 protected:
  Collection() {
    fs::create_directories(Path("c/b"));
    fs::copy(Sample("wmv2_wma2.wmv"), Path("c/Z.ASF"));
    fs::copy(Sample("tags.wma"), Path("c/a.wma"));
    fs::copy(Sample("pcm.wma"), Path("c/b/x.wma"));
    const std::string bytes = FileBytes(Sample("wmv2_wma2.wmv"));
    std::ofstream(Path("c/b/cut.wmv"), std::ios::binary) << bytes.substr(0, bytes.size() / 2);
    std::ofstream(Path("c/text.asf")) << "no ASF at all";
    std::ofstream(Path("c/readme.txt")) << "passed over";
    fs::create_directory_symlink("..", Path("c/b/loop"));
  }
};

TEST_F(Collection, IsJudgedInTheOrderOfItsNamesWhateverIsDoneFirst) {
  const std::vector<std::string> expected = {
      "c/Z.ASF: good",
      "c/a.wma: good",
      ("c/b/cut.wmv: bad: truncated: the file holds 12 whole packets of 25; 1 packet failed, "
       "first packet 12: it ends in what it holds; 1 media object lost fragments"),
      "c/b/x.wma: good with the kit",
      "c/text.asf: bad: not an ASF file",
      "5 files: 2 good, 1 good with the kit, 2 bad; 2 other files passed over",
  };
  for (const char* jobs : {"1", "2", "7"}) {
    const Outcome outcome = Run(std::string("verify -r c -j ") + jobs);
    EXPECT_EQ(outcome.exitCode, 1) << outcome.err;
    EXPECT_EQ(Lines(outcome.out), expected) << "with -j " << jobs;
    EXPECT_EQ(outcome.err, "");
  }
  const Outcome unread = Run("verify c c/a.wma nowhere.wma");
  EXPECT_EQ(unread.exitCode, 2);
  EXPECT_EQ(unread.out,
            "c: not read: is a folder: -r judges what is in it\nc/a.wma: good\n"
            "nowhere.wma: not read: No such file or directory\n3 files: 1 good, 2 not read\n");
}

TEST_F(Collection, HasALineOfJsonForEachFileThatSaysWhatTheFileAloneWould) {
  const Outcome outcome = Run("verify --json -r c");
  const std::vector<std::string> lines = Lines(outcome.out);
  ASSERT_EQ(lines.size(), 5u) << outcome.out;
  for (const std::string& line : lines) {
    const auto document = nlohmann::json::parse(line);
    const std::string file = document["file"];
    EXPECT_EQ(document, nlohmann::json::parse(Run("verify --json " + file).out)) << file;
  }
}

TEST_F(Collection, IsGoneOnWithWhereItStopped) {
  const std::string command = "verify -r c --log log";
  EXPECT_EQ(Run(command).exitCode, 1);
  const std::string whole = FileBytes(Path("log"));
  ASSERT_EQ(Lines(whole).size(), 5u) << whole;
  const Outcome again = Run(command);
  EXPECT_EQ(again.exitCode, 1) << "the bad ones count";
  EXPECT_EQ(again.out,
            "5 files: 2 good, 1 good with the kit, 2 bad; 5 of them as the log has them; "
            "2 other files passed over\n");
  EXPECT_EQ(FileBytes(Path("log")), whole);

  // A crash in the middle of the last line, and a file that has been mended since.
  std::ofstream(Path("log"), std::ios::binary) << whole.substr(0, whole.size() - 20);
  fs::copy(Sample("wmv2_wma2.wmv"), Path("c/b/cut.wmv"), fs::copy_options::overwrite_existing);
  const std::vector<std::string> lines = Lines(Run(command).out);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "c/b/cut.wmv: good");
  EXPECT_EQ(lines[1].rfind("c/text.asf: bad", 0), 0u) << lines[1];
  EXPECT_EQ(lines[2].rfind("5 files: 3 good, 1 good with the kit, 1 bad; 3 of them as", 0), 0u);
  EXPECT_EQ(Lines(Run("--as-is " + command).out).size(), 6u) << "judged otherwise, and so anew";

  const std::string sample = FileBytes(Path("c/a.wma"));
  EXPECT_EQ(Run("verify -r c --log c/a.wma").exitCode, 2);
  EXPECT_EQ(FileBytes(Path("c/a.wma")), sample);
  EXPECT_EQ(Run(command + "2", "ulimit -f 0; ").exitCode, 2);
}

TEST_F(Tool, NamesThatAreNoUtf8SurviveInJson) {
  fs::copy(Sample("tags.wma"), Path("caf\xE9 %.wma"));
  for (const char* command : {"info", "units", "verify", "tree", "seek --to 1", "verify -r"}) {
    const Outcome outcome = Run(std::string(command) + " --json 'caf\xE9 %.wma'");
    const auto document = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(document["file"], "caf\uFFFD %.wma") << command;
    EXPECT_EQ(document["file_bytes"], "caf%E9%20%25.wma") << command;
  }
}

TEST_F(Tool, ReadsPipesAsItReadsFiles) {
  for (const fs::path& sample : SamplePaths()) {
    for (const char* command : {"info", "verify --json", "seek --to 0:01.2"}) {
      const std::string arguments = std::string(command) + " -";
      const Outcome file = Run(arguments + " <" + sample.string());
      const Outcome pipe = Run(arguments, "cat " + sample.string() + " | ");
      EXPECT_EQ(file.out, pipe.out) << command << " " << sample;
      EXPECT_EQ(file.exitCode, pipe.exitCode) << pipe.err;
    }
  }
}

TEST_F(Tool, PlaysLongPipesAndSaysWhatTheyAreTooLongFor) {
  const std::string write = "{ cat " + Sample("ac3.asf") + " && head -c 20000000 /dev/zero; } | ";
  const struct {
    const char* arguments;
    int exitCode;
    const char* said;  // part of what stdout and stderr say
  } cases[] = {
      {"info -", 0, "AC-3"},
      {"seek --to 1 -", 2, "save it to a file first"},
      {"tree -", 2, "save it to a file first"},
      {"units --from 1 -", 2, "save it to a file first"},
      {"repair - out.asf", 2, "save it to a file first"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = Run(c.arguments, write);
    EXPECT_EQ(outcome.exitCode, c.exitCode) << c.arguments << outcome.err;
    EXPECT_NE((outcome.out + outcome.err).find(c.said), std::string::npos) << c.arguments;
  }
}

TEST_F(Tool, CompletesItsCommandLineInBash) {
  const struct {
    const char* words;  // the last one is completed
    const char* reply;
  } cases[] = {
      {"'ver'", "verify"},
      {"verify '--re'", "--read-ahead --recursive"},
      {"units --track ''", "audio video"},
      {"--as-is seek FILE --mode 'p'", "previous"},
      {"completion ''", "bash zsh fish"},
      {"verify -j ''", ""},
      {"verify ''", ""},
  };
  std::ofstream script(Path("script"));
  script << ". ./completion\nreply() {\n  COMP_WORDS=(asftool \"$@\") COMP_CWORD=$#\n"
            "  _asftool && echo \"${COMPREPLY[*]}\"\n}\n";
  std::string expected;
  for (const auto& c : cases) {
    script << "reply " << c.words << "\n";
    expected += std::string(c.reply) + "\n";
  }
  script.close();
  const Outcome outcome = Run("completion bash >completion && bash script");
  EXPECT_EQ(outcome.out, expected) << outcome.err;
}

}  // namespace
