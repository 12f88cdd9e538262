// A file's objects in words, where its units lie, and what its streams are coded in.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "HostLibrary.h"
#include "asf/format/guid.h"
#include "qo_host/MemorySource.h"
#include "qo_host/ObjectTree.h"
#include "qo_host/StreamCodec.h"
#include "qo_host/StreamSample.h"
#include "qo_host/UnitPlaces.h"
#include "testing/AsfBuilder.h"
#include "testing/FaultySource.h"
#include "testing/SampleFiles.h"

namespace {

using qo_host::ObjectNode;

std::vector<ObjectNode> Nodes(const Bytes& file) {
  qo_host::MemorySource source(file.data(), file.size());
  std::vector<ObjectNode> nodes;
  const auto result = qo_host::WalkObjects(&source, [&nodes](const ObjectNode& node) {
    nodes.push_back(node);
    return true;
  });
  EXPECT_EQ(result.end, qo_host::WalkEnd::kDone);
  return nodes;
}

// "header 2: name, name; data" with "!" and the problem behind what has one.
std::string Outline(const std::vector<ObjectNode>& nodes) {
  std::string text;
  for (const ObjectNode& node : nodes) {
    text += text.empty() ? "" : "|";
    text += std::string(node.depth, '.') +
            (!node.isObject ? "?" + std::to_string(node.present) : node.name);
    for (const std::string& problem : node.problems) text += " !" + problem;
  }
  return text;
}

std::string Fields(const ObjectNode& node) {
  std::string text;
  for (const auto& field : node.fields) text += field.name + "=" + field.text + ";";
  return text;
}

AsfFile Small() {
  return AsfFile({Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0x161))},
                 {Packet({Media(1, 3000, Bytes(50, 'a'))}), Packet({Media(1, 3100, "b")})});
}

TEST(Tree, ObjectsOfEverySampleFillTheFile) {
  for (const auto& path : SamplePaths()) {
    const std::string bytes = FileBytes(path);
    unsigned long long next[4] = {};  // where an object of each depth is to begin
    for (const ObjectNode& node : Nodes(bytes)) {
      EXPECT_EQ(next[node.depth], node.position) << path << " " << node.name;
      EXPECT_EQ(node.size, node.present) << path << " " << node.name;
      EXPECT_TRUE(node.problems.empty()) << path << " " << Outline({node});
      next[node.depth] += node.size;
      const int fixed = node.name == "header" ? 30 : node.name == "header extension" ? 46 : 0;
      if (fixed != 0) next[node.depth + 1] = node.position + fixed;
    }
    EXPECT_EQ(next[0], bytes.size()) << path;
  }
}

TEST(Tree, ToleratesAnyBytesAndTellsTheDamage) {
  const Bytes good = Small().Build();
  const std::size_t header =
      static_cast<unsigned char>(good[16]) + 256 * static_cast<unsigned char>(good[17]);
  const auto with = [&](std::size_t at, const Bytes& bytes) {
    return Bytes(good).replace(at, bytes.size(), bytes);
  };
  const Bytes unknown = Bytes(16, 'u') + Le(30, 8) + "secret";
  const Bytes index = SimpleIndex(10000000, {0, 1});
  const std::string start = "header|.file properties|.stream properties|data";
  const struct {
    const char* what;
    Bytes file;
    std::string outline;
  } rows[] = {
      {"good", good, start},
      {"unknown objects", AsfFile({unknown}, Small().packets, unknown).Build(),
       "header|.file properties|.|data|"},
      {"nothing", "", "?0 !not an ASF file"},
      {"text", "text", "?4 !not an ASF file"},
      {"header alone", good.substr(0, header), "header|.file properties|.stream properties"},
      {"cut header", good.substr(0, 60),
       "header !the file ends in the header|.file properties "
       "!ends within its fields or a record"},
      {"header of size 0", with(16, Le(0, 8)),
       "header !states a size that no header has: it is taken to end where the data object "
       "begins|.file properties|.stream properties|data"},
      {"count", with(24, Le(9, 4)),
       "header !fewer objects than it counts|.file properties|.stream "
       "properties|data"},
      {"object of size 3", with(30 + 104 + 16, Le(3, 8)),
       "header !an object at 134 states a size that no object has: what follows was not read|.file "
       "properties|data"},
      {"object beyond the header", with(30 + 104 + 16, Le(9999, 8)),
       "header|.file properties|.stream properties !reaches beyond what holds it|data"},
      {"cut data", good.substr(0, good.size() - 250), start + " !the file ends in it"},
      {"data of size 50", with(header + 16, Le(50, 8)) + index,
       start + " !its packets have 400 bytes, not as many as it states|simple index"},
      {"garbage", good + Bytes(300, 'g'), start + "|?300 !no object"},
      {"garbage in front of an index", good + Bytes(300, 'g') + index,
       start + "|?300 !no object|simple index"},
      {"loose bytes", good + "loose", start + "|?5 !too few bytes for an object"},
      {"cut index", good + index.substr(0, index.size() - 8),
       start + "|simple index !ends within "
               "its fields or a record !the file ends in it"},
  };
  for (const auto& row : rows) EXPECT_EQ(Outline(Nodes(row.file)), row.outline) << row.what;

  // A failing source ends the walk with its failure.
  int failed = 0;
  for (unsigned int call = 1; call <= 12; ++call) {
    FaultySource source(good + index);
    source.Plan(call, Fault::kFail);
    const auto result = qo_host::WalkObjects(&source, [](const ObjectNode&) { return true; });
    EXPECT_EQ(result.status, result.end == qo_host::WalkEnd::kSourceFailed ? -77 : 0) << call;
    failed += result.status < 0;
  }
  EXPECT_GE(failed, 4);
}

