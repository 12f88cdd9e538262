// The planner: chooses streams, drafts a presentation that takes them as they are,
// looks at their first objects and last times through that, and settles it.
#include "host/presented/Plan.h"

#include <algorithm>
#include <array>
#include <map>

#include "asf/format/ByteReader.h"
#include "asf/format/Limits.h"
#include "asf/format/PacketFields.h"
#include "asf/format/SourceReader.h"
#include "host/header/FileProperties.h"
#include "host/packets/FirstObjects.h"
#include "host/presented/PlainPackets.h"
#include "host/presented/PresentedHeader.h"
#include "qo_host/BorrowedSource.h"
#include "qo_host/PacketWalk.h"

namespace qo_host {
namespace {

// Bytes. In shorter ones there is no room for a packet's fields.
constexpr unsigned int kMinPacketLength = 16;

constexpr unsigned char kAllButOpaqueData = 0xEF;  // of a packet's error correction flags

// The first of a kind that `suits`, those that the header itself lists first.
template <typename Suits>
const StreamHeader* FindStream(const FileHeader& header, StreamKind kind, Suits suits) {
  for (const bool hidden : {false, true}) {
    for (const StreamHeader& stream : header.streams) {
      if (stream.kind == kind && stream.hidden == hidden && suits(stream)) return &stream;
    }
  }
  return nullptr;
}

class Planner {
 public:
  Planner(IDataSource* source, const FileHeader& header) : source_(source), header_(header) {}

  Plan Make(const StreamChoice& choice) {
    if (IsPresentable(choice)) {
      Draft();
      ChooseForms();
      NoteErrorCorrection();
      ReckonDuration();
      Settle();
      plan_.isPresented = true;
    }
    return std::move(plan_);
  }

 private:
  bool Refuse(PlanNote note, unsigned long long value = 0) {
    Note(note, value);
    return false;
  }
  void Note(PlanNote note, unsigned long long value = 0) {
    plan_.findings.push_back({note, value});
  }

  bool IsPresentable(const StreamChoice& choice) {
    if (!header_.isAsf) return Refuse(PlanNote::kNotAsf);
    const bool isEncrypted =
        std::any_of(header_.encryptions.begin(), header_.encryptions.end(),
                    [](const Encryption& entry) { return entry.kind == EncryptionKind::kContent; });
    if (isEncrypted) return Refuse(PlanNote::kEncrypted);
    const auto isPlayable = [](const StreamHeader& stream) {
      return stream.kind == StreamKind::kAudio || stream.kind == StreamKind::kVideo;
    };
    if (std::none_of(header_.streams.begin(), header_.streams.end(), isPlayable)) {
      return Refuse(PlanNote::kNoStream);
    }
    plan_.audio = Choose(StreamKind::kAudio, choice.audio);
    plan_.video = Choose(StreamKind::kVideo, choice.video);
    plan_.data = FindData(&source_, header_);
    const unsigned int length = plan_.data.packetLength;
    if (length < kMinPacketLength || length > kMaxPacketLength) {
      return Refuse(PlanNote::kPacketLength, length);
    }
    return plan_.data.PacketCount() != 0 || Refuse(PlanNote::kNoPackets);
  }

  std::optional<PlannedStream> Choose(StreamKind kind, std::optional<unsigned char> number) {
    if (number == StreamChoice::kNoStream) return std::nullopt;
    const StreamHeader* const stream = FindStream(
        header_, kind, [=](const StreamHeader& s) { return !number || s.number == *number; });
    if (stream == nullptr) {
      if (number) Note(PlanNote::kStreamAbsent, *number);
      return std::nullopt;
    }
    if (stream->hidden) Note(PlanNote::kStreamHidden, stream->number);
    return PlannedStream{*stream, {UnitForm::kParser, stream->codecTag, stream->codecTag, 0}};
  }

