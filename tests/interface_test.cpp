// The edges of the interface: the factory, inert operations, object ids, and the
// calls that end the process.
#include "ParserSession.h"

namespace {

TEST(Interface, ThrownFromTheSourceBecomeAStatus) {
  const AsfFile file = AvFile({Packet({Media(1, 3000, "a")})});
  const struct {
    Fault fault;
    int status;
  } faults[] = {{Fault::kFail, FaultySource::kFailure},
                {Fault::kThrow, kParserEndOfStream},
                {Fault::kThrowBadAlloc, kParserOutOfRange}};
  for (const auto& [fault, status] : faults) {
    ParserSession opening(file.Build());
    opening.source.Plan(2, fault);
    EXPECT_EQ(status, opening.Open());
    OpenSession reading(file);
    reading.source.PlanIn(3, fault);
    EXPECT_EQ(status, reading.parser->ParseDataPacket(0, 2));
    EXPECT_EQ(0, reading.parser->ParseDataPacket(0, 2));
    reading.source.PlanIn(1, fault);
    EXPECT_EQ(status, reading.parser->GetPacketTime(0, kTrackAudio));
  }
}

TEST(Guid, IsIdentifiedByTheFirstEqualRow) {
  const struct {
    unsigned char id;
    Bytes bytes;
  } rows[] = {{0, Hex("3026B275 8E66 CF11 A6D900AA0062CE6C")},
              {1, Hex("3626B275 8E66 CF11 A6D900AA0062CE6C")},
              {2, Hex("90080033 B1E5 CF11 89F400A0C90349CB")},
              {28, Hex("EACBF8C5 AF5B 7748 8467AA8C44FA4CCA")},
              {29, Hex("941C2344 9894 D149 A1411D134E457054")},
              {35, Hex("409E69F8 4D5B CF11 A8FD00805F5C442B")},
              {36, Hex("C0EF19BC 4D5B CF11 A8FD00805F5C442B")},
              {62, Hex("06AFE100 EC7B D111 A58200C04FC29CFB")},
              {0, Bytes(16, '\0')},
              {0, Hex("F8699E40 4D5B CF11 A8FD00805F5C442B")}};  // byte order matters
  for (const auto& row : rows) {
    guid id;
    std::memcpy(id.bytes, row.bytes.data(), sizeof(id.bytes));
    EXPECT_EQ(row.id, findIdByGUID(id));
  }
  for (int id = 0; id < kAsfObjectIdCount; ++id) {
    EXPECT_EQ(id, findIdByGUID(GuidOf(static_cast<AsfObjectId>(id))));
  }
}

TEST(FatalAssertion, EndsCallsWithoutATrack) {
  OpenSession audio(AsfFile({AudioStream(1)})), video(AsfFile({VideoStream(2)}));
  OpenSession both(AsfFile({AudioStream(1), VideoStream(2), AudioStream(3)}));
  unsigned char buffer[8];
  unsigned long size;
  const std::string range = "index>=size\\(\\) ASFParser .*: index=16777215 out of range \\(1\\)";
  EXPECT_DEATH(audio.parser->GetVideoConfig(buffer, &size, 8), range);
  EXPECT_DEATH(video.parser->GetAudioConfig(buffer, &size, 8), range);
  EXPECT_DEATH(both.parser->SelectAudioTrack(2), "index=2 out of range \\(2\\)");
}

}  // namespace