TEST(Tree, PutsTheFieldsOfRareObjectsIntoWords) {
  const Bytes id = Bytes(16, '\x11');
  const Bytes text = Utf16("ab");
  const struct {
    AsfObjectId id;
    Bytes body;
    std::string fields;
    bool isCut;
  } rows[] = {
      {ID_INDEX_OBJECT, Le(500, 4) + Le(1, 2) + Le(1, 4) + Le(2, 2) + Le(3, 2) + Le(7, 4),
       "interval=500 ms;specifier 0=stream 2, nearest past cleanpoint;blocks=1;entries of the "
       "first "
       "block=7;",
       false},
      {ID_MEDIA_OBJECT_INDEX_PARAMETERS_OBJECT, Le(5, 4) + Le(1, 2) + Le(1, 2) + Le(1, 2),
       "interval=5 media objects;specifier 0=stream 1, nearest past data packet;", false},
      {ID_TIMECODE_INDEX_PARAMETERS_OBJECT, Le(2, 2) + Le(1, 2) + Le(9, 2),
       "specifier 0=stream 1, type 9;", true},
      {ID_GROUP_MUTUAL_EXCLUSION_OBJECT, id + Le(2, 2) + Le(2, 2) + Le(1, 2) + Le(2, 2) + Le(0, 2),
       "exclusion=11111111-1111-1111-1111-111111111111;group 0=1, 2;group 1=none;", false},
      {ID_STREAM_PRIORITIZATION_OBJECT, Le(2, 2) + Le(3, 2) + Le(1, 2) + Le(1, 2) + Le(0, 2),
       "priority 0=stream 3, mandatory;priority 1=stream 1;", false},
      {ID_BANDWIDTH_SHARING_OBJECT, id + Le(1000, 4) + Le(50, 4) + Le(1, 2) + Le(4, 2),
       "sharing=11111111-1111-1111-1111-111111111111;bitrate=1000 bit/s;buffer size=50 "
       "ms;streams=4;",
       false},
      {ID_CONTENT_BRANDING_OBJECT, Le(2, 4) + Le(3, 4) + "img" + Le(3, 4) + "url" + Le(0, 4),
       "banner=JPEG;banner size=3 bytes;banner URL=url;copyright URL=;", false},
      {ID_COMPATIBILITY_OBJECT, Le(2, 1), "", true},
      {ID_SCRIPT_COMMAND_OBJECT,
       id + Le(1, 2) + Le(1, 2) + Le(3, 2) + text + Le(4000, 4) + Le(0, 2) + Le(3, 2) + text,
       "type 0=ab;command 0=4000 ms, ab: ab;", false},
      {ID_CONTENT_ENCRYPTION_OBJECT,
       Le(2, 4) + Hex("01 ff") + Le(3, 4) + "DRM" + Le(3, 4) + "key" + Le(2, 4) + "a:",
       "protection type=DRM;key ID=key;licence URL=a:;secret data=2 bytes: 01ff;", false},
  };
  for (const auto& row : rows) {
    for (const bool inHeader : {true, false}) {
      const Bytes object = Object(row.id, row.body);
      const auto nodes = Nodes(inHeader ? AsfFile({object}).Build()
                                        : AsfFile({}, Small().packets, object).Build());
      const ObjectNode& node = inHeader ? nodes.at(2) : nodes.back();
      EXPECT_EQ(Fields(node), row.fields);
      EXPECT_EQ(!node.problems.empty(), row.isCut) << row.fields;
    }
  }
}

// Where the unit is a whole object in one payload as it stands there: the places of most.
TEST(UnitPlaces, AreWhereTheBytesOfTheUnitsLie) {
  for (const auto& path : SamplePaths()) {
    const std::string bytes = FileBytes(path);
    qo_host::ParserSession session(
        Library(), std::make_unique<qo_host::MemorySource>(bytes.data(), bytes.size()));
    ASSERT_EQ(kParserOk, session.Open());
    qo_host::MemorySource file(bytes.data(), bytes.size());
    qo_host::UnitPlaces places(session, &file);
    const auto& properties = *session.presented()->header().properties;
    const std::size_t start = session.presented()->header().bytes.size() + 50;
    const bool hasLengths = path.filename() == "h264_aac.asf";  // start codes are in their place
    std::size_t matched = 0, count = 0;
    while (const qo_host::AccessUnit* unit = session.NextUnit()) {
      const auto place = places.Find(*unit);
      ASSERT_TRUE(place) << path << " " << unit->timeMs;
      EXPECT_EQ(place->packet, (place->position - start) / properties.minPacketLength) << path;
      const std::size_t skipped = hasLengths && unit->kind == qo_host::TrackKind::kVideo ? 4 : 0;
      const std::size_t compared = std::min<std::size_t>(unit->size, 16) - skipped;
      const std::size_t at = static_cast<std::size_t>(place->position) + skipped;
      matched += bytes.compare(at, compared, reinterpret_cast<const char*>(unit->data) + skipped,
                               compared) == 0;
      ++count;
    }
    // Units behind the first of an object have its place.
    EXPECT_GE(matched, count * 2 / 3) << path;
  }
}

