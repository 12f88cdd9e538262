// Data packets: their header, the walk over their payloads, and the queues that
// media objects are joined in.
#include "ParserSession.h"

namespace {

// Ways to walk packet 0 besides the modes of ParseDataPacket.
constexpr int kOlderForm = -1, kProbeVideo = 3, kProbeAudio = 4;

int WalkPacket(OpenSession* session, int mode) {
  ASFParser& parser = *session->parser;
  if (mode == kProbeVideo) return parser.GetPacketTime(0, kTrackVideo);
  if (mode == kProbeAudio) return parser.GetPacketTime(0, kTrackAudio);
  return mode == kOlderForm ? parser.ParseDataPacket(0) : parser.ParseDataPacket(0, mode);
}

// What packet 0 comes to: the units of audio and then of video that it queues.
struct Demuxed {
  int status;
  std::string calls, log, units;
};
Demuxed Demux(const AsfFile& file, int mode, const char* level = "1") {
  OpenSession session(file, level);
  Demuxed result{WalkPacket(&session, mode), session.source.TakeCalls(), TakeLog(), ""};
  // Reading on fails, so that only what is queued comes.
  session.source.PlanIn(1, Fault::kFail);
  result.units = session.AllAudio();
  session.source.PlanIn(1, Fault::kFail);
  result.units += session.AllWholeVideo();
  return result;
}
Demuxed Demux(const std::vector<Payload>& payloads, int mode, const char* level = "1") {
  return Demux(AvFile({Packet(payloads)}), mode, level);
}

TEST(PacketHeader, ReadsFieldsOfEveryWidth) {
  for (int type = 0; type < 4; ++type) {
    Packet packet({Media(1, 3000, "x")});
    packet.packetLengthType = packet.sequenceType = packet.paddingType = type;
    packet.sendTime = 0x01020304;
    AsfFile file = AvFile({packet});
    file.packetLength = 90;
    OpenSession session(file);
    EXPECT_EQ(1, session.parser->SetDataPacketLen());  // stands at packet 0
    session.source.TakeCalls();
    payload_parsing_info info;
    unsigned length = 0;
    EXPECT_EQ(0, session.parser->ParsePayloadParsingInfo(&info, &length));
    const int width = type == 3 ? 4 : type;
    const std::string field = type == 0 ? "" : "Read " + std::to_string(width) + ", ";
    EXPECT_EQ("ReadAt 409+1, ReadAt 409+3, Read 2, " + field + field + field + "Read 6",
              session.source.TakeCalls());
    const unsigned flags = 42u * type;  // in bits 1, 3 and 5
    const unsigned size = type == 0 ? 0 : 90, padding = type == 0 ? 0 : 90 - 11 - 3 * width - 16;
    EXPECT_EQ((std::vector<unsigned>{90, flags, 0x5D, size, padding, 0x01020304}),
              (std::vector<unsigned>{length, info.LengthTypeFlags, info.PropertyFlags,
                                     info.PacketLength, info.PaddingLength, info.SendTime}));
  }
}

TEST(PacketHeader, SettlesThePacketLength) {
  // The file says 200 at least, 300 at most. What packet 0 has settled on, and what
  // packet 1 declares, reports and leaves settled.
  const unsigned cases[][4] = {{200, 200, 200, 200}, {200, 0, 200, 200},   {250, 0, 200, 250},
                               {250, 240, 240, 250}, {250, 300, 300, 250}, {250, 100, 100, 200},
                               {200, 400, 400, 300}};
  for (const auto& [settled, declared, reported, current] : cases) {
    Packet first({Media(1, 3000, "x")}), second({Media(1, 3000, "y")});
    first.packetLengthType = 2;
    second.packetLengthType = declared == 0 ? 0 : 2;
    second.packetLength = declared;
    second.padding = 10;
    AsfFile file = AvFile({first, second, second});
    file.packetLength = settled;
    file.minPacket = 200;
    file.maxPacket = 300;
    OpenSession session(file);
    EXPECT_EQ(0, session.parser->ParseDataPacket(1, 2));
    EXPECT_EQ(settled == 250 && current == 250
                  ? "6 [ASFParser] ParseDataPacket : Wrong Pakcet Len Info.\n"
                  : "",
              TakeLog());
    // The reported length bounds the payload, the current one places packets.
    const unsigned body = reported - (declared == 0 ? 28 : 30) - 10;
    EXPECT_NE(std::string::npos,
              session.source.TakeCalls().find("GetPosition, Read " + std::to_string(body) + ","));
    session.parser->ParseDataPacket(1, 2);
    const std::string at = "ReadAt " + std::to_string(409 + current) + "+1";
    EXPECT_EQ(0u, session.source.TakeCalls().find(at));
  }
}

TEST(CodedField, ReadsItsWidth) {
  const struct {
    unsigned char type;
    const char* bytes;
    int result;
    unsigned value;
    const char* calls;
  } cases[] = {{0, "abcd", 0, 0, ""},
               {1, "\x01", 1, 1, "Read 1"},
               {1, "\x02", 0, 2, "Read 1"},
               {2, "\x01\x02", 0, 0x201, "Read 2"},
               {3, "abcd", 0, 0x64636261, "Read 4"},
               {4, "abcd", 0, 0, ""},
               {3, "a", 0, 0x61, "Read 4"}};
  for (const auto& [type, bytes, result, value, calls] : cases) {
    FaultySource source(bytes), failing(bytes);
    source.RecordCalls();
    coded_type field{99};
    EXPECT_EQ(result, setCodedTypeData(&source, type, &field));
    EXPECT_EQ(value, +field.Value);
    EXPECT_EQ(calls, source.TakeCalls());
    failing.Plan(1, Fault::kFail);
    EXPECT_EQ(0, setCodedTypeData(&failing, type, &field));
    EXPECT_EQ(0u, +field.Value);
  }
  replicated_data replicated;
  Bytes bytes = Le(0xF5F6F7F801020304, 8);
  EXPECT_EQ(0, parseReplicatedData(reinterpret_cast<unsigned char*>(&bytes[0]), &replicated));
  EXPECT_EQ(0x01020304u, +replicated.MediaObjectSize);
  EXPECT_EQ(0xF5F6F7F8u, +replicated.PresentationTime);
}

TEST(Demux, CallsTheSourceInOrder) {
  const Payload sound = Media(1, 3500, "sound"), video = Media(2, 3500, "video");
  const Payload subs = Compressed(1, 3500, 5, {"a", "bb"}), sub = Compressed(2, 3500, 5, {"ccc"});
  const Payload key = Payload(video).Key();
  const std::string front = "ReadAt 409+1, ReadAt 409+3, Read 2, Read 2, Read 6, GetPosition, ";
  const std::string whole = "Read 1, Read 1, Read 4, Read 1, Read 8, ";
  const std::string cut = "Read 1, Read 1, Read 4, Read 1, Read 1, ";
  const std::string skipped = whole + "Read 2, Skip 5", taken = whole + "Read 2, Read 5";
  const struct {
    std::vector<Payload> payloads;
    int mode;
    std::string calls;
  } cases[] = {
      {{video}, 1, whole + "GetPosition, Read 5, Skip 167"},
      {{video}, 2, whole + "GetPosition, Skip 5, Skip 167"},
      {{sound, video}, 0, "Read 1, " + taken + ", " + taken + ", Skip 142"},
      {{sound, video}, 1, "Read 1, " + skipped + ", " + taken + ", Skip 142"},
      {{subs}, 2, cut + "GetPosition, Read 1, Read 1, Read 1, Read 2, Skip 174"},
      {{subs}, 1, cut + "GetPosition, Read 1, Skip 1, Read 1, Skip 2, Skip 174"},
      {{subs, sub},
       2,
       "Read 1, " + cut + "Read 2, Read 1, Read 1, Read 1, Read 2, " + cut +
           "Read 2, Read 1, Skip 3, Skip 157"},
      {{}, 0, "Read 1, Skip 186"},
      {{video}, kProbeVideo, whole + "GetPosition, Skip 5, Skip 167"},
      {{key}, kProbeVideo, whole + "GetPosition, Skip 5"},
      {{video}, kProbeAudio, "Read 1"},
      {{sound, key}, kProbeVideo, "Read 1, " + skipped + ", " + skipped},
      {{subs}, kProbeVideo, cut + "GetPosition, Read 1, Skip 1, Read 1, Skip 2, Skip 174"},
      {{}, kProbeAudio, "Read 1, Skip 186"},
  };
  for (const auto& [payloads, mode, calls] : cases) {
    EXPECT_EQ(front + calls, Demux(payloads, mode).calls) << calls;
  }
}

TEST(Demux, QueuesWholeMediaObjects) {
  const Payload a = Media(1, 3020, "a"), rest = Media(1, 3030, "rest").Offset(3);
  const Payload v = Media(2, 4000, "v"), x = Media(3, 4000, "x"), timed = Media(1, 0, "t");
  const Bytes time = Le(3005, 4);
  const struct {
    std::vector<Payload> payloads;
    int mode;
    const char* units;
  } cases[] = {
      {{Media(1, 3001, "a"), Media(1, 3000, "b"), Media(1, 9, "c")}, 2, "a@1 b@0 c@0 "},
      {{a, v}, 0, "a@20 v@1000 "},
      {{a, v}, 1, "v@1000 "},
      {{x, a}, 2, "a@20 "},
      {{a, rest, rest, a}, 2, "arestrest@20 a@20 "},  // joined, whatever the offset
      // Replicated data without, with half, with a whole time and more.
      {{Payload(timed).Replicated("1234"), a}, 2, "t@0 a@20 "},
      {{Payload(timed).Replicated("1234" + time.substr(0, 2)), a}, 2, "t@5 a@20 "},
      {{Payload(timed).Replicated("1234" + time + "more"), a}, 2, "t@5 a@20 "},
      // Compressed: kept, skipped, of no track, empty, before the preroll, too long.
      {{Compressed(1, 3020, 40, {"b", "cc", "d"}), rest}, 2, "b@20 cc@60 drest@100 "},
      {{Compressed(2, 3020, 40, {"b", "cc"}), a}, 2, "a@20 "},
      {{Compressed(3, 3020, 40, {"b", "cc"}), a}, 2, "a@20 "},
      {{Compressed(1, 3020, 40, {}), a}, 2, "a@20 "},
      {{Compressed(1, 2999, 2, {"b", "cc"})}, 2, "b@4294967295 cc@1 "},
      {{Compressed(1, 3020, 0, {"bbb", "cccc"}).Length(5), a}, 2, "bbb@20 cccc@20 a@20 "},
  };
  for (const auto& [payloads, mode, units] : cases) {
    const Demuxed result = Demux(payloads, mode);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.log);
    EXPECT_EQ(units, result.units) << units;
  }
}

