// The host's own view of a file: header, data, index, packet headers.
#include <gtest/gtest.h>

#include <random>

#include "qo_host/MemorySource.h"
#include "qo_host/SeekPoints.h"
#include "testing/AsfBuilder.h"
#include "testing/FaultySource.h"
#include "testing/SampleFiles.h"

namespace {

// Into a record that has been used.
qo_host::AsfLayout Layout(const Bytes& file) {
  static qo_host::AsfLayout layout;
  qo_host::MemorySource source(file.data(), file.size());
  EXPECT_EQ(0, qo_host::ReadLayout(&source, &layout));
  return layout;
}

const char* FaultName(qo_host::PacketFault fault) {
  static constexpr const char* kNames[] = {"",
                                           "no replicated data",
                                           "payload size",
                                           "empty sub-payload",
                                           "too many payloads",
                                           "error correction",
                                           "cut short"};
  return kNames[static_cast<int>(fault)];
}

// Each packet as "stream@time:offset+size", "k" in front of a key frame; then
// what is wrong with it.
std::string Walk(const Bytes& file) {
  qo_host::MemorySource source(file.data(), file.size());
  std::string text;
  qo_host::WalkPackets(&source, Layout(file), [&text](const qo_host::Packet& packet) {
    text += text.empty() ? "" : "| ";
    if (!packet.hasErrorCorrection) text += "unreadable ";
    for (const qo_host::Payload& payload : packet.payloads) {
      text += (payload.keyFrame ? "k" : "") + std::to_string(payload.stream) + "@" +
              std::to_string(payload.timeMs) + ":" + std::to_string(payload.offset) + "+" +
              std::to_string(payload.size) +
              (payload.present < payload.size ? "(" + std::to_string(payload.present) + ") " : " ");
    }
    text += FaultName(packet.fault);
    return true;
  });
  return text;
}

AsfFile TwoStreams(const std::vector<Packet>& packets = {}) {
  return AsfFile({Stream(ID_VIDEO_MEDIA, 2, VideoFormat("WMV2")),
                  Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x161))},
                 packets);
}

TEST(HostLayout, TellsWhatTheHeaderSays) {
  AsfFile file = TwoStreams({Packet({Media(1, 3000, "a")}), Packet({Media(1, 3100, "b")})});
  const Bytes hidden = Stream(ID_VIDEO_MEDIA, 9, VideoFormat("WMV3"));
  const Bytes extended = Bytes(60, '\0') + Le(1, 2) + Le(1, 2) +  // one name, one extension
                         Le(0, 2) + Le(4, 2) + Utf16("n") +       // language, length, name
                         Bytes(18, 'x') + Le(3, 4) + "abc" + hidden;
  file.header.push_back(Stream(ID_AUDIO_MEDIA, 0x8000 | 5, AudioFormat(0x55)));
  file.header.push_back(Stream(ID_COMMAND_MEDIA, 3, ""));
  file.header.insert(file.header.begin(),
                     HeaderExtension(Object(ID_ADVANCED_CONTENT_ENCRYPTION_OBJECT, "key") +
                                     Object(ID_EXTENDED_STREAM_PROPERTIES_OBJECT, extended)));
  file.header.push_back(Object(ID_EXTENDED_CONTENT_ENCRYPTION_OBJECT, "key"));
  file.trailing = Object(ID_PADDING_OBJECT, "xyz") + SimpleIndex(5000000, {0, 1, 1});
  const qo_host::AsfLayout layout = Layout(file.Build());

  EXPECT_EQ(qo_host::LayoutProblem::kNone, layout.problem);
  EXPECT_FALSE(layout.IsTruncated());
  ASSERT_TRUE(layout.simpleIndex);
  EXPECT_EQ((std::vector<unsigned long long>{3000, 200, 2, 3, 5000000}),
            (std::vector<unsigned long long>{layout.prerollMs, layout.packetLength,
                                             layout.PacketsInData(), layout.simpleIndex->entries,
                                             layout.simpleIndex->interval}));
  EXPECT_FALSE(layout.contentEncryption);
  EXPECT_TRUE(layout.extendedContentEncryption && layout.advancedContentEncryption);
  std::string streams;
  for (const qo_host::StreamLayout& stream : layout.streams) {
    streams += std::to_string(stream.number) + " " + StreamKindName(stream.kind) + " " +
               std::to_string(stream.codecTag) + (stream.encrypted ? " encrypted" : "") +
               (stream.hidden ? " hidden" : "") + (stream.isTrack ? " track" : "") + "; ";
  }
  EXPECT_EQ(
      "9 video 861293911 hidden; 2 video 844516695 track; 1 audio 353 track; "
      "5 audio 85 encrypted; 3 command 0; ",
      streams);
}

