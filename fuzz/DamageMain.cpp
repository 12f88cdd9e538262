// Damages single packets of real files and plays them through the kit: no media object
// that lies in other packets may be lost or changed. DamageMain N INPUT FILE...
// Case k is the same on every machine, for the same files. INPUT is where each case's
// file is written before it is played, so that it is there after a crash; that of a
// case that fails stays as INPUT-k.
//
// What has to come out is told by the play-out of the undamaged file, cut into objects
// as a walk over its packets finds them.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "qo_host/MemorySource.h"
#include "qo_host/PacketWalk.h"
#include "qo_host/ParserSession.h"
#include "qo_parser_asf/IParser.h"
#include "testing/Random.h"
#include "testing/SampleFiles.h"

namespace {

using qo_host::TrackKind;

constexpr TrackKind kKinds[] = {TrackKind::kVideo, TrackKind::kAudio};

// Of a kind in what is kept for each.
std::size_t IndexOf(TrackKind kind) { return kind == TrackKind::kVideo ? 0 : 1; }

struct Unit {
  unsigned long long timeMs;
  std::string bytes;
};

// A media object that is delivered: the time of its first unit, the bytes of all.
struct Object {
  std::size_t size = 0;  // in the file, bytes
  unsigned long long timeMs = 0;
  std::string bytes;
  std::set<std::size_t> packets;  // that it lies in
};

// A file, played with one choice of streams.
struct Subject {
  std::string name;
  std::string file;
  qo_host::StreamChoice choice;
  std::vector<Object> objects[2];           // of each kind, in file order
  std::vector<std::size_t> payloadHeaders;  // file offsets
  std::size_t packetsStart = 0;             // file offset
  std::size_t packetLength = 0;
  std::size_t packetCount = 0;
};

[[noreturn]] void Die(const std::string& why) {
  std::fprintf(stderr, "%s\n", why.c_str());
  std::exit(2);
}

std::unique_ptr<qo_host::ParserSession> Open(const std::string& file,
                                             const qo_host::StreamChoice& choice) {
  auto session = std::make_unique<qo_host::ParserSession>(
      qo_host::ParserFactory{createParser, destroyParser},
      std::make_unique<qo_host::MemorySource>(file.data(), file.size()));
  qo_host::OpenOptions options;
  options.streams = choice;
  if (session->Open(options) != kParserOk) session.reset();
  return session;
}

std::vector<Unit> Units(qo_host::ParserSession* session, TrackKind kind) {
  std::vector<Unit> units;
  while (const qo_host::AccessUnit* unit = session->NextUnit(kind)) {
    units.push_back({unit->timeMs, {unit->data, unit->data + unit->size}});
  }
  return units;
}

// How many units from `at` on are the object's; 0 where they are another's. Units end
// where the object does, but may be cut otherwise than in the file without damage.
std::size_t Match(const std::vector<Unit>& units, std::size_t at, const Object& object) {
  if (units[at].timeMs != object.timeMs) return 0;
  std::size_t matched = 0;
  std::size_t end = at;
  for (; end < units.size() && matched < object.bytes.size(); ++end) {
    const std::string& bytes = units[end].bytes;
    if (object.bytes.compare(matched, bytes.size(), bytes) != 0) return 0;
    matched += bytes.size();
  }
  return matched == object.bytes.size() ? end - at : 0;
}

// The first object that lies in none of the packets `damaged`, but isn't among the
// units in its place; null where all are.
const Object* FirstLost(const std::vector<Object>& objects, const std::vector<Unit>& units,
                        const std::set<std::size_t>& damaged) {
  std::size_t at = 0;
  for (const Object& object : objects) {
    const bool isHurt = std::any_of(object.packets.begin(), object.packets.end(),
                                    [&](std::size_t packet) { return damaged.count(packet) != 0; });
    if (isHurt) continue;
    std::size_t count = 0;
    while (at < units.size() && (count = Match(units, at, object)) == 0) ++at;
    if (at == units.size()) return &object;
    at += count;
  }
  return nullptr;
}

// Gives each object its units: those that hold as many bytes.
void FillObjects(const std::string& name, const std::vector<Unit>& units,
                 std::vector<Object>* objects) {
  auto unit = units.begin();
  for (Object& object : *objects) {
    if (unit != units.end()) object.timeMs = unit->timeMs;
    while (unit != units.end() && object.bytes.size() < object.size) object.bytes += unit++->bytes;
    if (object.bytes.size() != object.size) Die(name + ": the units are not the file's objects");
  }
  if (unit != units.end()) Die(name + ": there are more units than in the file's objects");
}

// Packets are walked as they are presented, which is where they stand in the file.
void WalkSubject(const qo_host::ParserSession& session, Subject* subject) {
  qo_host::AsfLayout layout;
  qo_host::MemorySource source(subject->file.data(), subject->file.size());
  if (qo_host::ReadLayout(&source, &layout) != 0) Die(subject->name + ": no layout");
  subject->packetsStart = layout.packetsStart;
  if (qo_host::ReadLayout(session.view(), &layout) != 0) Die(subject->name + ": no layout");
  subject->packetLength = layout.packetLength;
  subject->packetCount = layout.PacketsInData();
  const auto visit = [&](const qo_host::Packet& packet) {
    for (const qo_host::Payload& payload : packet.payloads) {
      subject->payloadHeaders.push_back(
          subject->packetsStart + packet.number * subject->packetLength + payload.headerPosition);
      for (const TrackKind kind : kKinds) {
        const qo_host::Track* track = session.FindTrack(kind);
        if (track == nullptr || track->stream != payload.stream) continue;
        std::vector<Object>& objects = subject->objects[IndexOf(kind)];
        if (payload.offset == 0) objects.emplace_back();
        if (objects.empty()) Die(subject->name + ": begins in the middle of an object");
        objects.back().size += payload.present;
        objects.back().packets.insert(packet.number);
      }
    }
    return true;
  };
  qo_host::WalkPackets(session.view(), layout, visit);
}

Subject MakeSubject(const std::string& path, const std::string& file,
                    const qo_host::StreamChoice& choice) {
  Subject subject;
  subject.name = std::filesystem::path(path).filename().string();
  subject.file = file;
  subject.choice = choice;
  const auto session = Open(subject.file, choice);
  if (session == nullptr) Die(path + ": does not open");
  WalkSubject(*session, &subject);
  for (const TrackKind kind : kKinds) {
    FillObjects(path, Units(session.get(), kind), &subject.objects[IndexOf(kind)]);
  }
  return subject;
}

// One for each audio and each video stream.
std::vector<Subject> MakeSubjects(const std::string& path) {
  const std::string file = FileBytes(path);
  const auto session = Open(file, {});
  if (session == nullptr) Die(path + ": does not open");
  std::vector<Subject> subjects;
  for (const qo_host::StreamHeader& stream : session->presented()->header().streams) {
    qo_host::StreamChoice choice;
    if (stream.kind == qo_host::StreamKind::kAudio) choice.audio = stream.number;
    if (stream.kind == qo_host::StreamKind::kVideo) choice.video = stream.number;
    if (choice.audio || choice.video) subjects.push_back(MakeSubject(path, file, choice));
  }
  return subjects;
}

enum class Kind { kZeroed, kGarbage, kHeader, kPayloadHeader, kBody, kBits, kTail, kCount };

const char* const kKindNames[] = {
    "zeroed",       "garbage",      "damaged header", "damaged payload header",
    "damaged body", "flipped bits", "zeroed tail"};

class Damager {
 public:
  Damager(const Subject& subject, Random* random) : subject_(subject), random_(random) {}