TEST(Demux, ReadsEveryWidthOfPayloadFields) {
  for (int type = 0; type < 4; ++type) {
    Packet packet({Media(1, 3020, "abc"), Media(2, 3020, "defg")});
    packet.objectType = packet.offsetType = type;
    packet.lengthType = packet.replicatedType = type == 0 ? 1 : type;
    EXPECT_EQ("abc@20 defg@20 ", Demux(AvFile({packet}), 0).units);
  }
  // A replicated data length of 1 means "compressed" in a field of one byte alone.
  Packet wide({Media(1, 0, "abc").Replicated("r"), Media(1, 3020, "defg")});
  wide.replicatedType = 2;
  EXPECT_EQ("abc@0 defg@20 ", Demux(AvFile({wide}), 2).units);
  // One payload behind payload flags has a length of its own.
  Packet flagged({Media(1, 3020, "abc")});
  flagged.multiple = true;
  EXPECT_EQ("abc@20 ", Demux(AvFile({flagged}), 2).units);
}

TEST(Demux, CutsASinglePayloadByLengthAndPadding) {
  AsfFile file = AvFile({Packet({Media(1, 3000, Bytes(3151, 'x'))})});
  file.packets[0].sequenceType = 1;  // a header of 14 bytes, then 15 of payload header
  file.packetLength = 3200;
  EXPECT_EQ(Bytes(3151, 'x') + "@0 ", Demux(file, 2).units);
  file.packets[0].padding = 3170;
  EXPECT_EQ("x@0 ", Demux(file, 2).units);
  for (const unsigned padding : {3171u, 3300u}) {  // nothing left, less than nothing
    file.packets[0].padding = padding;
    const Demuxed result = Demux(file, 2);
    EXPECT_EQ(kParserOutOfRange, result.status);
    EXPECT_EQ("6 [ASFParser] ParseDataPacket new[] alloc. payloadLen trouble (" +
                  std::to_string(3171 - static_cast<int>(padding)) + ")\n",
              result.log);
  }
}

