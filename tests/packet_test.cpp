// Data packets: their header, the walk over their payloads, and the queues that
// media objects are joined in.
#include <cstring>

#include "ParserSession.h"

namespace {

AsfFile OnePacket(const Packet& packet) {
  AsfFile file = AvFile();
  file.packets = {packet};
  return file;
}

// What packet 0 leaves in the queues: the audio units, then the video units.
struct Demuxed {
  int status;
  Lines audio, video, log;
  std::string calls;
};
Demuxed Demux(const AsfFile& file, int mode, const char* level = "1") {
  OpenSession session(file, level);
  Demuxed result;
  result.status =
      mode < 0 ? session.parser->ParseDataPacket(0) : session.parser->ParseDataPacket(0, mode);
  result.calls = session.source.TakeCalls();
  result.log = TakeLog();
  // Both directions are at their end, so that only what is queued comes.
  session.source.faultCall = session.source.callCount() + 1;
  result.audio = session.AllAudio();
  session.source.faultCall = session.source.callCount() + 1;
  while (result.video.empty() || result.video.back()[0] != '(') {
    result.video.push_back(session.WholeVideo());
  }
  result.video.pop_back();
  return result;
}

TEST(PacketHeader, ReadsFieldsOfEveryWidth) {
  for (int type = 0; type < 4; ++type) {
    Packet packet({Media(1, 3000, "x")});
    packet.packetLengthType = packet.sequenceType = packet.paddingType = type;
    packet.sendTime = 0x01020304;
    AsfFile file = OnePacket(packet);
    file.packetLength = 90;
    OpenSession session(file);
    ASFParser& parser = *session.parser;
    EXPECT_EQ(1, parser.SetDataPacketLen());  // stands at packet 0
    session.source.TakeCalls();
    payload_parsing_info info;
    unsigned length = 0;
    EXPECT_EQ(0, parser.ParsePayloadParsingInfo(&info, &length));
    const std::string fields[] = {"", "Read 1, Read 1, Read 1, ", "Read 2, Read 2, Read 2, ",
                                  "Read 4, Read 4, Read 4, "};
    EXPECT_EQ("ReadAt 409+1, ReadAt 409+3, Read 2, " + fields[type] + "Read 6",
              session.source.TakeCalls());
    const int width = type == 3 ? 4 : type;
    EXPECT_EQ(type << 5 | type << 3 | type << 1, info.LengthTypeFlags);
    EXPECT_EQ(0x5D, info.PropertyFlags);
    EXPECT_EQ(90u, length);
    EXPECT_EQ(type == 0 ? 0u : 90u, +info.PacketLength);
    EXPECT_EQ(0u, +info.Sequence);
    EXPECT_EQ(type == 0 ? 0u : 90u - 11 - 3 * width - 16, +info.PaddingLength);
    EXPECT_EQ(0x01020304u, +info.SendTime);
    EXPECT_EQ(0, +info.Duration);
  }
}

TEST(PacketHeader, SettlesThePacketLength) {
  // The file says 200 at least, 300 at most; packet 0 has settled on 200 or 250.
  const struct {
    unsigned settled, declared, reported, current;
    bool isWrong;
  } cases[] = {{200, 200, 200, 200, false}, {200, 0, 200, 200, false},
               {250, 0, 200, 250, true},    {250, 240, 240, 250, true},
               {250, 100, 100, 200, false}, {200, 400, 400, 300, false},
               {250, 300, 300, 250, true}};
  for (const auto& test : cases) {
    Packet first({Media(1, 3000, "x")}), second({Media(1, 3000, "y")});
    first.packetLengthType = 2;
    first.packetLength = test.settled;
    second.packetLengthType = test.declared == 0 ? 0 : 2;
    second.packetLength = test.declared;
    second.padding = 10;
    AsfFile file = AvFile();
    file.packetLength = test.settled;
    file.minPacket = 200;
    file.maxPacket = 300;
    file.packets = {first, second, second};
    OpenSession session(file);
    EXPECT_EQ(0, session.parser->ParseDataPacket(1, 2));
    EXPECT_EQ(
        test.isWrong ? Lines{"6 [ASFParser] ParseDataPacket : Wrong Pakcet Len Info."} : Lines{},
        TakeLog());
    // The reported length bounds the payload, the current one places packets.
    const unsigned body = test.reported - (test.declared == 0 ? 28 : 30) - 10;
    EXPECT_NE(std::string::npos,
              session.source.TakeCalls().find("GetPosition, Read " + std::to_string(body) + ","));
    session.parser->ParseDataPacket(1, 2);
    const std::string at = "ReadAt " + std::to_string(409 + test.current) + "+1";
    EXPECT_EQ(0u, session.source.TakeCalls().find(at));
  }
}

TEST(PacketHeader, IsMisreadWithoutErrorCorrection) {
  // The first byte is always consumed, and taken for flags: bit 4 is "opaque".
  Packet packet({Media(1, 3000, "x")});
  packet.errorCorrection = Hex("10");
  Demuxed result = Demux(OnePacket(packet), 2);
  EXPECT_EQ(0, result.status);
  EXPECT_EQ(Lines{"6 [ASFParser] ParseDataPacket : Opaque Data Present"}, result.log);
  EXPECT_EQ(0u, result.calls.find("ReadAt 409+1, Read 2, Read 2, Read 6, GetPosition, Read 1"));
  EXPECT_EQ(Lines{"x@0"}, result.audio);
}

TEST(CodedField, ReadsItsWidth) {
  const struct {
    unsigned char type;
    Bytes bytes;
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
  for (const auto& test : cases) {
    FaultySource source(test.bytes);
    coded_type field{99};
    EXPECT_EQ(test.result, setCodedTypeData(&source, test.type, &field));
    EXPECT_EQ(test.value, +field.Value);
    EXPECT_EQ(test.calls, source.TakeCalls());
    FaultySource failing(test.bytes);
    failing.faultCall = 1;
    EXPECT_EQ(0, setCodedTypeData(&failing, test.type, &field));
    EXPECT_EQ(0u, +field.Value);
  }
  replicated_data replicated;
  Bytes bytes = Le(0x01020304, 4) + Le(0xF5F6F7F8, 4);
  EXPECT_EQ(0, parseReplicatedData(reinterpret_cast<unsigned char*>(&bytes[0]), &replicated));
  EXPECT_EQ(0x01020304u, +replicated.MediaObjectSize);
  EXPECT_EQ(0xF5F6F7F8u, +replicated.PresentationTime);
}

TEST(Demux, CallsTheSourceInOrder) {
  const Packet single({Media(2, 3500, "video")});
  const Packet both({Media(1, 3500, "sound"), Media(2, 3500, "video")});
  const Packet compressed({Compressed(1, 3500, 5, {"a", "bb"})});
  Packet compressedBoth({Compressed(1, 3500, 5, {"a", "bb"}), Compressed(2, 3500, 5, {"ccc"})});
  const std::string front = "ReadAt 409+1, ReadAt 409+3, Read 2, Read 2, Read 6, GetPosition, ";
  const std::string payload = "Read 1, Read 1, Read 4, Read 1, Read 8, ";
  const std::string subPayloads = "Read 1, Read 1, Read 4, Read 1, Read 1, ";
  const struct {
    Packet packet;
    int mode;
    std::string calls;
  } cases[] = {
      {single, 1, payload + "GetPosition, Read 5, Skip 167"},
      {single, 2, payload + "GetPosition, Skip 5, Skip 167"},
      {both, 0, "Read 1, " + payload + "Read 2, Read 5, " + payload + "Read 2, Read 5, Skip 142"},
      {both, 1, "Read 1, " + payload + "Read 2, Skip 5, " + payload + "Read 2, Read 5, Skip 142"},
      {both, 2, "Read 1, " + payload + "Read 2, Read 5, " + payload + "Read 2, Skip 5, Skip 142"},
      {compressed, 2, subPayloads + "GetPosition, Read 1, Read 1, Read 1, Read 2, Skip 174"},
      {compressed, 1, subPayloads + "GetPosition, Read 1, Skip 1, Read 1, Skip 2, Skip 174"},
      {compressedBoth, 2,
       "Read 1, " + subPayloads + "Read 2, Read 1, Read 1, Read 1, Read 2, " + subPayloads +
           "Read 2, Read 1, Skip 3, Skip 157"},
      {Packet({}), 0, "Read 1, Skip 186"},
  };
  for (const auto& test : cases) {
    const Demuxed result = Demux(OnePacket(test.packet), test.mode);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(front + test.calls, result.calls) << &test - cases;
  }
}

TEST(Demux, QueuesWholeMediaObjects) {
  const Payload first = Media(1, 3020, "one"), rest = Media(1, 3030, "two").Offset(3);
  const Bytes tail = Bytes(600, 't');
  const struct {
    const char* what;
    std::vector<Payload> payloads;
    int mode;
    Lines audio, video;
  } cases[] = {
      {"times without preroll",
       {Media(1, 3001, "a"), Media(1, 3000, "b"), Media(1, 9, "c")},
       2,
       {"a@1", "b@0", "c@0"},
       {}},
      {"one of each", {first, Media(2, 4000, "v")}, 0, {"one@20"}, {"v@1000"}},
      {"the other skipped", {first, Media(2, 4000, "v")}, 1, {}, {"v@1000"}},
      {"a stream of neither", {Media(3, 4000, "x"), first}, 2, {"one@20"}, {}},
      {"joined, whatever the offset",
       {first, rest, rest, Media(1, 3040, "new")},
       2,
       {"onetwotwo@20", "new@40"},
       {}},
      {"an empty replicated time",
       {Media(1, 0, "a").Replicated("1234"), first},
       2,
       {"a@0", "one@20"},
       {}},
      {"two bytes of a time", {Media(1, 0, "a").Replicated("1234" + Le(3005, 2))}, 2, {"a@5"}, {}},
      {"longer replicated data",
       {Media(1, 0, "a").Replicated("1234" + Le(3005, 4) + "ext")},
       2,
       {"a@5"},
       {}},
      {"compressed",
       {Compressed(1, 3020, 40, {"a", "bb", "ccc"}), rest},
       2,
       {"a@20", "bb@60", "ccctwo@100"},
       {}},
      {"compressed and skipped", {Compressed(2, 3020, 40, {"a", "bb"}), first}, 2, {"one@20"}, {}},
      {"compressed, nothing in it", {Compressed(1, 3020, 40, {}), first}, 2, {"one@20"}, {}},
      {"compressed before the preroll",
       {Compressed(1, 2999, 2, {"a", "b"})},
       2,
       {"a@4294967295", "b@1"},
       {}},
      {"compressed of neither", {Compressed(3, 3020, 40, {"a", "bb"}), first}, 2, {"one@20"}, {}},
      {"the last sub-payload runs past the length",
       {Compressed(1, 3020, 0, {"abc", "defg"}).Length(5)},
       2,
       {"abc@20", "defg@20"},
       {}},
  };
  for (const auto& test : cases) {
    const Demuxed result = Demux(OnePacket(Packet(test.payloads)), test.mode);
    SCOPED_TRACE(test.what);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(Lines{}, result.log);
    EXPECT_EQ(test.audio, result.audio);
    EXPECT_EQ(test.video, result.video);
  }
}

TEST(Demux, ReadsEveryWidthOfPayloadFields) {
  for (int type = 0; type < 4; ++type) {
    Packet packet({Media(1, 3020, "abc"), Media(2, 3020, "defg")});
    packet.objectType = packet.offsetType = type;
    packet.lengthType = packet.replicatedType = type == 0 ? 1 : type;
    EXPECT_EQ(Lines{"abc@20"}, Demux(OnePacket(packet), 0).audio);
    EXPECT_EQ(Lines{"defg@20"}, Demux(OnePacket(packet), 0).video);
  }
  // A replicated data length of 1 means "compressed" in a field of one byte alone.
  Packet wide({Media(1, 0, "abc").Replicated("r"), Media(1, 3020, "defg")});
  wide.replicatedType = 2;
  EXPECT_EQ((Lines{"abc@0", "defg@20"}), Demux(OnePacket(wide), 2).audio);
  // One payload behind payload flags has a length of its own.
  Packet flagged({Media(1, 3020, "abc")});
  flagged.multiple = true;
  EXPECT_EQ(Lines{"abc@20"}, Demux(OnePacket(flagged), 2).audio);
}

TEST(Demux, CutsASinglePayloadByLengthAndPadding) {
  Packet packet({Media(1, 3000, Bytes(3151, 'x'))});
  packet.sequenceType = 1;  // a header of 14 bytes, then 15 bytes of payload header
  AsfFile file = OnePacket(packet);
  file.packetLength = 3200;
  EXPECT_EQ(Lines{Bytes(3151, 'x') + "@0"}, Demux(file, 2).audio);
  file.packets[0].padding = 3200 - 14 - 15 - 1;
  EXPECT_EQ(Lines{"x@0"}, Demux(file, 2).audio);
  for (const unsigned padding : {3200u - 14 - 15, 3300u}) {  // nothing left, less than nothing
    file.packets[0].padding = padding;
    const Demuxed result = Demux(file, 2);
    EXPECT_EQ(kParserOutOfRange, result.status);
    EXPECT_EQ(Lines{"6 [ASFParser] ParseDataPacket new[] alloc. payloadLen trouble (" +
                    std::to_string(3200 - 14 - 15 - static_cast<int>(padding)) + ")"},
              result.log);
  }
}

TEST(Demux, RefusesSizesOutOfRange) {
  const Payload good = Media(1, 3000, "good");
  const std::string front = "6 [ASFParser] ParseDataPacket new[] alloc. ";
  const struct {
    Payload payload;
    std::string message;
  } cases[] = {
      {Media(1, 0, "x").Replicated("").ReplicatedLength(0), "size trouble (0)"},
      {Media(1, 0, "x").ReplicatedLength(0x100001), "size trouble (1048577)"},
      {Media(1, 0, "x").ReplicatedLength(~0u), "size trouble (4294967295)"},
      {Media(1, 0, "").Length(0), "payloadLen trouble (0)"},
      {Media(1, 0, "x").Length(0x100001), "payloadLen trouble (1048577)"},
      {Media(2, 0, "x").Length(~0u), "payloadLen trouble (-1)"},  // though it would be skipped
  };
  for (const auto& test : cases) {
    Packet packet({good, test.payload, good});
    packet.replicatedType = packet.lengthType = 3;
    const Demuxed result = Demux(OnePacket(packet), 2);
    EXPECT_EQ(kParserOutOfRange, result.status);
    EXPECT_EQ(Lines{front + test.message}, result.log);
    EXPECT_EQ(Lines{"good@0"}, result.audio);  // what was queued stays
  }
  const Demuxed empty = Demux(OnePacket(Packet({Compressed(1, 3000, 0, {"a", "", "b"}), good})), 2);
  EXPECT_EQ(kParserOutOfRange, empty.status);
  EXPECT_EQ(Lines{front + "size trouble - 2 (0)"}, empty.log);
  EXPECT_EQ(Lines{"a@0"}, empty.audio);
}

TEST(Demux, AcceptsSizesAtTheLimit) {
  Packet packet({Media(1, 3000, Bytes(0x100000, 'x'))
                     .Replicated("1234" + Le(3007, 4) + Bytes(0xFFFF8, 'r'))});
  packet.replicatedType = 3;
  AsfFile file = OnePacket(packet);
  file.packetLength = 0x200100;
  Demuxed result = Demux(file, 2);
  EXPECT_EQ(0, result.status);
  EXPECT_EQ(Lines{Bytes(0x100000, 'x') + "@7"}, result.audio);
}

TEST(Demux, StripsVc1SequenceHeaders) {
  const Bytes sequence = Hex("00 00 01 0F"), frame = Hex("00 00 01 0D");
  const Bytes headers = sequence + Bytes(26, 'h');
  const auto at = [](const Bytes& data) { return data + "@20"; };
  const Payload start = Media(2, 3010, "start");
  const struct {
    const char* what;
    std::vector<Payload> payloads;
    Lines video;
  } cases[] = {
      {"the headers go", {Media(2, 3020, headers + frame + "picture")}, {at("picture")}},
      {"one byte is left", {Media(2, 3020, headers + frame + "p")}, {at("p")}},
      {"no byte would be left", {Media(2, 3020, headers + frame)}, {at(headers + frame)}},
      {"no frame", {Media(2, 3020, headers + "tail")}, {at(headers + "tail")}},
      {"no sequence header", {Media(2, 3020, frame + "picture")}, {at(frame + "picture")}},
      {"the first frame counts",
       {Media(2, 3020, sequence + frame + "a" + frame + "b")},
       {at("a" + frame + "b")}},
      {"never a continuation",
       {start, Media(2, 3020, headers + frame + "p").Offset(5)},
       {"start@10", at("p")}},
      {"too short to look", {Media(2, 3020, Hex("00 00 01"))}, {at(Hex("00 00 01"))}},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(test.video, Demux(OnePacket(Packet(test.payloads)), 1).video) << test.what;
  }
  const Bytes audio = headers + frame + "p";
  EXPECT_EQ(Lines{audio + "@20"}, Demux(OnePacket(Packet({Media(1, 3020, audio)})), 2).audio);
}

TEST(Demux, TheOlderFormDiffers) {
  const Packet orphan({Media(1, 3020, "end").Offset(7), Media(2, 3020, "v").Offset(~0u)});
  Demuxed result = Demux(OnePacket(orphan), 0, "4");
  EXPECT_EQ((Lines{}), result.audio);
  EXPECT_EQ((Lines{"2 [ASFParser] ParseDataPacket MO_OFFSET (7) Dont create new MO",
                   "2 [ASFParser] ParseDataPacket MO_OFFSET (-1) Dont create new MO"}),
            result.log);
  result = Demux(OnePacket(orphan), -1, "4");
  EXPECT_EQ(Lines{"end@20"}, result.audio);
  EXPECT_EQ(Lines{"v@20"}, result.video);
  EXPECT_EQ(Lines{}, result.log);
  const Packet both({Media(1, 3020, "a"), Media(2, 3020, "v"), Media(2, 0, "w").Offset(1)});
  result = Demux(OnePacket(both), -1);
  EXPECT_EQ(Lines{"a@20"}, result.audio);
  EXPECT_EQ(Lines{"vw@20"}, result.video);
}

TEST(Demux, PassesFailuresOnWithTheirMessages) {
  const struct {
    const char* call;
    int mode;
    int status;
    const char* message;  // of the two-argument form
  } cases[] = {
      {"ReadAt 409+1", 2, -77, nullptr},
      {"ReadAt 409+3", 2, -77, nullptr},
      {"Read 2", 2, -77, nullptr},
      {"Read 6", 2, -77, nullptr},
      {"GetPosition", 2, -77, nullptr},
      {"Read 8", 2, -77, "6 [ASFParser] ParseDataPacket payload read fail "},
      {"Read 123", 2, -77, "6 [ASFParser] ParseDataPacket read fail ret (-77)"},
      {"Skip 123", 1, -77, "6 [ASFParser] ParseDataPacket  set pos fail "},
      {"Skip 49", 2, 0, nullptr},
  };
  for (const auto& test : cases) {
    for (const bool older : {false, true}) {
      if (older && test.mode == 1) continue;
      OpenSession session(OnePacket(Packet({Media(1, 3000, Bytes(123, 'x'))})));
      session.source.failOn = test.call;
      EXPECT_EQ(test.status, older ? session.parser->ParseDataPacket(0)
                                   : session.parser->ParseDataPacket(0, test.mode))
          << test.call;
      EXPECT_EQ(older || test.message == nullptr ? Lines{} : Lines{test.message}, TakeLog());
    }
  }
}

TEST(Demux, EndsWithTheDataOrTheBytes) {
  AsfFile file = AvFile();
  file.packets = {Packet({Media(1, 3000, "a")}), Packet({Media(1, 3000, "bcd")})};
  OpenSession session(file, "4");
  for (const unsigned long number : {2ul, 99ul, 0x147AE147AE147AFul, ~0ul}) {
    EXPECT_EQ(kParserEndOfStream, session.parser->ParseDataPacket(number, 2));  // some wrap
    EXPECT_EQ("", session.source.TakeCalls());
    EXPECT_EQ(Lines{"2 [ASFParser] ParseDataPacket  End Of Data"}, TakeLog());
  }
  const struct {
    std::size_t bytes;  // of packet 1 that are there
    int status;
    Lines audio;
  } cases[] = {{0, kParserEndOfStream, {}},
               {28, kParserEndOfStream, {}},  // not one byte of the body
               {29, 0, {"b@0"}},
               {30, 0, {"bc@0"}},
               {31, 0, {"bcd@0"}}};
  for (const auto& test : cases) {
    ParserSession cut(file.Build().substr(0, 609 + test.bytes));
    EXPECT_EQ(0, cut.Open());
    EXPECT_EQ(test.status, cut.parser->ParseDataPacket(1, 2));
    cut.source.faultCall = cut.source.callCount() + 1;
    EXPECT_EQ(test.audio, cut.AllAudio());
  }
}

TEST(Queues, JoinUpToTheLimit) {
  for (const int stream : {1, 2}) {
    OpenSession session(AvFile());
    ASFParser& parser = *session.parser;
    const auto number = static_cast<unsigned char>(stream);
    EXPECT_TRUE(parser.IsEmptyMediaData(number));
    unsigned char* data = new unsigned char[0xFFF00];
    std::memset(data, 'a', 0xFFF00);
    EXPECT_EQ(0, parser.PushParsedMediaData(number, 0x100000007, 0xFFF00, data, 1));
    EXPECT_FALSE(parser.IsEmptyMediaData(number));
    std::vector<unsigned char> fragment(0x100, 'b');
    EXPECT_EQ(0, parser.AttachParsedMediaData(number, 5, 0x100, fragment.data()));
    EXPECT_EQ(kParserOutOfRange, parser.AttachParsedMediaData(number, 5, 1, fragment.data()));
    EXPECT_EQ(Lines{std::string("6 [ASFParser] AttachParsedMediaData new[] alloc. "
                                "(storedData.DataLen + len) trouble - ") +
                    (stream == 1 ? "a" : "v") + " (1048577)"},
              TakeLog());
    const Bytes joined = Bytes(0xFFF00, 'a') + Bytes(0x100, 'b') + "@7";
    EXPECT_EQ(joined, stream == 1 ? session.Audio() : session.Video(true));
  }
}

TEST(Queues, AreOnlyThoseOfTheCurrentStreams) {
  OpenSession session(AvFile());
  ASFParser& parser = *session.parser;
  unsigned char data[1] = {};
  EXPECT_FALSE(parser.IsEmptyMediaData(9));
  EXPECT_EQ(kParserInternal, parser.PushParsedMediaData(9, 0, 1, data, 0));
  EXPECT_EQ(kParserInternal, parser.AttachParsedMediaData(9, 0, 1, data));
  media_data stream;
  flushMediaData(&stream);
  EXPECT_TRUE(stream.qData.empty());
  EXPECT_EQ(Lines{}, TakeLog());
}

}  // namespace