  // Damages a packet of the file and returns its number.
  std::size_t Damage(Kind kind, std::string* file) {
    const std::size_t packet = random_->Below(subject_.packetCount);
    begin_ = subject_.packetsStart + packet * subject_.packetLength;
    end_ = std::min(begin_ + subject_.packetLength, file->size());
    file_ = file;
    Apply(kind);
    return packet;
  }

 private:
  static constexpr std::size_t kHeaderBytes = 15;  // as usual
  static constexpr std::size_t kPayloadHeaderBytes = 17;

  void Apply(Kind kind) {
    const std::size_t size = end_ - begin_;
    switch (kind) {
      case Kind::kZeroed:
        return Fill(begin_, size, true);
      case Kind::kGarbage:
        return Fill(begin_, size, false);
      case Kind::kHeader:
        return Fill(begin_ + random_->Below(kHeaderBytes), 1 + random_->Below(4), false);
      case Kind::kPayloadHeader:
        return Fill(PayloadHeader() + random_->Below(kPayloadHeaderBytes), 1 + random_->Below(4),
                    false);
      case Kind::kBody:
        return Fill(begin_ + kHeaderBytes + random_->Below(size), 1 + random_->Below(64), false);
      case Kind::kTail:
        return Fill(begin_ + random_->Below(size), size, true);
      default:
        for (std::size_t flips = 1 + random_->Below(8); flips != 0; --flips) {
          char& byte = (*file_)[begin_ + random_->Below(size)];
          byte = static_cast<char>(byte ^ 1 << random_->Below(8));
        }
    }
  }