TEST(Demux, RefusesSizesOutOfRange) {
  const Payload good = Media(1, 3000, "good"), bad = Media(1, 0, "x");
  const struct {
    Payload payload;
    std::string message;
  } cases[] = {
      {Payload(bad).Replicated(""), "size trouble (0)"},
      {Payload(bad).ReplicatedLength(0x100001), "size trouble (1048577)"},
      {Payload(bad).ReplicatedLength(~0u), "size trouble (4294967295)"},
      {Payload(bad).Length(0), "payloadLen trouble (0)"},
      {Payload(bad).Length(0x100001), "payloadLen trouble (1048577)"},
      {Media(2, 0, "x").Length(~0u), "payloadLen trouble (-1)"},  // though it would be skipped
      {Compressed(1, 3000, 0, {"", "b"}), "size trouble - 2 (0)"},
  };
  for (const auto& [payload, message] : cases) {
    Packet packet({good, payload, good});
    packet.replicatedType = payload.delta < 0 ? 3 : 1;
    packet.lengthType = 3;
    const Demuxed result = Demux(AvFile({packet}), 2);
    const std::string tail = " new[] alloc. " + message + "\n";
    EXPECT_EQ(kParserOutOfRange, result.status);
    EXPECT_EQ("6 [ASFParser] ParseDataPacket" + tail, result.log);
    EXPECT_EQ("good@0 ", result.units);  // what was queued stays
    const Demuxed probed = Demux(AvFile({packet}), kProbeVideo);
    EXPECT_EQ(kParserOutOfRange, probed.status);
    EXPECT_EQ("6 [ASFParser] GetPacketTime" + tail, probed.log);
  }
}