TEST(StreamSample, TellsTimesPaceAndShareOfEachStream) {
  std::vector<Packet> packets;
  for (unsigned int i = 0; i < 20; ++i) {
    packets.push_back(
        Packet({Media(1, 3000 + 40 * i, Bytes(50, 'v')), Media(2, 3010 + 40 * i, Bytes(25, 'a'))}));
  }
  const Bytes file = AsfFile({Stream(ID_VIDEO_MEDIA, 1, VideoFormat("WMV2"))}, packets).Build();
  qo_host::MemorySource source(file.data(), file.size());
  qo_host::FileHeader header;
  ASSERT_EQ(0, ReadFileHeader(&source, &header));
  std::map<unsigned char, qo_host::StreamSample> samples;
  const auto result = SampleStreams(&source, FindPackets(&source, header), &samples);
  EXPECT_EQ(result.end, qo_host::WalkEnd::kDone);
  ASSERT_EQ(samples.size(), 2u);
  EXPECT_EQ(samples[1].firstMs, 0u);
  EXPECT_EQ(samples[2].lastMs, 770u);
  EXPECT_EQ(samples[1].objects * 1000 / samples[1].spanMs, 25u);
  EXPECT_DOUBLE_EQ(samples[1].share, 0.25);
  EXPECT_DOUBLE_EQ(samples[2].share, 0.125);
}

TEST(StreamCodec, NamesCodecsAndProfiles) {
  const Bytes pcmGuid = Hex("01 00 00 00 00 00 10 00 80 00 00 AA 00 38 9B 71");
  const struct {
    Bytes stream;
    const char* codec;
    const char* tag;
    const char* profile;
  } rows[] = {
      {VideoFormat("H264", Hex("01 64 00 1f ff e1")), "H.264", "H264", "High@L3.1"},
      {VideoFormat("H264", Hex("00 00 00 01 67 42 c0 1e")), "H.264", "H264",
       "Constrained Baseline@L3"},
      {VideoFormat("WMV3", Hex("4e b4 80 00")), "Windows Media Video 9", "WMV3", "Main"},
      {VideoFormat("WVC1", Hex("25 00 00 01 0f d3 fe")), "VC-1 advanced profile", "WVC1",
       "Advanced@L2"},
      {VideoFormat("MP4S", Hex("00 00 01 b0 f5")), "MPEG-4 video", "MP4S", "Advanced Simple@L5"},
      {VideoFormat("MSS2"), "Windows Media Screen 9", "MSS2", ""},
      {VideoFormat("zzzz"), "", "zzzz", ""},
      {AudioFormat(0xFF, 1, 1, Hex("12 10")), "AAC", "0x00FF", "LC"},
      {AudioFormat(0xFF, 1, 1, Hex("2b 92")), "AAC", "0x00FF", "HE-AAC"},
      {AudioFormat(0x50, 1, 1, Hex("02 00")), "MPEG audio", "0x0050", "layer II"},
      {AudioFormat(0x55), "MPEG audio", "0x0055", "layer III"},
      {AudioFormat(0x0A10), "", "0x0A10", ""},
      {AudioFormat(0xFFFE, 1, 1, Le(16, 2) + Le(3, 4) + pcmGuid), "PCM", "0x0001", ""},
      {AudioFormat(0xFFFE, 1, 1, Le(16, 2) + Le(3, 4) + Bytes(16, '\x22')), "",
       "22222222-2222-2222-2222-222222222222", ""},
  };
  for (const auto& row : rows) {
    const bool isVideo = row.stream.size() >= 51;
    const Bytes file =
        AsfFile({Stream(isVideo ? ID_VIDEO_MEDIA : ID_AUDIO_MEDIA, 1, row.stream)}).Build();
    qo_host::MemorySource source(file.data(), file.size());
    qo_host::FileHeader header;
    ASSERT_EQ(0, ReadFileHeader(&source, &header));
    const qo_host::StreamHeader& stream = header.streams.at(0);
    EXPECT_EQ(CodecNameOf(stream), row.codec) << row.tag;
    EXPECT_EQ(CodecTagText(stream), row.tag);
    EXPECT_EQ(ProfileText(header, stream), row.profile) << row.tag;
  }
}

}  // namespace