  // Everything but the forms, the duration and the index, under a header of our own.
  void Draft() {
    const DataExtent& data = plan_.data;
    Presentation& draft = plan_.presentation;
    draft.packetsStart = data.packetsStart;
    draft.packetLength = data.packetLength;
    draft.packetCount = data.PacketCount();
    draft.packetsEnd = data.packetsEnd;
    draft.isEndKnown = data.fileSize.has_value();
    draft.prerollMs = header_.properties->prerollMs;
    if (plan_.audio) draft.streams.audio = plan_.audio->header.number;
    if (plan_.video) draft.streams.video = plan_.video->header.number;
    plan_.playDuration = header_.properties->playDuration;
    draft.header = MakeHeader();
  }

  std::vector<unsigned char> MakeHeader() const {
    HeaderFacts facts;
    for (const auto* planned : {&plan_.audio, &plan_.video}) {
      if (*planned) facts.streams.push_back({&(*planned)->header, (*planned)->form.presentedTag});
    }
    std::sort(facts.streams.begin(), facts.streams.end(),
              [](const auto& a, const auto& b) { return a.stream->position < b.stream->position; });
    facts.packetLength = plan_.data.packetLength;
    facts.packetCount = plan_.data.PacketCount();
    facts.tailSize = plan_.presentation.tailSize;
    facts.playDuration = plan_.playDuration;
    return qo_host::MakeHeader(header_, facts);
  }

  // Calls `look` with the draft and its layout.
  template <typename Look>
  void LookAtDraft(Look look) {
    Damage damage;
    PresentedSource draft(&source_, plan_.presentation, &damage, PresentedSource::Reader::kWalk);
    AsfLayout layout;
    if (ReadLayout(&draft, &layout) == 0) look(&draft, layout);
  }

  std::map<unsigned char, FirstObjects> FindObjects(const std::vector<WantedObjects>& wanted) {
    std::map<unsigned char, FirstObjects> objects;
    if (wanted.empty()) return objects;
    LookAtDraft([&](IDataSource* draft, const AsfLayout& layout) {
      objects = FindFirstObjects(draft, layout, wanted);
    });
    return objects;
  }

  void ChooseForms() {
    std::vector<WantedObjects> wanted;
    for (const auto* planned : {&plan_.audio, &plan_.video}) {
      const auto known = *planned ? ObjectsToKnow((*planned)->header) : std::nullopt;
      if (known) wanted.push_back(*known);
    }
    std::map<unsigned char, FirstObjects> objects = FindObjects(wanted);
    for (auto* planned : {&plan_.audio, &plan_.video}) {
      if (!*planned) continue;
      PlannedStream& stream = **planned;
      const unsigned char number = stream.header.number;
      if (NeedsWholeObject(stream.header, objects[number])) {
        objects[number] = FindObjects({{number, 1, kMaxAllocBytes}})[number];
      }
      stream.form = FormOf(header_, stream.header, objects[number]);
      if (stream.form.form != UnitForm::kParser) Note(PlanNote::kUnitsBent, stream.header.number);
    }
  }

  void NoteErrorCorrection() {
    unsigned char flags = kPlainErrorCorrection;
    const bool isRead = SourceReader(&source_).ReadAt(plan_.data.packetsStart, &flags, 1) == 0;
    if (isRead && (flags & kAllButOpaqueData) != kPlainErrorCorrection) {
      Note(PlanNote::kErrorCorrection);
    }
  }

  // A duration that can't be is reckoned from the last packets.
  void ReckonDuration() {
    const FileProperties& properties = *header_.properties;
    const unsigned long long prerollMs = properties.prerollMs;
    const unsigned long long stated = properties.playDuration;
    const bool isLive = (properties.flags & kBroadcast) != 0;
    const bool isSuspect =
        isLive || stated / kTicksPerMs <= prerollMs || stated <= properties.sendDuration;
    if (!isSuspect || !plan_.data.fileSize) return;
    unsigned long long endMs = 0;
    LookAtDraft(
        [&](IDataSource* draft, const AsfLayout& layout) { endMs = LastEnd(draft, layout); });
    if (endMs == 0 || (!isLive && stated / kTicksPerMs >= endMs)) return;
    if (stated / kTicksPerMs != endMs) Note(PlanNote::kDuration, stated / kTicksPerMs);
    plan_.playDuration = endMs * kTicksPerMs;
  }