TEST(Demux, AcceptsSizesAtTheLimit) {
  const Bytes replicated = "1234" + Le(3007, 4) + Bytes(0xFFFF8, 'r');
  AsfFile file = AvFile({Packet({Media(1, 0, Bytes(0x100000, 'x')).Replicated(replicated)})});
  file.packets[0].replicatedType = 3;
  file.packetLength = 0x200100;
  EXPECT_EQ(Bytes(0x100000, 'x') + "@7 ", Demux(file, 2).units);
  EXPECT_EQ(7, Demux(file, kProbeAudio).status);
  // A fragment above the limit is dropped, and the packet goes on.
  file.packets[0] = Packet({Media(1, 3007, Bytes(0xFFFFF, 'x')), Media(1, 0, "yy").Offset(9),
                            Media(1, 0, "z").Offset(9), Media(1, 3008, "new")});
  file.packets[0].lengthType = 3;
  EXPECT_EQ(Bytes(0xFFFFF, 'x') + "z@7 new@8 ", Demux(file, 2).units);
}

TEST(Demux, StripsVc1SequenceHeaders) {
  const Bytes frame = Hex("00 00 01 0D"), headers = Hex("00 00 01 0F") + Bytes(26, 'h');
  const struct {
    Bytes data, kept;
  } cases[] = {
      {headers + frame + "picture", "picture"},
      {headers + frame + "p", "p"},
      {headers + frame, headers + frame},  // no byte would be left
      {headers + "tail", headers + "tail"},
      {frame + "picture", frame + "picture"},
      {headers.substr(0, 4) + frame + "a" + frame + "b", "a" + frame + "b"},
      {Hex("00 00 01"), Hex("00 00 01")},
  };
  for (const auto& [data, kept] : cases) {
    EXPECT_EQ(kept + "@20 ", Demux({Media(2, 3020, data)}, 1).units);
    EXPECT_EQ(data + "@20 ", Demux({Media(1, 3020, data)}, 2).units);  // of audio never
  }
  const Payload start = Media(2, 3010, "start");  // stripped, it is no continuation
  EXPECT_EQ("start@10 p@20 ",
            Demux({start, Media(2, 3020, headers + frame + "p").Offset(5)}, 1).units);
}

TEST(Demux, TheOlderFormDiffers) {
  const Payload orphan = Media(1, 3020, "end").Offset(7), v = Media(2, 3020, "v");
  Demuxed result = Demux({orphan, Payload(v).Offset(~0u)}, 0, "4");
  EXPECT_EQ("", result.units);
  EXPECT_EQ(
      "2 [ASFParser] ParseDataPacket MO_OFFSET (7) Dont create new MO\n"
      "2 [ASFParser] ParseDataPacket MO_OFFSET (-1) Dont create new MO\n",
      result.log);
  result = Demux({orphan, Payload(v).Offset(~0u), Payload(v).Offset(1)}, kOlderForm, "4");
  EXPECT_EQ("end@20 vv@20 ", result.units);
  EXPECT_EQ("", result.log);
}

