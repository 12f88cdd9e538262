// What asftool extract refuses, and the texts that it writes. That the rest decodes as its
// input does is for scripts/extract-check to say.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "testing/AsfBuilder.h"
#include "testing/AsfTool.h"

namespace {

namespace fs = std::filesystem;

class Extract : public Tool {
 protected:
  void Write(const char* name, const Bytes& bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
};

TEST_F(Extract, RefusesWhatDoesNotFitAndSaysWhatDoes) {
  const std::string wmv = Sample("wmv2_wma2.wmv"), h264 = Sample("h264_aac.asf");
  const struct {
    std::string arguments;
    int exitCode;
    const char* error;  // part of what stderr says
  } cases[] = {
      {"extract " + wmv + " new.mp3", 2,
       "Windows Media Audio 2 doesn't go into .mp3, but into .wav or .mkv"},
      {"extract " + wmv + " new.h264", 2,
       "Windows Media Video 8 doesn't go into .h264, but into .mkv"},
      {"extract " + h264 + " new.ac3", 2, "AAC doesn't go into .ac3, but into .aac or .mkv"},
      {"extract " + h264 + " new.mkv kept.m4v", 2, "but into .h264 or .mkv"},
      {"extract " + Sample("mpeg2_mp2.asf") + " new.mp3", 2, "but into .mp2 or .mkv"},
      {"extract " + wmv + " new.avi", 2, "new.avi: a name is to end in one of .wav .aac"},
      {"extract " + wmv + " new", 2, "new: a name is to end in one of"},
      {"extract --audio new " + wmv, 2, "new: a name is to end in one of"},
      {"extract --audio new.png " + wmv, 2, "new.png: is no format for audio"},
      {"extract --raw " + wmv + " new.mkv", 2, "--raw"},
      {"extract " + wmv + " -", 2, "say with --format"},
      {"extract --format avi " + wmv + " -", 2, "--format avi: there are .wav"},
      {"extract --format mkv " + wmv + " - new.wav", 2, "takes one output, and no other"},
      {"--as-is extract " + wmv + " new.mkv", 2, "--raw"},
      {"extract " + Sample("pcm.wma") + " new.h264", 1, "no video track to put into new.h264"},
      {"extract --video new.mkv " + Sample("pcm.wma"), 1, "no track to put into new.mkv"},
      {"extract " + wmv + " new.jpg", 1, "no cover art to put into new.jpg"},
      {"extract cover.wma new.jpg", 2, "the cover art goes into a file .png"},
      {"extract " + wmv + " new.srt", 1, "no captions to put into new.srt"},
      {"extract " + wmv + " new.txt", 1, "no script commands or markers to put into new.txt"},
      {"extract " + wmv + " nowhere/new.mkv", 2, "nowhere/new.mkv: cannot be written"},
      {"extract " + wmv + " /dev/full --format mkv --audio -", 2, "takes one output"},
      {"extract --format mkv " + wmv + " - >/dev/full", 2, "standard output: cannot be written"},
  };
  Write("kept.m4v", "kept");
  const Bytes png = Hex("89") + "PNG";
  const Bytes picture = Le(3, 1) + Le(png.size(), 4) + Utf16("image/png") + Utf16("") + png;
  AsfFile file({Stream(ID_AUDIO_MEDIA, 1, AudioFormat(1)),
                ExtendedContent({Descriptor(Utf16("WM/Picture"), 1, picture)})},
               {Packet({Key(1, 3000, Bytes(100, '\0'))})});
  Write("cover.wma", file.Build());
  for (const auto& c : cases) {
    const Outcome outcome = Run(c.arguments);
    EXPECT_EQ(outcome.exitCode, c.exitCode) << c.arguments << "\n" << outcome.err;
    EXPECT_NE(outcome.err.find(c.error), std::string::npos) << c.arguments << outcome.err;
  }
  EXPECT_EQ(FileBytes(Path("kept.m4v")), "kept");
  for (const auto& entry : fs::directory_iterator(fs::path(Path("kept")).parent_path()))
    EXPECT_NE(entry.path().stem(), "new") << entry.path();
  EXPECT_EQ(Run("extract cover.wma cover.png").exitCode, 0);
  EXPECT_EQ(FileBytes(Path("cover.png")), png);
}

TEST_F(Extract, WritesManyFilesAsItWritesEachAlone) {
  const std::string file = Sample("two_audio.wmv");
  const Outcome together = Run("extract " + file + " all.mkv a.WAV --video v.mkv --config-audio c");
  EXPECT_EQ(together.exitCode, 0) << together.err;
  const struct {
    const char *name, *arguments;
  } cases[] = {{"all.mkv", "alone.mkv"},
               {"a.WAV", "--audio alone.wav"},
               {"v.mkv", "--video alone.mkv"},
               {"c", "--config-audio alone"}};
  for (const auto& c : cases) {
    const std::string alone =
        std::string(c.arguments).substr(std::string(c.arguments).find("alone"));
    EXPECT_EQ(Run("extract " + file + " " + c.arguments).exitCode, 0);
    EXPECT_FALSE(FileBytes(Path(c.name)).empty());
    EXPECT_TRUE(FileBytes(Path(c.name)) == FileBytes(Path(alone))) << c.name;
  }
  // A chosen stream is the only one of its kind.
  EXPECT_EQ(Run("--audio-stream 3 extract " + file + " third.mkv").exitCode, 0);
  EXPECT_LT(fs::file_size(Path("third.mkv")), fs::file_size(Path("all.mkv")));
  // What can't be written over has sizes that say so.
  const Outcome piped = Run("extract --format wav " + file + " - | cat");
  const std::string wav = FileBytes(Path("a.WAV"));
  ASSERT_EQ(piped.out.size(), wav.size());
  EXPECT_EQ(piped.out.substr(4, 4), Le(0xFFFFFFFF, 4));
  EXPECT_EQ(wav.substr(4, 4), Le(wav.size() - 8, 4));
  const std::size_t data = wav.find("data");
  EXPECT_EQ(wav.substr(data + 4, 4), Le(wav.size() - data - 8, 4));
}

TEST_F(Extract, KeepsTimesOfAnyLengthAndBeginsAtTheStart) {
  // Times include the preroll of 3 s: 10 ms in front of the start, and 1,000 hours behind it.
  AsfFile file({Stream(ID_VIDEO_MEDIA, 1, VideoFormat("VP80"))},
               {Packet({Key(1, 2990, "a")}), Packet({Key(1, 3600003266u, "bc")})});
  Write("long.wmv", file.Build());
  const Outcome outcome = Run("extract long.wmv long.ivf long.mkv");
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(FileBytes(Path("long.ivf")).substr(24),
            Le(2, 4) + Le(0, 4) + Le(1, 4) + Le(0, 8) + "a" + Le(2, 4) + Le(3600000266u, 8) + "bc");
  // A cluster's time, as Matroska writes it.
  EXPECT_NE(FileBytes(Path("long.mkv")).find(Hex("E7 84 D6 93 A5 0A")), Bytes::npos);
}

TEST_F(Extract, WritesCommandsAndMarkersAtTheirTimes) {
  const Bytes id(16, '\x01');
  const auto text = [](const char* ascii, int width) {
    const Bytes units = Utf16(ascii);
    return Le(units.size() / 2, width) + units;
  };
  const auto marker = [&](unsigned int ms, const char* name) {
    return Le(50, 8) + Le(ms * 10000ull, 8) + Le(0, 2) + Le(ms, 4) + Le(0, 4) + text(name, 4);
  };
  const auto command = [&](unsigned int ms, int type, const char* shown) {
    return Le(ms, 4) + Le(static_cast<unsigned int>(type), 2) + text(shown, 2);
  };
  // Times include the preroll of 3 s.
  AsfFile file({Stream(ID_AUDIO_MEDIA, 1, AudioFormat(1)),
                Object(ID_MARKER_OBJECT, id + Le(2, 4) + Le(0, 2) + Le(0, 2) +
                                             marker(4500, "Second") + marker(3000, "First")),
                Object(ID_SCRIPT_COMMAND_OBJECT,
                       id + Le(4, 2) + Le(2, 2) + text("URL", 2) + text("TEXT", 2) +
                           command(3500, 0, "http://a") + command(4000, 1, "Hello\nyou") +
                           command(5250, 1, "") + command(3725000, 1, "Bye"))},
               {Packet({Key(1, 3000, Bytes(100, '\0'))})});
  Write("texts.wma", file.Build());
  const Outcome outcome = Run("extract texts.wma texts.txt texts.srt");
  EXPECT_EQ(FileBytes(Path("texts.txt")),
            "0:00.000\tmarker\tFirst\n0:00.500\tURL\thttp://a\n0:01.000\tTEXT\tHello you\n"
            "0:01.500\tmarker\tSecond\n0:02.250\tTEXT\t\n1:02:02.000\tTEXT\tBye\n")
      << outcome.err;
  EXPECT_EQ(FileBytes(Path("texts.srt")),
            "1\n00:00:01,000 --> 00:00:02,250\nHello you\n\n"
            "2\n01:02:02,000 --> 01:02:07,000\nBye\n\n");
}

}  // namespace
