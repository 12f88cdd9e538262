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

// The numbers of the packets whose first byte was read since the last call.
std::string Probed(ParserSession* session) {
  std::istringstream calls(session->source.TakeCalls());
  std::string probed, call;
  while (std::getline(calls, call, ',')) {
    const auto at = call.find("ReadAt ");
    if (at == call.npos || call.substr(call.size() - 2) != "+1") continue;
    const auto packet = (std::stoull(call.substr(at + 7)) - kDataStart) / 200;
    probed += (probed.empty() ? "" : " ") + std::to_string(packet);
  }
  return probed;
}

TEST(PacketTime, IsThatOfTheFirstFittingPayload) {
  const Payload audio = Media(1, 3500, "a"), video = Media(2, 3600, "v"), key = Key(2, 3700, "k");
  const Payload subs = Compressed(2, 5000, 40, {"a", "bb", "c"});
  const std::string none = "2 GetPacketTime !keyframe or !video payload\n";
  const std::string error = "6 [ASFParser] GetPacketTime new[] alloc. ";
  const struct {
    const char* what;
    std::vector<Payload> payloads;
    int track, expected;
    std::string log = "";
  } cases[] = {
      {"a key frame", {key}, 1, 700},
      {"audio", {audio}, 2, 500},
      {"audio behind video", {video, audio}, 2, 500, "2 !Audio payload\n"},
      {"video for audio", {video}, 2, 0, "2 !Audio payload\n"},
      {"video without key", {video}, 1, 0, none},
      {"a later payload", {video, key}, 1, 700, none},
      {"a time at the preroll", {Key(2, 3000, "k")}, 1, 0},
      {"a time below it", {Key(2, 5, "k")}, 1, 0},
      {"no payload", {}, 1, 0},
      {"another track type", {audio, key}, 3, 0},
      {"compressed", {Compressed(1, 5000, 40, {"a", "bb", "c"})}, 2, 2120},
      {"compressed key frame", {Payload(subs).Key(), key}, 1, 2120},
      {"compressed without key",
       {subs, key},
       1,
       700,
       "6 GetPacketTime [compressed payload] !keyframe or !video payload\n"},
      {"compressed for audio",
       {subs, audio},
       2,
       500,
       "6 GetPacketTime [compressed payload]!Audio payload\n"},
      {"compressed below the preroll", {Compressed(1, 10, 40, {"a", "b"})}, 2, 80},
      {"compressed, empty", {Compressed(1, 3600, 40, {}), audio}, 2, 600},
      {"compressed, an empty part",
       {Compressed(1, 3600, 40, {"a", ""})},
       2,
       kParserOutOfRange,
       error + "size trouble - 2 (0)\n"},
      {"short replicated data", {Media(1, 0, "a").Replicated("1234" + Le(3009, 2))}, 2, 9},
      {"no replicated data",
       {Media(1, 0, "a").Replicated("")},
       2,
       kParserOutOfRange,
       error + "size trouble (0)\n"},
      {"no body",
       {audio, Key(2, 3700, "")},
       1,
       kParserOutOfRange,
       none + error + "payloadLen trouble (0)\n"},
  };
  for (const auto& test : cases) {
    OpenSession session(AvFile({Packet(test.payloads)}), "5");
    EXPECT_EQ(test.expected, session.parser->GetPacketTime(0, test.track)) << test.what;
    EXPECT_EQ(test.log, TakeLog()) << test.what;
  }
  for (const unsigned size : {0x100000u, 0x100001u}) {
    // Packet 0 has replicated data of that size, packet 1 a body.
    const Bytes replicated = "1234" + Le(3500, 4) + Bytes(size - 8, 'r');
    AsfFile file = AvFile({Packet({Media(1, 0, "a").Replicated(replicated), audio}),
                           Packet({Media(1, 3500, "a").Length(size), audio})});
    file.packets[0].replicatedType = file.packets[1].lengthType = 3;
    file.packetLength = 0x100100;
    OpenSession session(file);
    const int expected = size > 0x100000 ? kParserOutOfRange : 500;
    EXPECT_EQ(expected, session.parser->GetPacketTime(0, 2));
    EXPECT_EQ(expected == 500 ? "" : error + "size trouble (1048577)\n", TakeLog());
    EXPECT_EQ(expected, session.parser->GetPacketTime(1, 2));
    EXPECT_EQ(expected == 500 ? "" : error + "payloadLen trouble (1048577)\n", TakeLog());
  }
}