  // When the last objects end, preroll included, ms: each stream's last lasts as long as
  // the one before it. 0 where there are none.
  unsigned long long LastEnd(IDataSource* draft, const AsfLayout& layout) const {
    struct Times {
      unsigned int last = 0, gap = 0;
      bool any = false;
    };
    std::array<Times, 2> times;
    const unsigned long long count = layout.PacketsInFile();
    WalkPackets(
        draft, layout,
        [&](const Packet& packet) {
          for (const Payload& payload : packet.payloads) {
            Times& of = times[payload.stream == plan_.presentation.streams.audio ? 0 : 1];
            if (payload.offset != 0 || (of.any && payload.timeMs <= of.last)) continue;
            of = {payload.timeMs, of.any ? payload.timeMs - of.last : 0, true};
          }
          return true;
        },
        count - std::min(count, kTailPackets));
    unsigned long long end = 0;
    for (const Times& of : times) {
      if (of.any) end = std::max(end, header_.properties->prerollMs + of.last + of.gap);
    }
    return end;
  }

  // The index, and the header where the file's own won't do.
  void Settle() {
    Presentation& presentation = plan_.presentation;
    presentation.streams.invertsVideo =
        plan_.video && plan_.video->form.form == UnitForm::kInverted;
    PlaceIndex();
    const bool isMeant = IsReadAsMeant(header_);
    if (!isMeant) Note(PlanNote::kHeaderMisread);
    if (!plan_.data.isAsStated) Note(PlanNote::kDataSize, plan_.data.statedSize);
    presentation.header.clear();
    if (!isMeant || !HeaderHolds()) presentation.header = MakeHeader();
  }

  // Whether the header says of data and streams what is presented.
  bool HeaderHolds() const {
    const FileProperties& properties = *header_.properties;
    const unsigned int length = plan_.data.packetLength;
    return plan_.data.isAsStated && plan_.playDuration == properties.playDuration &&
           (plan_.data.packetsEnd - plan_.data.packetsStart) % length == 0 &&
           properties.minPacketLength == length && properties.maxPacketLength == length &&
           properties.dataPackets == plan_.data.PacketCount() &&
           Holds(StreamKind::kAudio, plan_.audio) && Holds(StreamKind::kVideo, plan_.video);
  }
  bool Holds(StreamKind kind, const std::optional<PlannedStream>& planned) const {
    const StreamHeader* const track =
        FindStream(header_, kind, [](const StreamHeader& stream) { return !stream.hidden; });
    if (track == nullptr) return !planned;
    return planned && planned->header.position == track->position &&
           planned->form.presentedTag == track->codecTag;
  }

  // There is one for each video stream, in the order of their numbers.
  void PlaceIndex() {
    const std::vector<FileExtent>& indexes = plan_.data.indexes;
    std::size_t rank = 0;
    if (plan_.video) {
      rank = static_cast<std::size_t>(std::count_if(
          header_.streams.begin(), header_.streams.end(), [this](const StreamHeader& stream) {
            return stream.kind == StreamKind::kVideo && stream.number < plan_.video->header.number;
          }));
    }
    if (rank >= indexes.size()) return;
    const FileExtent& index = indexes[rank];
    const unsigned long long end = plan_.data.packetsEnd;
    const bool isReached = plan_.data.isAsStated && index.offset == end;
    if (!isReached && rank == 0) Note(PlanNote::kIndexUnreached);
    plan_.presentation.tailStart = index.offset;
    // All that follows, as in the file, where that is what the parser walks over.
    plan_.presentation.tailSize = isReached ? *plan_.data.fileSize - end : index.size;
  }

  BorrowedSource source_;
  const FileHeader& header_;
  Plan plan_;
};

}  // namespace

Plan MakePlan(IDataSource* source, const FileHeader& header, const StreamChoice& choice) {
  return Planner(source, header).Make(choice);
}

}  // namespace qo_host