TEST(HostLayout, SaysWhatIsWrongWithAFile) {
  using qo_host::LayoutProblem;
  const AsfFile file = TwoStreams({Packet({Media(1, 3000, "a")}), Packet({Media(1, 3100, "b")})});
  const Bytes good = file.Build();
  const std::size_t headerSize = Layout(good).headerSize;
  const auto withHeaderSize = [&](unsigned long long size) {
    return Bytes(good).replace(16, 8, Le(size, 8));
  };
  const auto with = [&file](auto change) {
    AsfFile changed = file;
    change(&changed);
    return changed.Build();
  };
  const struct {
    Bytes bytes;
    LayoutProblem problem;
    unsigned long long whole;  // packets
    bool truncated;
  } cases[] = {
      {"", LayoutProblem::kNotAsf, 0, false},
      {"RIFF" + good, LayoutProblem::kNotAsf, 0, false},
      {good.substr(0, 100), LayoutProblem::kHeaderCut, 0, true},
      {good.substr(0, headerSize + 49), LayoutProblem::kDataCut, 0, true},
      {good.substr(0, good.size() - 1), LayoutProblem::kNone, 1, true},
      {with([](AsfFile* f) { f->headerCount = 9; }), LayoutProblem::kNone, 2, false},
      {withHeaderSize(10), LayoutProblem::kHeaderSize, 0, false},
      {withHeaderSize(~0ull), LayoutProblem::kDataCut, 0, true},
      {with([](AsfFile* f) { f->header[0] = Object(ID_PADDING_OBJECT, "", 0); }),
       LayoutProblem::kHeaderObjectSize, 2, false},
      {with([](AsfFile* f) { f->dataSize = 50; }), LayoutProblem::kDataEmpty, 0, false},
      {with([](AsfFile* f) { f->dataSize = ~0ull; }), LayoutProblem::kNone, 2, true},
      {with([](AsfFile* f) { f->trailing = Object(ID_PADDING_OBJECT, "", 23); }),
       LayoutProblem::kTrailingObjectSize, 2, false},
  };
  for (const auto& test : cases) {
    const qo_host::AsfLayout layout = Layout(test.bytes);
    EXPECT_EQ(test.problem, layout.problem) << &test - cases;
    EXPECT_EQ(test.whole, layout.PacketsInFile()) << &test - cases;
    EXPECT_EQ(test.truncated, layout.IsTruncated()) << &test - cases;
  }
}

TEST(HostLayout, ReckonsThePacketLengthAsTheParserDoes) {
  const struct {
    unsigned int stated, min, max, length;
  } cases[] = {{0, 200, 200, 200}, {150, 100, 200, 150}, {50, 100, 200, 100}, {250, 100, 200, 200}};
  for (const auto& test : cases) {
    Packet packet({Media(1, 3000, "a")});
    packet.packetLengthType = test.stated != 0 ? 2 : 0;
    packet.packetLength = test.stated;
    AsfFile file = TwoStreams({packet});
    file.minPacket = test.min;
    file.maxPacket = test.max;
    EXPECT_EQ(test.length, Layout(file.Build()).packetLength) << test.stated;
  }
}

TEST(HostLayout, WalksPacketsAsTheParserDoes) {
  Packet plain({Media(1, 3500, "abc")});
  plain.errorCorrection = "";
  Packet wide({Media(1, 3500, "wide").Replicated("x")});
  wide.replicatedType = 2;  // a 1 in two bytes doesn't mean a compressed payload
  const AsfFile file = TwoStreams({
      Packet({Key(2, 3100, "abcd").Offset(0), Media(2, 3200, "ef").Offset(7)}),
      Packet({Media(1, 2000, "alone")}),  // before the preroll's end
      Packet({Compressed(1, 3300, 40, {"a", "bcd"}), Media(1, 3400, "e")}),
      plain,
      wide,
      Packet(std::vector<Payload>{}),
      Packet({Media(1, 3600, "x"), Media(1, 3700, "y").Length(0)}),
      Packet({Media(1, 3800, "x").Replicated("")}),
      Packet({Compressed(1, 3900, 0, {"a", ""})}),
      Packet({Media(1, 3900, Bytes(100, 'x'))}),
  });
  const Bytes whole = file.Build();
  EXPECT_EQ(
      "k2@100:0+4 2@200:7+2 | 1@0:0+5 | 1@300:0+1 1@340:0+3 1@400:0+1 | unreadable | "
      "1@0:0+4 | | "
      "1@600:0+1 payload size| no replicated data| "
      "1@900:0+1 empty sub-payload| 1@900:0+100 ",
      Walk(whole));
  const std::string cut = Walk(whole.substr(0, whole.size() - 170));
  EXPECT_EQ("| 1@900:0+100(2) cut short", cut.substr(cut.rfind('|')));

  qo_host::MemorySource source(whole.data(), whole.size());
  const std::map<unsigned char, unsigned int> last = {{1, 900}, {2, 100}};
  std::map<unsigned char, unsigned int> times = {{3, 3}};
  EXPECT_EQ(qo_host::WalkEnd::kDone, qo_host::LastObjectTimes(&source, Layout(whole), &times).end);
  EXPECT_EQ(last, times);
}