TEST(PacketTime, SkipsBodies) {
  const Payload sound = Media(1, 3500, "sound"), video = Media(2, 3500, "video");
  const Payload key = Payload(video).Key(), subs = Compressed(1, 3500, 5, {"a", "bb"});
  const std::string front = "ReadAt 409+1, ReadAt 409+3, Read 2, Read 2, Read 6, GetPosition, ";
  const std::string payload = "Read 1, Read 1, Read 4, Read 1, ";
  const struct {
    std::vector<Payload> payloads;
    int track;
    std::string calls;
  } cases[] = {
      {{video}, 1, payload + "Read 8, GetPosition, Skip 5, Skip 167"},
      {{key}, 1, payload + "Read 8, GetPosition, Skip 5"},
      {{video}, 2, "Read 1"},
      {{sound, key},
       1,
       "Read 1, " + payload + "Read 8, Read 2, Skip 5, " + payload + "Read 8, Read 2, Skip 5"},
      {{subs}, 1, payload + "Read 1, GetPosition, Read 1, Skip 1, Read 1, Skip 2, Skip 174"},
      {{}, 2, "Read 1, Skip 186"},
  };
  for (const auto& test : cases) {
    OpenSession session(AvFile({Packet(test.payloads)}), "0");
    session.parser->GetPacketTime(0, test.track);
    EXPECT_EQ(front + test.calls, session.source.TakeCalls()) << &test - cases;
  }
}

