// What the host is told about a track: its description, with the probe that
// tells E-AC-3 from AC-3, and its configuration bytes.
#include <algorithm>
#include <cstdint>
#include <sstream>

#include "ParserSession.h"

namespace {

TEST(TrackInfo, NumbersCodecsByFormatTagAndFourcc) {
  const struct {
    unsigned codec;
    std::vector<unsigned short> formatTags;
    std::vector<const char*> fourccs;
  } cases[] = {
      {100,
       {0x0000, 0x0002, 0x0165, 0x2002, 0x7A23, 0xFFFE},
       {"vp62", "vp6f", "X264", "Mpg2", "wMV3", "AVC2", "S263", "WMVP"}},
      {101, {}, {"MPG2", "mpg2"}},
      {102, {}, {"MPG4", "mpg4", "FMP4", "fmp4", "DIV2", "div2"}},
      {103, {}, {"H263", "h263"}},
      {104, {}, {"AVC1", "avc1", "H264", "h264", "x264"}},
      {106, {}, {"WMV1", "wmv1"}},
      {107, {}, {"WMV2", "wmv2"}},
      {108, {}, {"WMV3", "wmv3"}},
      {109, {}, {"WVC1", "wvc1"}},
      {110, {}, {"WMVA", "wmva"}},
      {112, {}, {"MP42", "mp42", "M4S2", "m4s2"}},
      {113, {}, {"MP43", "mp43"}},
      {114, {}, {"MJPG", "mjpg"}},
      {115, {}, {"VP60", "vp60", "VP61", "vp61", "VP62", "Vp62", "VP6F"}},
      {116, {}, {"VP70", "vp70", "VP71", "vp71", "VP72", "vp72"}},
      {117, {}, {"VP80", "vp80", "VP81", "vp81", "VP82", "vp82"}},
      {118, {}, {"DIV1", "div1", "DIV3", "div3", "DIV4", "div4"}},
      {119, {}, {"MPG1", "mpg1"}},
      {120, {}, {"MP4V", "mp4v"}},
      {121, {}, {"THEO", "theo"}},
      {123, {}, {"DIVX", "divx"}},
      {124, {}, {"DX50", "dx50", "DIV5", "div5"}},
      {125, {}, {"DXMF", "dxmf"}},
      {126, {}, {"XVID", "xvid"}},
      {201, {0x00FF}, {}},
      {202, {0x0050, 0x0055}, {}},
      {203, {0x0092, 0x2000}, {}},
      {205, {0x2001}, {}},
      {206, {0x0001}, {}},
      {209, {0x0164}, {}},
      {210, {0x0160}, {}},
      {211, {0x0161}, {}},
      {212, {0x0162}, {}},
      {213, {0x0163}, {}},
      {214, {0x000A}, {}},
      {215, {0x7A21, 0x7A22}, {}},
      {221, {0x0007}, {}},
      {222, {0x0045}, {}},
  };
  for (const auto& [codec, formatTags, fourccs] : cases) {
    for (const unsigned short tag : formatTags) {
      TrackInfo info{9, 9, 9, 9, 9, 9, 9, 9, 9};
      audio_specific_data data{};
      data.formatTag = tag;
      setTrackInfo(&info, &data, nullptr);
      EXPECT_EQ(codec, info.codec) << tag;
    }
    for (const char* fourcc : fourccs) {
      TrackInfo info{9, 9, 9, 9, 9, 9, 9, 9, 9};
      video_specific_data data{};
      std::memcpy(&data.compression, fourcc, 4);
      setTrackInfo(&info, &data, nullptr);
      EXPECT_EQ(codec, info.codec) << fourcc;
      EXPECT_EQ(0u, info.value3 + info.bitrate);
    }
  }
}

TEST(TrackInfo, CopiesTheFormatOnce) {
  const Bytes wma = AudioFormat(0x161, 0x20000001, 0xFFFE, "c", 6, 96000, 24);
  OpenSession session(
      AsfFile({VideoStream(2, VideoFormat("WMV2", "", 0x10001, 480)), AudioStream(1, wma)},
              {Packet({Media(1, 0, "x")})}, SimpleIndex(1, {})));
  ASFParser& parser = *session.parser;
  const AsfTrackExt* ext = parser.getExtraInterface();
  const TrackInfo* audio = parser.GetTrackInfo(1);
  EXPECT_EQ(0, ext->valid);
  const TrackInfo* video = parser.GetTrackInfo(0);
  const unsigned expectedVideo[] = {1, 107, 0x10001, 480, 0, 0, 1, 0};
  const unsigned expectedAudio[] = {2, 211, 6, 96000, 24, 8, 0, 0};
  EXPECT_EQ(0, std::memcmp(video, expectedVideo, sizeof(expectedVideo)));
  EXPECT_EQ(0, std::memcmp(audio, expectedAudio, sizeof(expectedAudio)));
  EXPECT_EQ(0, video->blockAlign);
  EXPECT_EQ(0xFFFE, audio->blockAlign);
  std::ostringstream fields;
  fields << +ext->valid << " " << ext->headerSize << " " << ext->planes << " " << ext->bitCount
         << " " << ext->xPelsPerMeter << " " << ext->yPelsPerMeter << " " << ext->colorsUsed << " "
         << ext->colorsImportant << std::hex << " " << ext->compression << " " << ext->imageSize;
  EXPECT_EQ("1 40 1 24 -5 -6 7 8 32564d57 11223344", fields.str());
  EXPECT_EQ(video, parser.GetTrackInfo(0));
  EXPECT_EQ("", session.source.TakeCalls());
  EXPECT_EQ(nullptr, parser.GetTrackInfo(2));
  EXPECT_EQ(nullptr, parser.GetTrackInfo(~0ul));
  EXPECT_EQ("6 [ASFParser] Non A/V Track\n6 [ASFParser] Non A/V Track\n", TakeLog());
}

TEST(TrackInfo, FillsUpAFormatThatIsCutShort) {
  OpenSession session(AsfFile({AudioStream(1, AudioFormat(0x161).substr(0, 5)), VideoStream(2, "")},
                              {Packet({Media(1, 0, "x")})}));
  const unsigned expectedAudio[] = {2, 211, 2, 0x44, 0, 0}, expectedVideo[] = {1, 100, 0, 0, 0, 0};
  EXPECT_EQ(0, std::memcmp(session.parser->GetTrackInfo(0), expectedAudio, sizeof(expectedAudio)));
  EXPECT_EQ(0, std::memcmp(session.parser->GetTrackInfo(1), expectedVideo, sizeof(expectedVideo)));
}

TEST(TrackInfo, FindsATrackThatIsNoLongerCurrent) {
  OpenSession session(AsfFile({AudioStream(1), AudioStream(3, AudioFormat(0x161)), VideoStream(2)},
                              {Packet({Media(1, 0, "x")})}),
                      "4");
  session.parser->SelectAudioTrack(1);
  EXPECT_EQ(201u, session.parser->GetTrackInfo(0)->codec);
  EXPECT_EQ(
      "2 [ASFParser] GetTrackInfo > loop(0) trackindex(0) streamtype(35)\n"
      "2 [ASFParser] GetTrackInfo > loop(1) trackindex(1) streamtype(35)\n"
      "2 [ASFParser] GetTrackInfo > loop(2) trackindex(1) streamtype(36)\n",
      TakeLog());
  OpenSession video(AsfFile({VideoStream(2), VideoStream(5), AudioStream(1)}));
  video.parser->SelectVideoTrack(1);
  EXPECT_EQ(107u, video.parser->GetTrackInfo(0)->codec);
  EXPECT_EQ(0, video.parser->getExtraInterface()->valid);  // that is the current track's
}

// One AC-3 payload per packet.
AsfFile Ac3File(const std::vector<Bytes>& frames, int blockAlign) {
  AsfFile file({AudioStream(1, AudioFormat(0x2000, 48000, blockAlign))});
  for (const Bytes& frame : frames) file.packets.push_back(Packet({Media(1, 3000, frame)}));
  return file;
}

TEST(Eac3Probe, ReadsTheIdentifierBehindTheFirstSyncWord) {
  const Bytes eac3 = Hex("0B 77 00 00 00 80 00"), swapped = Hex("77 0B 00 00 00 FF 00");
  const Bytes ac3 = Hex("0B 77 00 00 00 40 00"), none(7, 'n');
  const auto after = [&](int packets, const Bytes& frame) {
    std::vector<Bytes> frames(packets, none);
    frames.insert(frames.end(), 3, frame);
    return frames;
  };
  // Block align, codec, and the packets that are read: one more than there are where
  // the end is met.
  const struct {
    const char* what;
    std::vector<Bytes> frames;
    int blockAlign;
    unsigned codec;
    std::size_t packets;
  } cases[] = {
      {"E-AC-3", {eac3, none}, 7, 204, 1},
      {"byte-swapped", {swapped, none}, 7, 204, 1},
      {"half a sync word", {Hex("0B 00 77 00 00 80 00")}, 7, 203, 2},
      {"AC-3", {ac3, eac3}, 7, 203, 1},
      {"the first one decides", {ac3 + eac3}, 14, 203, 1},
      {"at the last place", {Bytes(9, 'n') + eac3}, 16, 204, 1},
      {"a place too far", {Bytes(10, 'n') + eac3}, 16, 203, 2},
      {"a frame shorter than a block", {Hex("0B 77 00 00 00 80"), eac3}, 16, 204, 2},
      {"a block too small", {eac3, eac3}, 6, 203, 3},
      {"in the 50th packet", after(49, eac3), 7, 204, 50},
      {"in the 51st packet", after(50, eac3), 7, 203, 50},
      {"a block too small in a long file", after(60, eac3), 0, 203, 50},
      {"no packet", {}, 7, 203, 1},
  };
  for (const auto& [what, frames, blockAlign, codec, packets] : cases) {
    SCOPED_TRACE(what);
    OpenSession session(Ac3File(frames, blockAlign), "4");
    EXPECT_EQ(codec, session.parser->GetTrackInfo(0)->codec);
    EXPECT_EQ(codec == 204 ? "2 [IsEAC3] EAC3\n" : "2 [IsEAC3] AC3\n", TakeLog("IsEAC3"));
    const std::string calls = session.source.TakeCalls();
    std::size_t read = 0;
    for (auto at = calls.find("+1,"); at != calls.npos; at = calls.find("+1,", at + 1)) ++read;
    EXPECT_EQ(std::min(packets, frames.size()), read);
    EXPECT_EQ(codec, session.parser->GetTrackInfo(0)->codec);
    EXPECT_EQ("", session.source.TakeCalls());
    // The queue is clean; the end that the probe met stays until a seek.
    std::string all;
    for (const Bytes& frame : frames) all += frame + "@0 ";
    EXPECT_EQ(packets > frames.size() ? "" : all, session.AllAudio());
    session.parser->Seek(0, kTrackAudio, 0);
    EXPECT_EQ(all, session.AllAudio());
  }
}

TEST(Eac3Probe, LeavesWhatWasQueuedBefore) {
  for (const int blockAlign : {7, 6}) {
    OpenSession session(Ac3File({"nothing", Hex("0B 77 00 00 00 80 00")}, blockAlign));
    EXPECT_EQ(0, session.parser->ParseDataPacket(0, 2));
    session.source.TakeCalls();
    EXPECT_EQ(203u, session.parser->GetTrackInfo(0)->codec);
    EXPECT_EQ("", session.source.TakeCalls());
    EXPECT_EQ("nothing@0", session.Audio());
  }
  OpenSession ended(Ac3File({Hex("0B 77 00 00 00 80 00")}, 7));
  ended.AllAudio();
  ended.source.TakeCalls();
  EXPECT_EQ(203u, ended.parser->GetTrackInfo(0)->codec);
  EXPECT_EQ("", ended.source.TakeCalls());
}

TEST(Config, IsWhatFollowsTheFixedPart) {
  for (const std::size_t size : {0, 1, 300}) {
    const Bytes config(size, 'c');
    OpenSession session(AsfFile({AudioStream(1, AudioFormat(0x161, 1, 1, config)),
                                 VideoStream(2, VideoFormat("H264", config))}),
                        "5");
    ASFParser& parser = *session.parser;
    for (const bool audio : {true, false}) {
      const auto get = audio ? &ASFParser::GetAudioConfig : &ASFParser::GetVideoConfig;
      std::vector<unsigned char> buffer(size + 1, '!');
      const std::size_t fixed = audio ? 18 : 51;
      const char* kind = audio ? "audio" : "video";
      std::ostringstream trace;
      trace << " : TypeSpecificDataLen=" << fixed + size << ", " << kind
            << "_specific_data len=" << fixed;
      if (size > 0) {
        trace << "| : dataLen=" << size << "(" << fixed + size << "), pData=0x" << std::hex
              << reinterpret_cast<std::uintptr_t>(buffer.data());
      }
      const std::string name = audio ? "[ASFParser] GetAudioConfig" : "[ASFParser] GetVideoConfig";
      const std::string log = Lines("2 " + name, trace.str());
      unsigned long length = 99;
      if (size > 0) {
        EXPECT_EQ(kParserMalformed, (parser.*get)(buffer.data(), &length, size - 1));
        EXPECT_EQ(size, length);
        EXPECT_EQ('!', buffer[0]);
        EXPECT_EQ(log + "6 " + name + " Len Error\n", TakeLog());
      }
      EXPECT_EQ(0, (parser.*get)(buffer.data(), &length, size));
      EXPECT_EQ(size, length);
      EXPECT_EQ(config + "!", Bytes(buffer.begin(), buffer.end()));
      EXPECT_EQ(log, TakeLog());
    }
  }
}

TEST(Config, ReadsTheVc1SequenceHeader) {
  const Bytes header = Hex("CB 6B 12 34 5F"), start = Hex("00 00 01 0F");
  const struct {
    const char* fourcc;
    Bytes config;
    bool found;
    int interlaced;
  } cases[] = {
      {"WVC1", start + header + Hex("C0"), true, 1},
      {"wvc1", "leading" + start + header + Hex("40 99"), true, 1},
      {"WVC1", start + header + Hex("BF"), true, 0},
      {"WVC1", start + header, true, 0},  // what is missing is 0
      {"WVC1", start + "h", true, 0},
      {"WVC1", "x" + start, false, 0},  // the last four bytes are not looked at
      {"WVC1", start, false, 0},
      {"WVC1", "", false, 0},
      {"WVC1", "abcdefghij", false, 0},
      {"H264", start + header + Hex("C0"), true, 0},
  };
  for (const auto& [fourcc, config, found, interlaced] : cases) {
    OpenSession session(AsfFile({VideoStream(2, VideoFormat(fourcc, config))}));
    unsigned char buffer[32], picture = 0x60;
    unsigned long length;
    EXPECT_EQ(0, session.parser->GetVideoConfig(buffer, &length, sizeof(buffer)));
    EXPECT_EQ(found ? "" : "6 can not find seq header in exdata\n", TakeLog());
    EXPECT_EQ(1u - interlaced, session.parser->CheckIframe_vc1_adv(&picture));
  }
  ParserSession session("", "4");
  Bytes config = cases[0].config;
  unsigned long length = config.size();
  EXPECT_EQ(1, session.parser->CheckSeqHdr_vc1_adv(reinterpret_cast<unsigned char*>(&config[0]),
                                                   &length));
  EXPECT_EQ(Lines("2 ",
                  "PROFILE(3)|LEVEL(1)|COLORDIFF_FORMAT(1)|FRMRTQ_POSTPROC(9)|"
                  "BITRTQ_POSTPROC(21)|POSTPROCFLAG(1)|MAX_CODED_WIDTH(291)|"
                  "MAX_CODED_HEIGHT(1104)|PULLDOWN(1)|INTERLACE(1)|interlaced is (1)"),
            TakeLog());
}

TEST(Config, ReadsTheVc1SimpleAndMainFlags) {
  // Configuration byte 3, then the bits of a picture's first byte that are its type.
  const int table[][2] = {{0x00, 0x20}, {0x80, 0x10}, {0x02, 0x10}, {0x82, 0x08}, {0x10, 0x30},
                          {0x40, 0x30}, {0x90, 0x18}, {0x22, 0x18}, {0xF2, 0x10}, {0x0D, 0x20}};
  for (const auto& [flags, bits] : table) {
    OpenSession session(AsfFile({VideoStream(2, VideoFormat("wmv3", "abc" + Le(flags, 1)))}));
    unsigned char buffer[4];
    unsigned long length;
    EXPECT_EQ(0, session.parser->GetVideoConfig(buffer, &length, sizeof(buffer)));
    for (int bit = 1; bit < 256; bit <<= 1) {
      unsigned char picture = static_cast<unsigned char>(bit);
      EXPECT_EQ((bits & bit) != 0 ? 1u : 0u,
                session.parser->CheckIframe_vc1_simple_and_main(&picture))
          << flags;
    }
  }
}

}  // namespace
