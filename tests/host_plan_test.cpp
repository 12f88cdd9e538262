// What the kit makes of files that the parser refuses, bends or misreads.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <tuple>

#include "HostLibrary.h"
#include "qo_host/MemorySource.h"
#include "qo_host/PacketWalk.h"
#include "qo_host/ParserSession.h"
#include "testing/AsfBuilder.h"
#include "testing/PresentedBytes.h"
#include "testing/SampleFiles.h"

namespace {

using qo_host::PlanNote;
using qo_host::UnitForm;

// The plan's findings, the first letters of whose names tell them apart, and its
// streams with their forms.
std::string PlanText(const qo_host::Plan& plan) {
  static constexpr const char* kNotes[] = {
      "not ASF",   "no stream", "encrypted", "packet length",    "no packets", "absent", "header",
      "data size", "duration",  "index",     "error correction", "hidden",     "bent"};
  static constexpr const char* kForms[] = {"", " whole", " blocks", " inverted", " prefixed"};
  std::string text;
  for (const qo_host::PlanFinding& finding : plan.findings) {
    text += std::string(kNotes[static_cast<int>(finding.note)]) + " " +
            std::to_string(finding.value) + ", ";
  }
  for (const auto* planned : {&plan.audio, &plan.video}) {
    if (!*planned) continue;
    text += std::to_string((*planned)->header.number) +
            kForms[static_cast<int>((*planned)->form.form)] + " " +
            std::to_string((*planned)->form.codec) + "; ";
  }
  return text;
}

// What the parser delivers of the presented file: "v0:bytes", times in ms, without
// what a plan tells to turn back.
std::string Units(const Bytes& file, const qo_host::StreamChoice& choice, std::string* planText) {
  qo_host::MemorySource source(file.data(), file.size());
  std::unique_ptr<qo_host::PresentedFile> presented;
  EXPECT_EQ(0, qo_host::PresentedFile::Make(&source, choice, &presented));
  const qo_host::Plan& plan = presented->plan();
  *planText = PlanText(plan);
  if (!plan.isPresented) return "not presented";
  qo_host::ParserSession session(Library(), presented->MakeSource());
  qo_host::OpenOptions options;
  options.asIs = true;
  EXPECT_EQ(0, session.Open(options));
  std::string text;
  while (const qo_host::AccessUnit* unit = session.NextUnit()) {
    Bytes bytes(reinterpret_cast<const char*>(unit->data), unit->size);
    const bool isVideo = unit->kind == qo_host::TrackKind::kVideo;
    if (isVideo && plan.video->form.form == UnitForm::kInverted)
      bytes[0] = static_cast<char>(~bytes[0]);
    text += (isVideo ? "v" : "a") + std::to_string(unit->timeMs) + ":" + bytes + " ";
  }
  return text;
}

struct PlanCase {
  const char* name;
  Bytes file;
  qo_host::StreamChoice choice;
  const char* plan;
  Bytes units;
};

Bytes VideoStream(int number, const char* fourCc) {
  return Stream(ID_VIDEO_MEDIA, number, VideoFormat(fourCc));
}
Bytes AudioStream(int number, int tag, int blockAlign = 2) {
  return Stream(ID_AUDIO_MEDIA, number, AudioFormat(tag, 16000, blockAlign));
}

// Extended stream properties that hold a stream.
Bytes Hidden(const Bytes& stream) {
  return HeaderExtension(Object(ID_EXTENDED_STREAM_PROPERTIES_OBJECT, Bytes(64, '\0') + stream));
}

// Two video objects, the first in two packets, and an audio object.
std::vector<Packet> SomePackets() {
  std::vector<Packet> packets;
  packets.push_back(Packet({Key(2, 3000, "AB")}));
  packets.back().payloads[0].Replicated(Le(4, 4) + Le(3000, 4));
  packets.push_back(Packet({Media(2, 3000, "CD").Offset(2).Replicated(Le(4, 4) + Le(3000, 4)),
                            Media(1, 3010, "xy"), Key(2, 3040, "E")}));
  return packets;
}
const char* const kSomeUnits = "v0:ABCD a10:xy v40:E ";

AsfFile SomeFile() {
  AsfFile file({AudioStream(1, 0xFF), VideoStream(2, "WMV2")}, SomePackets());
  file.duration = 31000000;
  return file;
}

Bytes With(void (*change)(AsfFile*)) {
  AsfFile file = SomeFile();
  change(&file);
  return file.Build();
}

Bytes OneStream(const Bytes& stream, const std::vector<Packet>& packets) {
  AsfFile file({stream}, packets);
  file.duration = 31000000;
  return file.Build();
}

std::vector<PlanCase> Containers() {
  const Bytes index = SimpleIndex(10000000, {0, 0, 0, 0});
  return {
      {"regular", SomeFile().Build(), {}, "1 201; 2 107; ", kSomeUnits},
      {"no error correction data",
       With([](AsfFile* file) {
         for (Packet& packet : file->packets) packet.errorCorrection.clear();
       }),
       {},
       "error correction 0, 1 201; 2 107; ",
       kSomeUnits},
      {"only some without",
       With([](AsfFile* file) { file->packets[1].errorCorrection.clear(); }),
       {},
       "1 201; 2 107; ",
       kSomeUnits},
      {"of other lengths",
       With([](AsfFile* file) {
         file->packets[0].errorCorrection = Hex("85 00 00 00 00 00");
         file->packets[1].errorCorrection = Hex("80");
       }),
       {},
       "error correction 0, 1 201; 2 107; ",
       kSomeUnits},
      {"a packet of rubbish",
       With([](AsfFile* file) {
         file->packets.insert(file->packets.begin() + 1, Packet({Media(1, 3000, "lost")}));
         file->packets[1].payloads[0].ReplicatedLength(0);
       }),
       {},
       "1 201; 2 107; ",
       kSomeUnits},
      {"never finished",
       With([](AsfFile* file) {
         file->dataSize = 50;
         file->packetCount = 0;
         file->duration = 0;
       }),
       {},
       "duration 0, data size 50, 1 201; 2 107; ",
       kSomeUnits},
      {"index behind unfinished data",
       With([](AsfFile* file) {
         file->dataSize = 0;
         file->packetCount = 0;
         file->trailing = SimpleIndex(10000000, {0, 0, 0, 0});
       }),
       {},
       "index 0, data size 0, 1 201; 2 107; ",
       kSomeUnits},
      {"cut in the last packet",
       SomeFile().Build().substr(0, SomeFile().Build().size() - 100),
       {},
       "data size 450, 1 201; 2 107; ",
       kSomeUnits},
      {"index behind other objects",
       SomeFile().Build() + Object(ID_INDEX_OBJECT, "other") + index,
       {},
       "index 0, 1 201; 2 107; ",
       kSomeUnits},
      {"fewer objects counted than there are",
       With([](AsfFile* file) { file->headerCount = 2; }),
       {},
       "header 0, 1 201; 2 107; ",
       kSomeUnits},
      {"more counted",
       With([](AsfFile* file) { file->headerCount = 9; }),
       {},
       "header 0, 1 201; 2 107; ",
       kSomeUnits},
      {"header extension above 1 MiB",
       With([](AsfFile* file) {
         file->header.push_back(HeaderExtension(Object(ID_PADDING_OBJECT, Bytes(1 << 20, 'p'))));
       }),
       {},
       "header 0, 1 201; 2 107; ",
       kSomeUnits},
      {"metadata without records in front of an index",
       With([](AsfFile* file) {
         file->header.push_back(HeaderExtension(Metadata({})));
         file->trailing = SimpleIndex(10000000, {0, 0, 0, 0});
       }),
       {},
       "header 0, 1 201; 2 107; ",
       kSomeUnits},
  };
}

std::vector<PlanCase> Streams() {
  const Bytes vc1 = Hex("00 00 01 0F") + "seq" + Hex("00 00 01 0D") + "frame";
  const Bytes nal = Hex("00 00 01 67") + "sps" + Hex("00 00 01 65") + "slice";
  const Bytes prefixed = Hex("00 00 00 02") + "NA" + Hex("00 00 00 01") + "L";
  const Bytes mpeg25 = Hex("FF E3 18 C4") + "frame";
  constexpr unsigned char kNoStream = qo_host::StreamChoice::kNoStream;
  const Bytes others =
      AsfFile({AudioStream(1, 0xFF), AudioStream(3, 0xFF), VideoStream(2, "WMV2"),
               VideoStream(4, "MJPG"), Hidden(AudioStream(5, 0xFF))},
              {Packet({Media(1, 3000, "1"), Media(2, 3000, "2"), Media(3, 3000, "3"),
                       Media(4, 3000, "4"), Media(5, 3000, "5")})})
          .Build();
  return {
      {"VC-1 with headers in front of a frame",
       OneStream(VideoStream(2, "WVC1"), {Packet({Key(2, 3000, vc1)})}),
       {},
       "bent 2, 2 inverted 109; ",
       "v0:" + vc1 + " "},
      {"H.264 with 3-byte start codes",
       OneStream(VideoStream(2, "H264"), {Packet({Key(2, 3000, nal)})}),
       {},
       "bent 2, 2 whole 104; ",
       "v0:" + nal + " "},
      {"H.264 with lengths",
       OneStream(VideoStream(2, "H264"), {Packet({Key(2, 3000, prefixed)})}),
       {},
       "2 104; ",
       "v0:" + Hex("00 00 00 01") + "NA v0:" + Hex("00 00 00 01") + "L "},
      {"H.264 with lengths, by a FourCC that the parser doesn't know",
       OneStream(VideoStream(2, "X264"), {Packet({Key(2, 3000, prefixed)})}),
       {},
       "bent 2, 2 prefixed 104; ",
       "v0:" + prefixed + " "},
      {"H.264 with start codes by that FourCC",
       OneStream(VideoStream(2, "X264"), {Packet({Key(2, 3000, nal)})}),
       {},
       "2 104; ",
       "v0:" + nal + " "},
      {"H.264 with lengths of two bytes",
       OneStream(Stream(ID_VIDEO_MEDIA, 2, VideoFormat("H264", Hex("01 4D 00 1E FD E0 00"))),
                 {Packet({Key(2, 3000, Hex("00 02") + "NA")})}),
       {},
       "bent 2, 2 prefixed 104; ",
       "v0:" + Hex("00 02") + "NA "},
      {"PCM",
       OneStream(AudioStream(1, 1), {Packet({Media(1, 3100, "pcm")})}),
       {},
       "bent 1, 1 whole 206; ",
       "a100:pcm "},
      {"MPEG-2.5",
       OneStream(AudioStream(1, 0x55), {Packet({Media(1, 3100, mpeg25)})}),
       {},
       "bent 1, 1 whole 202; ",
       "a100:" + mpeg25 + " "},
      {"blocks in one object",
       OneStream(AudioStream(1, 0x161), {Packet({Media(1, 3100, "abcd")})}),
       {},
       "bent 1, 1 blocks 211; ",
       "a100:abcd "},
      {"one block",
       OneStream(AudioStream(1, 0x161), {Packet({Media(1, 3100, "ab")})}),
       {},
       "1 211; ",
       "a100:ab "},
      {"the first streams", others, {}, "duration 0, 1 201; 2 107; ", "v0:2 a0:1 "},
      {"other streams", others, {3, 4}, "duration 0, 3 201; 4 114; ", "v0:4 a0:3 "},
      {"a hidden stream", others, {5, 2}, "hidden 5, duration 0, 5 201; 2 107; ", "v0:2 a0:5 "},
      {"no such stream", others, {9, 2}, "absent 9, duration 0, 2 107; ", "v0:2 "},
      {"audio alone", others, {3, kNoStream}, "duration 0, 3 201; ", "a0:3 "},
      {"video alone", others, {kNoStream, 4}, "duration 0, 4 114; ", "v0:4 "},
      {"nothing that is there", others, {9, kNoStream}, "absent 9, duration 0, ", ""},
  };
}

std::vector<PlanCase> Refused() {
  const Bytes none = "not presented";
  return {
      {"not ASF", Bytes(100, 'x'), {}, "not ASF 0, ", none},
      {"no stream",
       OneStream(Stream(ID_COMMAND_MEDIA, 3, ""), SomePackets()),
       {},
       "no stream 0, ",
       none},
      {"encrypted",
       With([](AsfFile* file) {
         file->header.push_back(Object(ID_CONTENT_ENCRYPTION_OBJECT, Bytes(16, '\0')));
       }),
       {},
       "encrypted 0, ",
       none},
      {"packets above 1 MiB",
       With([](AsfFile* file) { file->minPacket = file->maxPacket = (1 << 20) + 1; }),
       {},
       "packet length 1048577, 1 0; 2 0; ",
       none},
      {"no packets",
       With([](AsfFile* file) { file->packets.clear(); }),
       {},
       "no packets 0, 1 0; 2 0; ",
       none},
  };
}

TEST(HostPlan, PresentsWhatTheParserWouldMissOrBend) {
  for (const auto& cases : {Containers(), Streams(), Refused()}) {
    for (const PlanCase& c : cases) {
      std::string plan;
      const std::string units = Units(c.file, c.choice, &plan);
      EXPECT_EQ(c.plan, plan) << c.name;
      EXPECT_EQ(c.units, units) << c.name;
      const auto once = PresentedBytes(c.file, c.choice);
      if (once && !units.empty()) {
        EXPECT_EQ(once, PresentedBytes(*once, {})) << c.name;
      }
    }
  }
}

TEST(HostPlan, LeavesRegularFilesAsTheyAre) {
  for (const auto& path : SamplePaths()) {
    const Bytes file = FileBytes(path);
    qo_host::Plan plan;
    const auto presented = PresentedBytes(file, {}, &plan);
    const bool isBent = std::any_of(plan.findings.begin(), plan.findings.end(),
                                    [](const auto& f) { return f.note == PlanNote::kUnitsBent; });
    ASSERT_TRUE(presented);
    EXPECT_EQ(isBent, *presented != file) << path << ": " << PlanText(plan);
    EXPECT_EQ(presented, PresentedBytes(*presented, {})) << path;
  }
}

// Media objects as a reader joins them: by stream, time and bytes.
using Objects = std::map<std::tuple<int, unsigned int, Bytes>, int>;

// Those of the streams of `plan`, but such as have a part in the packet `except`.
Objects ObjectsOf(const Bytes& file, const qo_host::Plan& plan, unsigned long long except) {
  struct Making {
    unsigned int timeMs = 0;
    Bytes bytes;
    bool counts = false;
  };
  std::map<int, Making> making;
  Objects objects;
  const auto finish = [&](int stream) {
    if (making[stream].counts) ++objects[{stream, making[stream].timeMs, making[stream].bytes}];
  };
  qo_host::MemorySource source(file.data(), file.size());
  qo_host::AsfLayout layout;
  EXPECT_EQ(0, qo_host::ReadLayout(&source, &layout));
  qo_host::WalkPackets(&source, layout, [&](const qo_host::Packet& packet) {
    for (const qo_host::Payload& payload : packet.payloads) {
      if ((!plan.audio || payload.stream != plan.audio->header.number) &&
          (!plan.video || payload.stream != plan.video->header.number)) {
        continue;
      }
      Making& object = making[payload.stream];
      if (payload.offset == 0) {
        finish(payload.stream);
        object = {payload.timeMs, "", true};
      }
      if (packet.number == except) object.counts = false;
      object.bytes +=
          file.substr(layout.PacketPosition(packet.number) + payload.position, payload.present);
    }
    return true;
  });
  for (const auto& entry : making) finish(entry.first);
  return objects;
}

// A few bytes near the front, where the fields are, or all of it.
void DamagePacket(char* packet, unsigned int length, std::minstd_rand* random) {
  const unsigned int kind = (*random)() % 4;
  if (kind == 0) {
    std::fill(packet, packet + length, '\0');
  } else if (kind == 1) {
    std::generate(packet, packet + length, [&] { return static_cast<char>((*random)() >> 7); });
  } else {
    for (unsigned int i = 0; i < kind; ++i)
      packet[(*random)() % std::min(length, 60u)] = static_cast<char>((*random)() >> 7);
  }
}

TEST(HostPlan, DamageInOnePacketCostsNoObjectOfAnother) {
  std::minstd_rand random(1);
  for (const auto& path : SamplePaths()) {
    const Bytes file = FileBytes(path);
    qo_host::Plan plan;
    ASSERT_TRUE(PresentedBytes(file, {}, &plan));
    for (int i = 0; i < 20; ++i) {
      const unsigned long long packet = random() % plan.presentation.packetCount;
      Bytes damaged = file;
      const unsigned int length = plan.presentation.packetLength;
      DamagePacket(&damaged[plan.presentation.packetsStart + packet * length], length, &random);
      const auto presented = PresentedBytes(damaged, {});
      ASSERT_TRUE(presented);
      const Objects kept = ObjectsOf(*presented, plan, ~0ull);
      for (const auto& [object, count] : ObjectsOf(file, plan, packet)) {
        const auto found = kept.find(object);
        EXPECT_TRUE(found != kept.end() && found->second >= count)
            << path << ", packet " << packet << ", case " << i << ": stream " << std::get<0>(object)
            << " at " << std::get<1>(object) << " ms";
      }
    }
  }
}

}  // namespace