  // No byte behind the packet.
  void Fill(std::size_t at, std::size_t size, bool zero) {
    for (const std::size_t end = std::min(at + size, end_); at < end; ++at) {
      (*file_)[at] = static_cast<char>(zero ? 0 : random_->Below(256));
    }
  }

  // Of one of the packet's payloads.
  std::size_t PayloadHeader() {
    const std::vector<std::size_t>& headers = subject_.payloadHeaders;
    const auto first = std::lower_bound(headers.begin(), headers.end(), begin_);
    const auto last = std::lower_bound(first, headers.end(), end_);
    const auto at = static_cast<std::size_t>(first - headers.begin());
    return first == last ? begin_
                         : headers[at + random_->Below(static_cast<std::size_t>(last - first))];
  }

  const Subject& subject_;
  Random* random_;
  std::string* file_ = nullptr;
  std::size_t begin_ = 0, end_ = 0;  // of the packet, in the file
};

// Says what is lost. False where something is.
bool Keeps(const Subject& subject, const std::string& file, const std::set<std::size_t>& damaged,
           const std::string& what) {
  const auto session = Open(file, subject.choice);
  if (session == nullptr) return std::printf("%s: does not open\n", what.c_str()), false;
  bool keeps = true;
  for (const TrackKind kind : kKinds) {
    const Object* const lost =
        FirstLost(subject.objects[IndexOf(kind)], Units(session.get(), kind), damaged);
    if (lost == nullptr) continue;
    keeps = false;
    std::printf("%s: lost or changed: the %s object at %llu ms, %zu bytes, from packet %zu on\n",
                what.c_str(), qo_host::TrackKindName(kind), lost->timeMs, lost->bytes.size(),
                *lost->packets.begin());
  }
  return keeps;
}

bool RunCase(unsigned long number, const std::vector<Subject>& subjects, const std::string& input) {
  Random random(static_cast<unsigned int>(number));
  const Subject& subject = subjects[number % subjects.size()];
  std::string file = subject.file;
  std::string what = "case " + std::to_string(number) + ", " + subject.name;
  std::set<std::size_t> damaged;
  Damager damager(subject, &random);
  for (std::size_t packets = 1 + random.Below(3); packets > 0; --packets) {
    const std::size_t kind = random.Below(static_cast<std::size_t>(Kind::kCount));
    const std::size_t packet = damager.Damage(static_cast<Kind>(kind), &file);
    damaged.insert(packet);
    what += ", packet " + std::to_string(packet) + " " + kKindNames[kind];
  }
  std::ofstream(input, std::ios::binary) << file;
  if (Keeps(subject, file, damaged, what)) return true;
  std::ofstream(input + "-" + std::to_string(number), std::ios::binary) << file;
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return std::fprintf(stderr, "usage: %s N INPUT FILE...\n", argv[0]), 2;
  const unsigned long cases = std::strtoul(argv[1], nullptr, 10);
  std::vector<Subject> subjects;
  for (int k = 3; k < argc; ++k) {
    for (Subject& subject : MakeSubjects(argv[k])) subjects.push_back(std::move(subject));
  }
  unsigned long failed = 0;
  for (unsigned long k = 0; k < cases; ++k) failed += RunCase(k, subjects, argv[2]) ? 0 : 1;
  std::printf("%lu cases of damaged packets, %lu failed\n", cases, failed);
  return failed != 0 ? 1 : 0;
}
