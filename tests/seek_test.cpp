// The packet time probe, the search for the packet to restart from, and the
// switching of streams.
#include <sstream>

#include "ParserSession.h"

namespace {

constexpr unsigned long long kDataStart = 409;  // of AvFile's packet 0

// 20 packets, 500 ms apart, each with audio and then video; every fourth starts a
// key frame. The index has an entry a second.
AsfFile SeekFile(const Bytes& trailing = SimpleIndex(10000000,
                                                     {0, 0, 0, 0, 0, 4, 4, 8, 8, 12, 12, 16, 16})) {
  AsfFile file({AudioStream(1, AudioFormat(0xFF, 400)), VideoStream(2)}, {}, trailing);
  for (unsigned i = 0; i < 20; ++i) {
    const std::string number = std::to_string(i);
    file.packets.push_back(Packet({Media(1, 3000 + 500 * i, "a" + number),
                                   Media(2, 3000 + 500 * i, "v" + number).Key(i % 4 == 0)}));
  }
  file.duration = 130000000;
  return file;
}

using Packets = std::vector<unsigned long long>;

// The numbers of the packets whose first byte was read since the last call.
Packets Probed(ParserSession* session) {
  std::istringstream calls(session->source.TakeCalls());
  Packets probed;
  for (std::string call; std::getline(calls, call, ',');) {
    const auto at = call.find("ReadAt ");
    if (at == call.npos || call.substr(call.size() - 2) != "+1") continue;
    probed.push_back((std::stoull(call.substr(at + 7)) - kDataStart) / 200);
  }
  return probed;
}

TEST(PacketTime, IsThatOfTheFirstFittingPayload) {
  const Payload audio = Media(1, 3500, "a"), video = Media(2, 3600, "v"), key = Key(2, 3700, "k");
  const Payload subs = Compressed(2, 5000, 40, {"a", "bb", "c"});
  const std::string noAudio = "2 !Audio payload\n";
  const std::string noVideo = "2 GetPacketTime !keyframe or !video payload\n";
  const std::string compressed = "6 GetPacketTime [compressed payload]";
  const struct {
    std::vector<Payload> payloads;
    int track, expected;
    std::string log;
  } cases[] = {
      {{key}, 1, 700, ""},
      {{video}, 1, 0, noVideo},
      {{video, key}, 1, 700, noVideo},
      {{Key(2, 3000, "k")}, 1, 0, ""},
      {{Key(2, 5, "k")}, 1, 0, ""},
      {{}, 1, 0, ""},
      {{audio, key}, 3, 0, ""},
      {{audio}, 2, 500, ""},
      {{video, audio}, 2, 500, noAudio},
      {{video}, 2, 0, noAudio},
      {{Media(1, 0, "a").Replicated("1234" + Le(3009, 2))}, 2, 9, ""},
      // Compressed: the time behind the last part.
      {{Payload(subs).Key(), key}, 1, 2120, ""},
      {{subs, key}, 1, 700, compressed + " !keyframe or !video payload\n"},
      {{subs, audio}, 2, 500, compressed + "!Audio payload\n"},
      {{Compressed(1, 10, 40, {"a", "b"})}, 2, 80, ""},
      {{Compressed(1, 3600, 40, {}), audio}, 2, 600, ""},
  };
  for (const auto& [payloads, track, expected, log] : cases) {
    OpenSession session(AvFile({Packet(payloads)}), "5");
    EXPECT_EQ(expected, session.parser->GetPacketTime(0, track)) << track << log;
    EXPECT_EQ(log, TakeLog()) << track << log;
  }
}

// The packet to restart from, and those that were probed on the way to it.
struct Found {
  long long packet;
  Packets probed;
};

void ExpectFound(const Found& expected, OpenSession* session, unsigned long target, int track,
                 int seekMode) {
  SCOPED_TRACE(::testing::Message() << target << " ms, track " << track << ", mode " << seekMode);
  session->source.TakeCalls();
  EXPECT_EQ(expected.packet,
            session->parser->GetStartPacketNumEx(target, track, 0, 0, 0, seekMode));
  EXPECT_EQ(expected.probed, Probed(session));
}

// Key frames are at 0, 2000 (packet 4), 4000, 6000 and 8000 ms (packet 16). One at
// the target is taken by neither scan, packet 0 is never probed, and a tie goes to
// the earlier one. Audio walks on from the key frame's packet to its own.
TEST(Seek, FindsThePacketInTheIndex) {
  constexpr int kNeither = 3;
  const struct {
    unsigned long target;
    int track;
    Found previous, next, closest;
  } cases[] = {
      {5000, kTrackVideo, {8, {8}}, {12, {8, 12}}, {8, {8, 8, 12}}},
      {5001, kTrackVideo, {8, {8}}, {12, {8, 12}}, {12, {8, 8, 12}}},
      {4000, kTrackVideo, {4, {8, 4}}, {12, {8, 12}}, {4, {8, 4, 8, 12}}},
      {1500, kTrackVideo, {0, {}}, {4, {4}}, {4, {4}}},
      {500, kTrackVideo, {0, {}}, {4, {4}}, {0, {4}}},
      {0, kTrackVideo, {0, {}}, {0, {}}, {0, {}}},
      {9000, kTrackVideo, {16, {16}}, {16, {16}}, {16, {16, 16}}},
      {99999, kTrackVideo, {16, {16}}, {16, {16}}, {16, {16, 16}}},
      {5000,
       kTrackAudio,
       {10, {8, 8, 9, 10, 11}},
       {10, {8, 12, 12, 11, 10, 9}},
       {10, {8, 8, 12, 8, 9, 10, 11}}},
      {5251,
       kTrackAudio,
       {11, {8, 8, 9, 10, 11}},
       {11, {8, 12, 12, 11, 10}},
       {11, {8, 8, 12, 12, 11, 10}}},
      {4000,
       kTrackAudio,
       {8, {8, 4, 4, 5, 6, 7, 8, 9}},
       {8, {8, 12, 12, 11, 10, 9, 8, 7}},
       {8, {8, 4, 8, 12, 4, 5, 6, 7, 8, 9}}},
      {9000, kTrackAudio, {18, {16, 16, 17, 18, 19}}, {18, {16, 16, 17, 18, 19}}, {16, {16, 16}}},
      {5000, kNeither, {0, {0}}, {0, {0}}, {0, {0}}},
  };
  for (const auto& [target, track, previous, next, closest] : cases) {
    OpenSession session(SeekFile());
    ExpectFound(previous, &session, target, track, kSeekPreviousSync);
    ExpectFound(next, &session, target, track, kSeekNextSync);
    ExpectFound(closest, &session, target, track, kSeekClosestSync);
    ExpectFound(closest, &session, target, track, kSeekClosest);
  }
  OpenSession unknownMode(SeekFile()), badOrder(SeekFile(SimpleIndex(10000000, {8, 4, 16, 16})));
  ExpectFound({0, {}}, &unknownMode, 5000, kTrackVideo, 7);
  ExpectFound({4, {16, 4}}, &badOrder, 5000, kTrackVideo, kSeekPreviousSync);
  ExpectFound({0, {16, 4}}, &badOrder, 1500, kTrackVideo, kSeekPreviousSync);
}

TEST(Seek, EstimatesWhereTheIndexOfAnAudioFileHasNoPacket) {
  AsfFile file = SeekFile();
  file.header[1] = Stream(ID_COMMAND_MEDIA, 2, VideoFormat("WMV2"));  // as long as the video's
  OpenSession session(file);
  session.parser->GetTrackInfo(0);
  ExpectFound({0, {1, 0}}, &session, 500, kTrackAudio, kSeekPreviousSync);  // from the estimate on
}

TEST(Seek, TakesTheEntryAsItIsInByteMode) {
  OpenSession session(SeekFile(), "4");
  const struct {
    unsigned long target;
    long long packet;
  } cases[] = {{0, 0},     {999, 0},   {1999, 0},  {2000, 4},
               {7000, 12}, {8000, 16}, {~0ul, 16}, {~0ul - 3000, 16}};
  for (const auto& [target, packet] : cases) {
    for (const int flags : {kSeekByteMode, kSeekByteMode | kSeekTimeMode}) {
      EXPECT_EQ(packet, session.parser->GetStartPacketNumEx(target, 1, flags, 1, 77, 0)) << target;
      EXPECT_EQ("2 GetStartPacketNumEx  isScanMode(1), isByteMode(1), isTimeMode(0)\n",
                TakeLog("Mode"));
    }
  }
  EXPECT_EQ("", session.source.TakeCalls());
}

TEST(Seek, TurnsTheHostsOffsetIntoAPacket) {
  const std::string position = "6 m_StartPosOfDataPackets (409) m_CurDataPacketLen (200)\n";
  const struct {
    int track, scan;
    unsigned long long offset;
    long long expected;
    std::string log;
  } cases[] = {
      {1, 0, 2414, 10, position + "6 nStartPacket (10) offset (2414) from ReadAtNpt\n"},
      {3, 1, 409, 0, position + "6 nStartPacket (0) offset (409) from ReadAtNpt\n"},
      {1, 0, 0, kParserUnsupported, "6 ReadAtNpt return ERROR\n"},
      {2, 1, 0, kParserUnsupported, "6 ReadAtNpt return ERROR\n"},
      {1, 0, 408, kParserUnsupported, ""},
      {2, 0, 2414, kParserUnsupported, "6 TrackCnt|VidPacketNum invalid return ERROR\n"},
      {3, 0, 2414, kParserInternal, "6 Unknown TrackType return ERROR\n"},
  };
  for (const auto& [track, scan, offset, expected, log] : cases) {
    OpenSession session(SeekFile());
    EXPECT_EQ(expected,
              session.parser->GetStartPacketNumEx(1, track, kSeekTimeMode, scan, offset, 0));
    EXPECT_EQ(log, TakeLog());
  }
  OpenSession both(SeekFile());
  EXPECT_EQ(0, both.parser->SeekEx(1, 1, kSeekTimeMode, 0, 2414, 0));
  EXPECT_EQ(10, both.parser->GetStartPacketNumEx(1, 2, kSeekTimeMode, 0, 0, 0));  // follows video
  AsfFile audioOnly = SeekFile();
  audioOnly.header.pop_back();
  OpenSession audio(audioOnly);  // its packets begin 129 bytes earlier; one packet further on
  EXPECT_EQ(11, audio.parser->GetStartPacketNumEx(1, 2, kSeekTimeMode, 0, 2414 - 129, 0));
  EXPECT_EQ(1, audio.parser->GetStartPacketNumEx(1, 2, kSeekTimeMode, 0, 280, 0));
  EXPECT_EQ(-1010, audio.parser->GetStartPacketNumEx(1, 2, kSeekTimeMode, 0, 279, 0));
  audioOnly.minPacket = audioOnly.maxPacket = 0;
  OpenSession noLength(audioOnly);
  EXPECT_EQ(1, noLength.parser->GetStartPacketNumEx(1, 2, kSeekTimeMode, 0, 2414, 0));
}

TEST(Seek, EstimatesWithoutAnIndex) {
  // What is out of range is brought to the nearer end.
  constexpr unsigned long kLast = ~0ul;
  const struct {
    unsigned long target;
    int track;
    unsigned fileBitrate;
    int audioBytesPerSecond;  // 0: not described, so not known
    long long packet;
  } cases[] = {
      {5000, kTrackVideo, 16000, 0, 50},
      {5000, kTrackVideo, 7999, 0, 0},
      {5000, kTrackVideo, 23999, 400, 50},
      {99, kTrackVideo, 16000, 0, 0},
      {4000, kTrackAudio, 0, 400, 8},
      {99999, kTrackAudio, 0, 400, 199},
      {99999, kTrackAudio, 16000, 0, 999},
      {4099, kTrackAudio, 0, 400, 8},
      {kLast, kTrackVideo, 16000, 0, 92233720368547758},
      {kLast, kTrackAudio, 0, 1073741824, 9223372036854775807},
  };
  for (const auto& [target, track, fileBitrate, audioRate, packet] : cases) {
    AsfFile file = SeekFile("");
    file.header[0] = AudioStream(1, AudioFormat(0xFF, audioRate));
    file.bitrate = fileBitrate;
    OpenSession session(file);
    if (audioRate != 0) session.parser->GetTrackInfo(0);
    EXPECT_EQ(packet, session.parser->GetStartPacketNumEx(target, track, 0, 0, 0, 0));
    EXPECT_TRUE(track == kTrackAudio || session.source.TakeCalls().empty());
  }
}

TEST(Seek, RefinesFromAStart) {
  constexpr int kNoAudio = -1;
  const struct {
    std::vector<int> audioMs;  // of each packet
    unsigned start;            // the packet that video was sought to
    unsigned long target;
    Found found;
    Lie64 packetCount = {};  // that the file states
  } cases[] = {
      {{100, 200, 300, 400, 500, 600}, 3, 300, {2, {3, 2, 1}}},
      {{100, 200, 300, 400, 500, 600}, 3, 400, {3, {3, 2}}},
      {{100, 200, 300, 400, 500, 600}, 3, 401, {3, {3, 4}}},
      {{100, 200, 300, 400, 500, 600}, 3, 350, {2, {3, 2}}},
      {{100, 200, 300, 400, 500, 600}, 3, 351, {3, {3, 2}}},
      {{100, 200, 300, 400, 500, 600}, 3, 450, {3, {3, 4}}},
      {{100, 200, 300, 400, 500, 600}, 3, 451, {4, {3, 4}}},
      {{100, 200, 300, 400, 500, 600}, 3, 999, {5, {3, 4, 5}}},
      {{100, 200, 300, 400, 500, 600}, 3, 50, {3, {3, 2, 1, 0}}},
      {{100, 200, 300, 400, 500, 600}, 9, 50, {9, {}}},
      {{100, 200, kNoAudio, kNoAudio, 500}, 3, 250, {1, {3, 2, 1, 2, 3, 4}}},
      {{100, kNoAudio, kNoAudio, 400}, 2, 350, {0, {2, 1}}},
      {{100, 200, kNoAudio, kNoAudio}, 1, 500, {1, {1, 2, 3}}},
      {{100, 200, kNoAudio, kNoAudio}, 1, 500, {0, {1, 2, 3}}, 10},
      {{100, 200, 300}, 1, 500, {0, {1, 2}}, 10},
      {{100, 200, 300, 400}, 1, 500, {1, {1}}, 2},
  };
  for (const auto& [audioMs, start, target, found, packetCount] : cases) {
    AsfFile file = AvFile();
    for (const int ms : audioMs) {
      file.packets.push_back(
          Packet({ms == kNoAudio ? Media(2, 3000, "v") : Media(1, 3000 + ms, "a")}));
    }
    file.packetCount = packetCount;
    OpenSession session(file);
    const unsigned long long offset = kDataStart + 200ull * start;
    EXPECT_EQ(0, session.parser->SeekEx(0, kTrackVideo, kSeekTimeMode, 0, offset, 0));
    ExpectFound(found, &session, target, kTrackAudio, kSeekPreviousSync);
  }
}

TEST(Seek, EstimatesWithAnIndexOfTwoEntries) {
  AsfFile file = SeekFile(SimpleIndex(10000000, {0, 5}));
  file.bitrate = 16000;
  OpenSession session(file, "6");
  EXPECT_EQ(40, session.parser->GetStartPacketNumEx(4000, 1, 0, 0, 0, 0));
  EXPECT_EQ(
      "3 [ASFParser] Simple Index but Invalid : packetNum(40)\n"
      "2 [GetStartPacketNumEx]Use Simple Index for Video track (40)\n",
      TakeLog("Index"));
  EXPECT_EQ(40, session.parser->GetStartPacketNumEx(4000, 2, 0, 0, 0, 0));  // bitrate unknown
  session.parser->GetTrackInfo(0);
  TakeLog();
  EXPECT_EQ(8, session.parser->GetStartPacketNumEx(4000, 2, 0, 0, 0, 0));
  // 4050 bytes of data in 10 s, so 405 a second.
  const std::string expected =
      "2 GetStartPacketNumEx  isScanMode(0), isByteMode(0), isTimeMode(0)\n"
      "2 [GetStartPacketNumEx] 4050, 10\n"
      "2 [GetStartPacketNumEx] m_AudioBitrate change 3240\n"
      "2 [ASFParser] AudiopacketNum 8.1\n";
  EXPECT_EQ(expected, TakeLog().substr(0, expected.size()));
}

std::string Restarted(const std::string& table) {
  return "2 [ASFParser]IN>SeekForward : " + table + "(0)\n2 [ASFParser]OUT>SeekForward : " + table +
         "(0)\n";
}

TEST(Seek, PrintsEveryMessage) {
  const std::string modes = "2 GetStartPacketNumEx  isScanMode(0), isByteMode(0), isTimeMode(0)\n";
  const std::string probe = "2 GetPacketTime !keyframe or !video payload\n";
  OpenSession video(SeekFile(), "7");
  EXPECT_EQ(0, video.parser->SeekEx(5000, kTrackVideo, 0, 0, 0, kSeekClosestSync));
  EXPECT_EQ("2 ASFParser::SeekEx 5000\n" + modes +
                "2 [ASFParser] Simple Index : [8]packetNum(8)\n" + probe +
                "2 [ASFParser] Previous : packetNum(8) timestamp (4000)\n" + probe +
                "2 [ASFParser] Next : packetNum(8) timestamp (4000)\n" + probe +
                "2 [ASFParser] Next : packetNum(12) timestamp (6000)\n"
                "2 CLOSEST_SYNC[Prev]: timestampMs(5000),packetNum(8) timestamp (4000)\n"
                "2 [GetStartPacketNumEx]Use Simple Index for Video track (8)\n"
                "3 [ASFParser] video packetNum(8)\n" +
                Restarted("m_vMultiFrameDataObject"),
            TakeLog());
  EXPECT_EQ(0, video.parser->Seek(5000, kTrackVideo, 1));
  EXPECT_EQ("2 ASFParser::Seek 5000\n2 [ASFParser] video packetNum(0)\n" +
                Restarted("m_vMultiFrameDataObject"),
            TakeLog());
  OpenSession audio(SeekFile(""), "7");
  audio.parser->GetTrackInfo(0);
  audio.parser->SeekEx(4000, kTrackAudio, 0, 0, 0, 0);
  TakeLog();
  EXPECT_EQ(0, audio.parser->SeekEx(4000, kTrackAudio, 0, 0, 0, 0));
  EXPECT_EQ("2 ASFParser::SeekEx 4000\n" + modes +
                "2 [ASFParser] timestampMs 4000 * (m_AudioBitrate 3200 /8000) / "
                "m_CurDataPacketLen 200\n"
                "2 [ASFParser] AudiopacketNum 8\n"
                "2 [ASFParser] m_CurDataPacketNum 8\n"
                "3 [ASFParser] No Simple Index : packetNum(8)\n"
                "2 [GetStartPacketNumEx]Seed Index is 8\n"
                "2 [GetStartPacketNumEx] find matched patcket nStartPacket(8)\n"
                "3 [ASFParser] Audio packetNum(8)\n" +
                Restarted("m_vAudFrameLocDataObject"),
            TakeLog());
  EXPECT_EQ(0, audio.parser->Seek(4000, kTrackAudio, 0));
  EXPECT_EQ("2 [ASFParser] Audio packetNum(0)\n", TakeLog("packetNum"));
}

TEST(Seek, RestartsItsTrackAlone) {
  AsfFile file = SeekFile();
  file.header[0] = AudioStream(1, AudioFormat(0x161, 400, 1));  // a byte a frame
  for (Packet& packet : file.packets) packet.payloads[1].key = true;
  OpenSession session(file, "4");
  EXPECT_EQ("a@2", session.Audio());
  EXPECT_EQ("v0@0", session.Video());
  EXPECT_EQ(0, session.parser->SeekEx(5000, kTrackVideo, 0, 0, 0, kSeekPreviousSync));
  EXPECT_EQ("v8@4000", session.Video());
  EXPECT_EQ(0, session.parser->SeekEx(0, kTrackVideo, 0, 0, 0, kSeekPreviousSync));
  EXPECT_EQ("v0@0", session.Video());
  EXPECT_EQ("0@4", session.Audio());
  session.Audio();
  TakeLog();
  EXPECT_EQ(0, session.parser->SeekEx(5000, kTrackAudio, 0, 0, 0, kSeekPreviousSync));
  EXPECT_EQ("2 [ASFParser]IN>SeekForward : m_vAudFrameLocDataObject(1)\n", TakeLog("IN>"));
  EXPECT_EQ("a@5002", session.Audio());
  session.AllVideo();
  EXPECT_EQ(0, session.parser->Seek(5000, kTrackVideo, 1));
  EXPECT_EQ("v0@0", session.Video());
  EXPECT_EQ(0, session.parser->Seek(5000, 9, 1));
  EXPECT_EQ("v1@500", session.Video());
}

TEST(Seek, LeavesTheTrackWhereItWasWhenItFails) {
  OpenSession session(SeekFile(SimpleIndex(10000000, {0, 99, 99, 99, 99, 99, 99, 99})));
  EXPECT_EQ("v0@0", session.Video());
  for (const int seekMode : {0, 1, 2}) {
    EXPECT_EQ(kParserEndOfStream, session.parser->SeekEx(4000, kTrackVideo, 0, 0, 0, seekMode));
    EXPECT_EQ("6 GetPacketTime returns error\n", TakeLog());
  }
  EXPECT_EQ("v1@500", session.Video());
}

TEST(TrackSelection, SwitchesByThePlaceInTheHeader) {
  const Bytes nals = Hex("00 00 00 02") + "ab" + Hex("00 00 00 01") + "c";
  OpenSession session(
      AsfFile({VideoStream(2, VideoFormat("H264")), VideoStream(5), AudioStream(1)},
              {Packet({Media(2, 3000, nals), Media(2, 3000, nals), Media(1, 3000, "a")})}));
  ASFParser& parser = *session.parser;
  EXPECT_EQ(Hex("00 00 00 01") + "ab@0", session.Video());
  TakeLog();
  // The former index stays, so that the same selection works again.
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(0, parser.SelectVideoTrack(1));
    EXPECT_EQ(
        "5 [ASFParser] SelectVideoTrack(0->1)\n"
        "6 [ASFParser] GetTrackInfo > get video data obj(1)\n",
        TakeLog());
  }
  EXPECT_EQ("(-1011)", session.Video());  // nothing is left in the queue
  EXPECT_EQ(0, parser.SelectVideoTrack(0) | parser.SelectAudioTrack(1));
  EXPECT_EQ("", TakeLog());                  // both are current
  EXPECT_EQ(0, parser.SelectAudioTrack(0));  // a video stream
  EXPECT_EQ("5 [ASFParser] SelectAudioTrack(1->0)\n", TakeLog());
  // Both are at stream 1 now, which either direction skips as the other's.
  EXPECT_EQ("(-1011)", session.Audio());
}

TEST(TrackSelection, DropsWhatIsQueued) {
  OpenSession session(AsfFile({AudioStream(1), AudioStream(3), VideoStream(2)},
                              {Packet({Media(1, 3000, "a"), Media(1, 3100, "b")})}));
  EXPECT_EQ("a@0", session.Audio());
  EXPECT_EQ(0, session.parser->SelectAudioTrack(1));
  EXPECT_EQ(
      "5 [ASFParser] SelectAudioTrack(0->1)\n"
      "6 [ASFParser] GetTrackInfo > get audio data obj(1)\n",
      TakeLog());
  EXPECT_EQ("(-1011)", session.Audio());
  EXPECT_EQ(0, session.parser->SelectAudioTrack(1));
  EXPECT_EQ("", TakeLog());
}

}  // namespace