TEST(Seek, FindsThePacketInTheIndex) {
  const struct {
    unsigned long target;
    int track, seekMode;
    long long packet;
    const char* probed;
  } cases[] = {
      // Video. Key frames are at 0, 2000 (packet 4), 4000, 6000 and 8000 (packet 16).
      {5000, 1, 0, 8, "8"},
      {5000, 1, 1, 12, "8 12"},
      {5000, 1, 2, 8, "8 8 12"},  // a tie goes to the earlier one
      {5001, 1, 2, 12, "8 8 12"},
      {4999, 1, 3, 8, "8 8 12"},
      {4000, 1, 0, 4, "8 4"},  // one at the target is taken by neither scan
      {4000, 1, 1, 12, "8 12"},
      {4000, 1, 2, 4, "8 4 8 12"},
      {500, 1, 0, 0, ""},  // packet 0 is never probed
      {500, 1, 1, 4, "4"},
      {500, 1, 2, 0, "4"},
      {1500, 1, 2, 4, "4"},
      {0, 1, 0, 0, ""},
      {0, 1, 1, 0, ""},
      {0, 1, 2, 0, ""},
      {9000, 1, 1, 16, "16"},  // no later one: the last one probed
      {9000, 1, 2, 16, "16 16"},
      {99999, 1, 0, 16, "16"},
      {5000, 1, 7, 0, ""},
      // Audio takes that packet as a start and walks to its own.
      {5000, 2, 0, 10, "8 8 9 10 11"},
      {5250, 2, 0, 10, "8 8 9 10 11"},
      {5251, 2, 0, 11, "8 8 9 10 11"},
      {4000, 2, 1, 8, "8 12 12 11 10 9 8 7"},
      {9000, 2, 2, 16, "16 16"},  // without a walk where there is no later one
      {5000, 2, 2, 10, "8 8 12 8 9 10 11"},
      {5000, 3, 0, 0, "0"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(&test - cases);
    OpenSession session(SeekFile());
    EXPECT_EQ(test.packet,
              session.parser->GetStartPacketNumEx(test.target, test.track, 0, 0, 0, test.seekMode));
    EXPECT_EQ(test.probed, Probed(&session));
  }
}

TEST(Seek, ScansBackToTheSecondEntry) {
  const std::pair<unsigned long, long long> cases[] = {{5000, 4}, {1500, 0}};
  for (const auto& [target, packet] : cases) {
    OpenSession session(SeekFile(SimpleIndex(10000000, {8, 4, 16, 16})));
    EXPECT_EQ(packet, session.parser->GetStartPacketNumEx(target, 1, 0, 0, 0, 0));
    EXPECT_EQ("16 4", Probed(&session));
  }
}

TEST(Seek, EstimatesWhereTheIndexOfAnAudioFileHasNoPacket) {
  AsfFile file = SeekFile();
  file.header[1] = Stream(ID_COMMAND_MEDIA, 2, VideoFormat("WMV2"));  // as long as the video's
  OpenSession session(file);
  session.parser->GetTrackInfo(0);
  EXPECT_EQ(0, session.parser->GetStartPacketNumEx(500, kTrackAudio, 0, 0, 0, 0));
  EXPECT_EQ("1 0", Probed(&session));  // from the estimate on
}

TEST(Seek, TakesTheEntryAsItIsInByteMode) {
  OpenSession session(SeekFile(), "4");
  const std::pair<unsigned long, long long> cases[] = {{0, 0},     {999, 0},         {1999, 0},
                                                       {2000, 4},  {7000, 12},       {8000, 16},
                                                       {~0ul, 16}, {~0ul - 3000, 16}};
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
  for (const auto& test : cases) {
    OpenSession session(SeekFile());
    EXPECT_EQ(test.expected, session.parser->GetStartPacketNumEx(1, test.track, kSeekTimeMode,
                                                                 test.scan, test.offset, 0));
    EXPECT_EQ(test.log, TakeLog());
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
  const struct {
    unsigned long target;
    int track;
    unsigned maxBitrate;
    int audioRate;  // bytes per second; 0: the track is not described, so it is not known
    long long expected;
  } cases[] = {
      {5000, 1, 16000, 0, 50},
      {5000, 1, 7999, 0, 0},
      {5000, 1, 23999, 400, 50},
      {99, 1, 16000, 0, 0},
      {4000, 2, 0, 400, 8},
      {99999, 2, 0, 400, 199},
      {99999, 2, 16000, 0, 999},
      {4099, 2, 0, 400, 8},
      // What is out of range is brought to the nearer end.
      {~0ul, 1, 16000, 0, 92233720368547758},
      {~0ul, 2, 0, 1 << 30, 9223372036854775807},
  };
  for (const auto& test : cases) {
    AsfFile file = SeekFile("");
    file.header[0] = AudioStream(1, AudioFormat(0xFF, test.audioRate));
    file.bitrate = test.maxBitrate;
    OpenSession session(file);
    if (test.audioRate != 0) session.parser->GetTrackInfo(0);
    EXPECT_EQ(test.expected,
              session.parser->GetStartPacketNumEx(test.target, test.track, 0, 0, 0, 0));
    EXPECT_TRUE(test.track == kTrackAudio || session.source.TakeCalls().empty());
  }
}

TEST(Seek, RefinesFromAStart) {
  // Audio times by packet, 0 = no audio there; video was sought to `start`.
  const std::vector<unsigned> sixTimes = {100, 200, 300, 400, 500, 600};
  const struct {
    std::vector<unsigned> times;
    unsigned start;
    unsigned long target;
    long long expected;
    const char* probed;
    unsigned packetCount = 0;  // that the file says
  } cases[] = {
      {sixTimes, 3, 300, 2, "3 2 1"},
      {sixTimes, 3, 400, 3, "3 2"},
      {sixTimes, 3, 401, 3, "3 4"},
      {sixTimes, 3, 350, 2, "3 2"},  // a tie: the earlier one
      {sixTimes, 3, 351, 3, "3 2"},
      {sixTimes, 3, 450, 3, "3 4"},
      {sixTimes, 3, 451, 4, "3 4"},
      {sixTimes, 3, 999, 5, "3 4 5"},
      {sixTimes, 3, 50, 3, "3 2 1 0"},  // before all: the start
      {sixTimes, 9, 50, 9, ""},
      {{100, 200, 0, 0, 500}, 3, 250, 1, "3 2 1 2 3 4"},
      {{100, 0, 0, 400}, 2, 350, 0, "2 1"},
      {{100, 200, 0, 0}, 1, 500, 1, "1 2 3"},
      {{100, 200, 0, 0}, 1, 500, 0, "1 2 3", 10},  // the data end first
      {{100, 200, 300}, 1, 500, 0, "1 2", 10},
      {{100, 200, 300, 400}, 1, 500, 1, "1", 2},
  };
  for (const auto& test : cases) {
    AsfFile file = AvFile();
    for (const unsigned time : test.times) {
      file.packets.push_back(
          Packet({time == 0 ? Media(2, 3000, "v") : Media(1, 3000 + time, "a")}));
    }
    if (test.packetCount != 0) file.packetCount = test.packetCount;
    OpenSession session(file);
    const unsigned long long offset = kDataStart + 200ull * test.start;
    EXPECT_EQ(0, session.parser->SeekEx(0, kTrackVideo, kSeekTimeMode, 0, offset, 0));
    EXPECT_EQ(test.expected,
              session.parser->GetStartPacketNumEx(test.target, kTrackAudio, 0, 0, 0, 0))
        << &test - cases;
    EXPECT_EQ(test.probed, Probed(&session)) << &test - cases;
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

TEST(Seek, PrintsEveryMessage) {
  OpenSession video(SeekFile(), "7");
  EXPECT_EQ(0, video.parser->SeekEx(5000, kTrackVideo, 0, 0, 0, kSeekClosestSync));
  EXPECT_EQ(
      "2 ASFParser::SeekEx 5000\n"
      "2 GetStartPacketNumEx  isScanMode(0), isByteMode(0), isTimeMode(0)\n"
      "2 [ASFParser] Simple Index : [8]packetNum(8)\n"
      "2 GetPacketTime !keyframe or !video payload\n"
      "2 [ASFParser] Previous : packetNum(8) timestamp (4000)\n"
      "2 GetPacketTime !keyframe or !video payload\n"
      "2 [ASFParser] Next : packetNum(8) timestamp (4000)\n"
      "2 GetPacketTime !keyframe or !video payload\n"
      "2 [ASFParser] Next : packetNum(12) timestamp (6000)\n"
      "2 CLOSEST_SYNC[Prev]: timestampMs(5000),packetNum(8) timestamp (4000)\n"
      "2 [GetStartPacketNumEx]Use Simple Index for Video track (8)\n"
      "3 [ASFParser] video packetNum(8)\n"
      "2 [ASFParser]IN>SeekForward : m_vMultiFrameDataObject(0)\n"
      "2 [ASFParser]OUT>SeekForward : m_vMultiFrameDataObject(0)\n",
      TakeLog());
  OpenSession audio(SeekFile(""), "7");
  audio.parser->GetTrackInfo(0);
  audio.parser->SeekEx(4000, kTrackAudio, 0, 0, 0, 0);
  TakeLog();
  EXPECT_EQ(0, audio.parser->SeekEx(4000, kTrackAudio, 0, 0, 0, 0));
  EXPECT_EQ(
      "2 ASFParser::SeekEx 4000\n"
      "2 GetStartPacketNumEx  isScanMode(0), isByteMode(0), isTimeMode(0)\n"
      "2 [ASFParser] timestampMs 4000 * (m_AudioBitrate 3200 /8000) / m_CurDataPacketLen 200\n"
      "2 [ASFParser] AudiopacketNum 8\n"
      "2 [ASFParser] m_CurDataPacketNum 8\n"
      "3 [ASFParser] No Simple Index : packetNum(8)\n"
      "2 [GetStartPacketNumEx]Seed Index is 8\n"
      "2 [GetStartPacketNumEx] find matched patcket nStartPacket(8)\n"
      "3 [ASFParser] Audio packetNum(8)\n"
      "2 [ASFParser]IN>SeekForward : m_vAudFrameLocDataObject(0)\n"
      "2 [ASFParser]OUT>SeekForward : m_vAudFrameLocDataObject(0)\n",
      TakeLog());
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
  TakeLog();
  EXPECT_EQ(0, session.parser->Seek(5000, kTrackVideo, 1));
  EXPECT_EQ(
      "2 ASFParser::Seek 5000\n"
      "2 [ASFParser] video packetNum(0)\n"
      "2 [ASFParser]IN>SeekForward : m_vMultiFrameDataObject(0)\n"
      "2 [ASFParser]OUT>SeekForward : m_vMultiFrameDataObject(0)\n",
      TakeLog());
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
  EXPECT_EQ(0, parser.SelectVideoTrack(0));
  EXPECT_EQ(0, parser.SelectAudioTrack(1));
  EXPECT_EQ("", TakeLog());
  EXPECT_EQ(0, parser.SelectAudioTrack(0));  // a video stream
  EXPECT_EQ("5 [ASFParser] SelectAudioTrack(1->0)\n", TakeLog());
  // Both are at stream 1 now, which either direction skips as the other's.
  EXPECT_EQ("(-1011)", session.Audio());
}

TEST(TrackSelection, DoesNothingForTheCurrentTrack) {
  OpenSession session(AvFile()), other(AsfFile({VideoStream(2), AudioStream(1)}));
  EXPECT_EQ(0, session.parser->SelectAudioTrack(0) | session.parser->SelectVideoTrack(1));
  EXPECT_EQ(0, other.parser->SelectAudioTrack(1) | other.parser->SelectVideoTrack(0));
  EXPECT_EQ("", TakeLog());
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