TEST(HostLayout, WalksWhatLiesBeyondAPacketsFirstBytes) {
  AsfFile overrun = TwoStreams({Packet({Media(1, 3100, Bytes(300, 'x')), Media(1, 3200, "y")})});
  EXPECT_EQ("1@100:0+300 1@200:0+1 | unreadable ", Walk(overrun.Build()));

  AsfFile large =
      TwoStreams({Packet({Media(1, 3100, Bytes(65000, 'x')), Media(1, 3200, Bytes(5000, 'y')),
                          Compressed(2, 3300, 10, {"a", "b"})})});
  large.packetLength = 100000;
  EXPECT_EQ("1@100:0+65000 1@200:0+5000 2@300:0+1 2@310:0+1 ", Walk(large.Build()));
}

// Each single read of a walk fails once: none may pass for the end of the file.
TEST(HostLayout, AFailedReadEndsAWalkAsFailed) {
  const Bytes file = FileBytes(QO_SAMPLES_DIR "/wmv2_wma2.wmv");
  const qo_host::AsfLayout layout = Layout(file);
  const auto walk = [&](FaultySource* source) {
    return qo_host::WalkPackets(source, layout, [](const qo_host::Packet&) { return true; });
  };
  FaultySource good(file);
  EXPECT_EQ(qo_host::WalkEnd::kDone, walk(&good).end);
  EXPECT_EQ(layout.PacketsInData(), good.CallCount());  // one read a packet
  for (unsigned long call = 1; call <= good.CallCount(); ++call) {
    FaultySource source(file);
    source.Plan(call, Fault::kFail);
    const qo_host::WalkResult result = walk(&source);
    EXPECT_EQ(qo_host::WalkEnd::kSourceFailed, result.end) << call;
    EXPECT_EQ(FaultySource::kFailure, result.status) << call;
  }
}

TEST(HostLayout, TakesErrorCorrectionDataAsThePacketStatesIt) {
  const struct {
    const char* errorCorrection;
    unsigned int headerPosition;
    qo_host::PacketFault fault;
  } cases[] = {
      {"82 00 00", 3, qo_host::PacketFault::kNone},
      {"", 0, qo_host::PacketFault::kNone},
      {"80", 1, qo_host::PacketFault::kNone},
      {"8F 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F", 16, qo_host::PacketFault::kNone},
      {"A2 00 00", 0, qo_host::PacketFault::kErrorCorrection},
  };
  qo_host::AsfLayout layout;
  layout.minPacketLength = 100;  // no packet here states its own
  const qo_host::PacketReader reader(layout, qo_host::PacketView::kStated);
  for (const auto& test : cases) {
    Packet built({Media(1, 3500, "abc")});
    built.errorCorrection = Hex(test.errorCorrection);
    const Bytes bytes = built.Build(100);
    qo_host::Packet packet = {};
    reader.Read(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), &packet);
    EXPECT_EQ(test.headerPosition, packet.headerPosition) << test.errorCorrection;
    EXPECT_EQ(test.fault, packet.fault) << test.errorCorrection;
    if (test.fault != qo_host::PacketFault::kNone) continue;
    ASSERT_EQ(1u, packet.payloads.size()) << test.errorCorrection;
    EXPECT_EQ(3500u, packet.payloads[0].timeMs);
    EXPECT_EQ("abc", bytes.substr(packet.payloads[0].position, packet.payloads[0].size));
  }
}

TEST(HostLayout, AnyBytesAreTolerated) {
  const Packet packet({Key(2, 3000, "video"), Compressed(1, 3000, 9, {"a", "b"})});
  AsfFile file = TwoStreams(std::vector<Packet>(8, packet));
  file.header.push_back(HeaderExtension(Object(ID_EXTENDED_STREAM_PROPERTIES_OBJECT, "short")));
  file.trailing = SimpleIndex(5000000, {0, 1, 1});
  const Bytes good = file.Build();
  std::mt19937 random(3);
  for (int i = 0; i < 5000; ++i) {
    Bytes bytes = good.substr(0, i % 3 == 0 ? random() % good.size() : good.size());
    for (int n = i % 4; n > 0 && !bytes.empty(); --n) {
      bytes[random() % bytes.size()] = static_cast<char>(random() % 2 == 0 ? 0xFF : random());
    }
    qo_host::MemorySource source(bytes.data(), bytes.size());
    const qo_host::AsfLayout layout = Layout(bytes);
    qo_host::SeekPoints points;
    int left = 1000;  // a packet length of 1 makes many packets
    EXPECT_LT(layout.streams.size(), good.size());
    EXPECT_NE(qo_host::WalkEnd::kSourceFailed,
              points.Learn(&source, layout, [&](auto, auto) { return --left > 0; }).end);
  }
}

}  // namespace