TEST(Demux, PassesEveryFailureOn) {
  // By number of the failing call; those left out are fields that read as 0, and
  // the last one skips the padding.
  const Payload subs = Compressed(1, 3500, 5, {"a", "bb"}), sub = Compressed(2, 3500, 5, {"ccc"});
  for (const int call : {1, 2, 3, 5, 6, 7, 8, 12, 14, 15, 16, 17, 18, 22, 24, 25, 26}) {
    for (const int mode : {2, kProbeVideo}) {
      OpenSession session(AvFile({Packet({subs, sub})}));
      session.source.PlanIn(call, Fault::kFail);
      EXPECT_EQ(call == 26 ? 0 : -77, WalkPacket(&session, mode)) << call << " " << mode;
    }
  }
  const struct {
    const char *call, *message;
  } messages[] = {
      // of the two-argument form
      {"Read 8", "6 [ASFParser] ParseDataPacket payload read fail \n"},
      {"Read 123", "6 [ASFParser] ParseDataPacket read fail ret (-77)\n"},
      {"Skip 123", "6 [ASFParser] ParseDataPacket  set pos fail \n"},
  };
  for (const auto& [call, message] : messages) {
    for (const int mode : {1, 2, kOlderForm}) {
      OpenSession session(AvFile({Packet({Media(1, 3000, Bytes(123, 'x'))})}));
      session.source.FailOn(call);
      const int status = WalkPacket(&session, mode);
      const bool failed = session.source.HasFailedOn();
      EXPECT_EQ(failed ? -77 : 0, status) << call;
      EXPECT_EQ(failed && mode > 0 ? message : "", TakeLog());
    }
  }
}

TEST(Demux, EndsWithTheDataOrTheBytes) {
  const AsfFile file = AvFile({Packet({Media(1, 3000, "a")}), Packet({Media(1, 3000, "bcd")})});
  OpenSession session(file, "4");
  for (const unsigned long number : {2ul, 99ul, 0x147AE147AE147AFul, ~0ul}) {  // some wrap
    EXPECT_EQ(kParserEndOfStream, session.parser->ParseDataPacket(number, 2));
    EXPECT_EQ("", session.source.TakeCalls());
    EXPECT_EQ("2 [ASFParser] ParseDataPacket  End Of Data\n", TakeLog());
  }
  AsfFile noLength = file;
  noLength.minPacket = noLength.maxPacket = 0;  // then there is only packet 0
  OpenSession first(noLength);
  EXPECT_EQ(kParserOutOfRange, first.parser->ParseDataPacket(0, 2));
  EXPECT_EQ(kParserEndOfStream, first.parser->ParseDataPacket(1, 2));
  const struct {
    std::size_t bytes;
    int status;
    const char* units;
  } cases[] = {{0, kParserEndOfStream, ""},
               {28, kParserEndOfStream, ""},  // not one byte of the body
               {29, 0, "b@0 "},
               {31, 0, "bcd@0 "}};
  for (const auto& [bytes, status, units] : cases) {
    OpenedSession cut(file.Build().substr(0, 609 + bytes));
    EXPECT_EQ(status, cut.parser->ParseDataPacket(1, 2));
    cut.source.PlanIn(1, Fault::kFail);
    EXPECT_EQ(units, cut.AllAudio());
  }
}

TEST(Queues, JoinUpToTheLimit) {
  for (unsigned char stream = 1; stream <= 2; ++stream) {
    OpenSession session(AvFile());
    ASFParser& parser = *session.parser;
    EXPECT_TRUE(parser.IsEmptyMediaData(stream));
    unsigned char* data = new unsigned char[0xFFF00];
    std::memset(data, 'a', 0xFFF00);
    EXPECT_EQ(0, parser.PushParsedMediaData(stream, 0x100000007, 0xFFF00, data, 1));
    EXPECT_FALSE(parser.IsEmptyMediaData(stream));
    std::vector<unsigned char> fragment(0x100, 'b');
    EXPECT_EQ(0, parser.AttachParsedMediaData(stream, 5, 0x100, fragment.data()));
    EXPECT_EQ(kParserOutOfRange, parser.AttachParsedMediaData(stream, 5, 1, fragment.data()));
    const std::string which = stream == 1 ? "a" : "v";
    EXPECT_EQ(
        "6 [ASFParser] AttachParsedMediaData new[] alloc. (storedData.DataLen + len) trouble - " +
            which + " (1048577)\n",
        TakeLog());
    const Bytes joined = Bytes(0xFFF00, 'a') + Bytes(0x100, 'b') + "@7";
    EXPECT_EQ(joined, stream == 1 ? session.Audio() : session.Video(true));
  }
}

TEST(Queues, AreOnlyThoseOfTheCurrentStreams) {
  OpenSession session(AvFile());
  unsigned char data[1] = {};
  EXPECT_FALSE(session.parser->IsEmptyMediaData(9));
  EXPECT_EQ(kParserInternal, session.parser->PushParsedMediaData(9, 0, 1, data, 0));
  EXPECT_EQ(kParserInternal, session.parser->AttachParsedMediaData(9, 0, 1, data));
}

}  // namespace
