// What a repair writes: right for the bare parser, whole, and good for another repair.
#include <gtest/gtest.h>

#include <algorithm>

#include "HostLibrary.h"
#include "qo_host/MemorySource.h"
#include "qo_host/Repair.h"
#include "qo_host/RepairCheck.h"
#include "testing/AsfBuilder.h"
#include "testing/SampleFiles.h"

namespace {

using qo_host::RepairStatus;

struct Repaired {
  RepairStatus status;
  std::string notes;  // in words that tell them apart
  Bytes file;
};

Repaired RepairBytes(const Bytes& file) {
  static constexpr const char* kNotes[] = {
      "header ", "file size ", "count ", "length ",   "duration ", "broadcast ", "bitrate ",
      "data ",   "packets ",   "grow ",  "no index ", "index ",    "trailing "};
  qo_host::MemorySource source(file.data(), file.size());
  qo_host::Repair repair(&source);
  Repaired repaired = {repair.Survey({}), "", ""};
  for (const qo_host::RepairFinding& finding : repair.findings())
    repaired.notes += kNotes[static_cast<int>(finding.note)];
  if (repaired.status != RepairStatus::kGood && repaired.status != RepairStatus::kMendable)
    return repaired;
  const auto sink = [&](const unsigned char* data, std::size_t size) {
    repaired.file.append(reinterpret_cast<const char*>(data), size);
    return true;
  };
  EXPECT_EQ(RepairStatus::kGood, repair.Write(sink, {}));
  return repaired;
}

qo_host::RepairVerdict Check(const Bytes& file, const Bytes& mended) {
  qo_host::MemorySource in(file.data(), file.size()), out(mended.data(), mended.size());
  return qo_host::CheckRepair(Library(), &in, &out, {});
}

// What the bare parser delivers.
Bytes PlayedUnits(const Bytes& file) {
  qo_host::ParserSession session(Library(),
                                 std::make_unique<qo_host::MemorySource>(file.data(), file.size()));
  qo_host::OpenOptions options;
  options.asIs = true;
  if (session.Open(options) != 0) return "refused";
  Bytes text;
  while (const qo_host::AccessUnit* unit = session.NextUnit()) {
    text += (unit->kind == qo_host::TrackKind::kVideo ? "v" : "a") + std::to_string(unit->timeMs) +
            ":" + Bytes(reinterpret_cast<const char*>(unit->data), unit->size) + " ";
  }
  return text;
}

// Two streams that are played, one that is not, and a right index.
AsfFile FileToRepair() {
  const Bytes half = Le(4, 4) + Le(3000, 4);
  AsfFile file({Stream(ID_AUDIO_MEDIA, 1, AudioFormat(0xFF)),
                Stream(ID_VIDEO_MEDIA, 2, VideoFormat("WMV2")), Stream(ID_COMMAND_MEDIA, 3, "")},
               {Packet({Key(2, 3000, "AB").Replicated(half)}),
                Packet({Media(2, 3000, "CD").Offset(2).Replicated(half), Media(1, 3010, "xy"),
                        Media(3, 3020, "command"), Key(2, 3040, "E")})},
               SimpleIndex(10000000, {0, 0, 0, 0, 1}));
  file.duration = 31000000;
  file.bitrate = 9000;
  return file;
}
const Bytes kUnitsToKeep = "v0:ABCD a10:xy v40:E ";

Bytes Broken(void (*change)(AsfFile*)) {
  AsfFile file = FileToRepair();
  change(&file);
  return file.Build();
}

// The file as it is to be, but for its header's file size, which the builder leaves 0.
Bytes Right() { return RepairBytes(FileToRepair().Build()).file; }

struct RepairCase {
  const char* name;
  Bytes file;
  const char* notes;
  bool becomesRight;  // to the byte
  Bytes kept;         // that has to be in the mended file
};

std::vector<RepairCase> Cases() {
  const Bytes library =
      Metadata({Record(Utf16("WM/Picture"), 1, Bytes(1 << 20, 'P'))}, ID_METADATA_LIBRARY_OBJECT);
  // Behind 8 bytes of packet header and 15 of payload header: a packet to its end.
  AsfFile pictured = FileToRepair();
  pictured.header.push_back(HeaderExtension(library));
  AsfFile indexless = FileToRepair();
  indexless.trailing.clear();
  const std::size_t cutAt = indexless.Build().size() - 100;
  static const Bytes full(200 - 8 - 15, 'F');
  return {
      {"right but for the file size", FileToRepair().Build(), "file size ", true, ""},
      {"never finished", Broken([](AsfFile* file) {
         file->dataSize = 50;
         file->packetCount = 0;
       }),
       "file size count data ", true, ""},
      {"without an index", Broken([](AsfFile* file) { file->trailing.clear(); }),
       "no index file size ", false, ""},
      {"index that leads astray", Broken([](AsfFile* file) {
         file->trailing = SimpleIndex(10000000, {0, 0, 0, 7, 1});
       }),
       "index file size ", false, ""},
      {"index behind another object", Broken([](AsfFile* file) {
         file->trailing.insert(0, Object(ID_COMPATIBILITY_OBJECT, "other"));
       }),
       "trailing file size ", false, Object(ID_COMPATIBILITY_OBJECT, "other")},
      {"no error correction data, with room for it", Broken([](AsfFile* file) {
         for (Packet& packet : file->packets) packet.errorCorrection.clear();
       }),
       "packets file size ", false, ""},
      {"no error correction data, and no room", Broken([](AsfFile* file) {
         file->packets.push_back(Packet({Media(3, 3050, full)}));
         file->packets.back().errorCorrection.clear();
         file->packets.back().paddingType = 0;
       }),
       "packets grow file size length data ", false, full},
      {"cut in the last packet",
       Broken([](AsfFile* file) { file->trailing.clear(); }).substr(0, cutAt),
       "packets no index file size ", false, ""},
      {"fewer objects counted than there are", Broken([](AsfFile* file) { file->headerCount = 2; }),
       "file size header ", true, ""},
      {"picture above 1 MiB", pictured.Build(), "file size header ", false, library},
      {"a packet of rubbish", Broken([](AsfFile* file) {
         file->packets.push_back(Packet({Media(3, 3050, "kept"), Media(1, 3050, "lost")}));
         file->packets.back().payloads[1].ReplicatedLength(0);
       }),
       "packets file size ", false, "kept"},
  };
}

TEST(HostRepair, WritesWhatTheBareParserPlays) {
  const Bytes right = Right();
  for (const RepairCase& c : Cases()) {
    const Repaired repaired = RepairBytes(c.file);
    EXPECT_EQ(RepairStatus::kMendable, repaired.status) << c.name;
    EXPECT_EQ(c.notes, repaired.notes) << c.name;
    EXPECT_EQ(kUnitsToKeep, PlayedUnits(repaired.file)) << c.name;
    EXPECT_EQ(qo_host::RepairVerdict::kGood, Check(c.file, repaired.file)) << c.name;
    EXPECT_EQ(RepairStatus::kGood, RepairBytes(repaired.file).status) << c.name;
    EXPECT_NE(Bytes::npos, repaired.file.find("command")) << c.name;
    EXPECT_NE(Bytes::npos, repaired.file.find(c.kept)) << c.name;
    EXPECT_EQ(c.becomesRight, repaired.file == right) << c.name;
  }
}

TEST(HostRepair, RefusesWhatIsPastMendingAndFindsTheWrongCopy) {
  EXPECT_EQ(RepairStatus::kPastMending, RepairBytes("no ASF file").status);
  Bytes other = Right();
  other[other.find("xy")] = 'z';
  EXPECT_EQ(qo_host::RepairVerdict::kUnitsDiffer, Check(Right(), other));
  EXPECT_EQ(qo_host::RepairVerdict::kNotMended, Check(Right(), FileToRepair().Build()));
}

// A reader that waits for all of an object hands out one that the file ends in, too.
TEST(HostRepair, EndsTheTornObjectWhereTheFileEnds) {
  const Bytes replicated = Le(184, 4) + Le(3000, 4);
  AsfFile file = FileToRepair();
  file.trailing.clear();
  file.packets = {Packet({Key(2, 3000, "ABCD").Replicated(replicated)}),
                  Packet({Media(2, 3000, Bytes(180, 'x')).Offset(4).Replicated(replicated)})};
  const Bytes whole = file.Build(), cut = whole.substr(0, whole.size() - 100);
  Bytes units[2];
  for (const Bytes& bytes : {cut, RepairBytes(cut).file}) {
    qo_host::ParserSession session(
        Library(), std::make_unique<qo_host::MemorySource>(bytes.data(), bytes.size()));
    ASSERT_EQ(kParserOk, session.Open());
    const qo_host::AccessUnit* unit = session.NextUnit();
    ASSERT_NE(nullptr, unit);
    EXPECT_EQ(bytes == cut, unit->isIncomplete);
    units[bytes == cut ? 0 : 1].assign(unit->data, unit->data + unit->size);
  }
  EXPECT_LT(4u, units[0].size());
  EXPECT_EQ(units[0], units[1]);
}

TEST(HostRepair, LeavesTheSamplesAsTheyAreAndMendsThemCut) {
  for (const auto& path : SamplePaths()) {
    const Bytes file = FileBytes(path);
    const Repaired copy = RepairBytes(file);
    EXPECT_EQ(copy.status == RepairStatus::kGood, copy.file == file) << path << copy.notes;
    for (const std::size_t size : {file.size() / 2, file.size() - 1000}) {
      const Bytes cut = file.substr(0, size);
      const Repaired repaired = RepairBytes(cut);
      EXPECT_EQ(RepairStatus::kMendable, repaired.status) << path;
      EXPECT_EQ(qo_host::RepairVerdict::kGood, Check(cut, repaired.file))
          << path << ", cut at " << size;
    }
  }
}

}  // namespace
