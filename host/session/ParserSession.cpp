// ParserSession: opening, describing, playing out and the plain seek. It owns the
// parser, the source, a delivery buffer per kind and copies of what the parser said
// about the file; and, taken over from a twin, a second parser with its view.
#include "qo_host/ParserSession.h"

#include <algorithm>
#include <array>
#include <utility>

#include "host/presented/Plan.h"
#include "host/sources/Guarded.h"
#include "qo_host/CommonTags.h"

namespace qo_host {
namespace {

// Index of a kind in what is kept per kind, and the order in which both are sought.
constexpr TrackKind kKinds[] = {TrackKind::kVideo, TrackKind::kAudio};

}  // namespace

// Delivery of one kind.
struct ParserSession::Lane {
  bool exists = false;                      // otherwise nothing is ever asked
  std::unique_ptr<unsigned char[]> buffer;  // kMaxAccessUnitBytes
  AccessUnit unit{};
  bool pending = false;  // `unit` has been read but not handed out
  // How the parser's units become the file's, and what is left of the one that is
  // being cut into blocks.
  UnitForm form = UnitForm::kParser;
  unsigned char stream = 0;     // number; for what is known of its damage
  unsigned int blockAlign = 0;  // bytes
  unsigned int bytesPerSecond = 0;
  unsigned int partLateMs = 0;  // see StreamForm
  AccessUnit object{};          // whole, in `buffer`; of size 0: none
  std::size_t next = 0;         // offset of its next block; its size: none
  int endStatus = kParserOk;
};
// A parser and where it stands. Order matters: the parser is closed and goes
// before the source that it reads.
struct ParserSession::Reading {
  ~Reading();
  Lane& LaneOf(TrackKind kind) { return lanes[kind == TrackKind::kVideo ? 0 : 1]; }

  std::unique_ptr<IDataSource> source;
  std::unique_ptr<IDataSource> view;  // of `source`, for the parser; null: that itself
  ParserPointer parser;
  std::array<Lane, 2> lanes;
};

const char* TrackKindName(TrackKind kind) { return kind == TrackKind::kVideo ? "video" : "audio"; }

ParserSession::Reading::~Reading() {
  if (parser) parser->Close();
  // A view opens and closes nothing below it.
  if (view != nullptr) Guarded([this] { return source->Close(); });
}

ParserSession::ParserSession(const ParserFactory& factory, std::unique_ptr<IDataSource> source)
    : factory_(factory), home_(std::make_unique<Reading>()), now_(home_.get()) {
  home_->source = std::move(source);
  home_->parser = factory_.Make();
}

ParserSession::~ParserSession() = default;

IDataSource* ParserSession::source() const { return home_->source.get(); }

IDataSource* ParserSession::view() const {
  return home_->view != nullptr ? home_->view.get() : source();
}

int ParserSession::Open(const OpenOptions& options) {
  IParser* const parser = home_->parser.get();
  if (parser == nullptr) return kParserOutOfRange;
  options_ = options;
  // A twin reads what is presented already.
  int status = options.asIs || presented_ != nullptr ? kParserOk : Present(options);
  if (status < 0) return status;
  status = options.mode ? parser->OpenEx(view(), *options.mode) : parser->Open(view());
  if (status < 0) return status;
  isOpen_ = true;
  Describe();
  ReadTags();
  unsigned long durationMs = 0;
  parser->GetDurationMs(&durationMs);
  durationMs_ = durationMs;
  return kParserOk;
}

// Where the plan says that the parser is to have the file as it is, it opens the
// source itself.
int ParserSession::Present(const OpenOptions& options) {
  Guarded([this] { return source()->Open(); });
  std::unique_ptr<PresentedFile> file;
  const int status = PresentedFile::Make(source(), options.streams, &file);
  if (status >= 0 && file->isPresented()) home_->view = file->MakeSource();
  if (home_->view == nullptr) Guarded([this] { return source()->Close(); });
  presented_ = std::move(file);
  return status;
}

const Track* ParserSession::FindTrack(TrackKind kind) const {
  const auto found = std::find_if(tracks_.begin(), tracks_.end(),
                                  [kind](const Track& track) { return track.kind == kind; });
  return found != tracks_.end() ? &*found : nullptr;
}

void ParserSession::Describe() {
  const unsigned int count = home_->parser->GetTrackCount();
  for (unsigned int index = 0; index < count; ++index) {
    const TrackInfo* info = home_->parser->GetTrackInfo(index);
    if (info == nullptr) continue;
    Track track{index, static_cast<TrackKind>(info->trackType), *info, {}, {}, {}, 0};
    const AsfTrackExt* bitmap = home_->parser->getExtraInterface();
    if (track.kind == TrackKind::kVideo && bitmap != nullptr && bitmap->valid != 0) {
      track.bitmap = *bitmap;
    }
    // Telling AC-3 from E-AC-3 reads packets: a short file's audio then stands at its end.
    if (info->codec == kCodecAc3 || info->codec == kCodecEac3)
      home_->parser->Seek(0, kTrackAudio, 0);
    DescribeTruly(&track);
    tracks_.push_back(std::move(track));
  }
  for (Track& track : tracks_) {
    Lane& lane = home_->LaneOf(track.kind);
    lane.exists = true;
    lane.unit.kind = track.kind;
    lane.unit.isKeyFrame = track.kind == TrackKind::kAudio;
    // Left as it comes: a unit fills what it needs.
    lane.buffer.reset(new unsigned char[kMaxAccessUnitBytes]);
    ReadConfig(lane.buffer.get(), &track);
  }
}

// What the parser says of a presented stream holds, but for the name that it goes by.
void ParserSession::DescribeTruly(Track* track) {
  if (presented_ == nullptr || !presented_->isPresented()) return;
  const Plan& plan = presented_->plan();
  const auto& planned = track->kind == TrackKind::kVideo ? plan.video : plan.audio;
  if (!planned) return;
  const StreamForm& form = planned->form;
  track->stream = planned->header.number;
  track->codecTag = form.codecTag;
  if (form.form != UnitForm::kParser || track->info.codec == kCodecUnknown) {
    track->info.codec = form.codec;
  }
  if (track->bitmap) track->bitmap->compression = form.codecTag;
  Lane& lane = home_->LaneOf(track->kind);
  lane.form = form.form;
  lane.partLateMs = form.partLateMs;
  lane.stream = planned->header.number;
  if (planned->header.audio) {
    lane.blockAlign = planned->header.audio->blockAlign;
    lane.bytesPerSecond = planned->header.audio->averageBytesPerSecond;
  }
}

// Through the delivery buffer, which any configuration fits. For VC-1 the parser
// takes from it what its key frame test needs.
void ParserSession::ReadConfig(unsigned char* buffer, Track* track) {
  unsigned long size = 0;
  const int status = track->kind == TrackKind::kVideo
                         ? home_->parser->GetVideoConfig(buffer, &size, kMaxAccessUnitBytes)
                         : home_->parser->GetAudioConfig(buffer, &size, kMaxAccessUnitBytes);
  if (status == kParserOk) track->config.assign(buffer, buffer + size);
}

void ParserSession::ReadTags() {
  if (presented_ != nullptr && presented_->isPresented()) {
    tags_ = CommonTags(presented_->header());
    picture_ = CommonPicture(presented_->header());
    return;
  }
  const meta_info* info = home_->parser->GetMetaInfo();
  if (info == nullptr) return;
  for (unsigned int i = 0; i < info->count; ++i) {
    const meta_descriptor& descriptor = info->descriptors[i];
    if (auto tag = MakeTag(descriptor)) tags_.push_back(std::move(*tag));
    if (descriptor.key == META_ALBUM_ART) picture_ = MakePicture(descriptor);
  }
}

// Has the next unit of a kind waiting. False at the end.
inline bool ParserSession::Fill(TrackKind kind, bool keyFrameOnly) {
  const Lane& lane = now_->LaneOf(kind);
  return lane.pending || (lane.exists && ReadUnit(kind, keyFrameOnly));
}

const AccessUnit* ParserSession::NextUnit() {
  const AccessUnit* first = nullptr;
  for (const TrackKind kind : kKinds) {
    const AccessUnit* unit = PeekUnit(kind);
    if (unit == nullptr) continue;
    if (first == nullptr || IsBefore(unit->timeMs, first->timeMs)) first = unit;
  }
  return first != nullptr ? HandOut(first->kind) : nullptr;
}

const AccessUnit* ParserSession::NextUnit(TrackKind kind) {
  return Fill(kind) ? HandOut(kind) : nullptr;
}

const AccessUnit* ParserSession::PeekUnit(TrackKind kind, bool keyFrameOnly) {
  return Fill(kind, keyFrameOnly) ? &now_->LaneOf(kind).unit : nullptr;
}

const AccessUnit* ParserSession::HandOut(TrackKind kind) {
  Lane& lane = now_->LaneOf(kind);
  lane.pending = false;
  return &lane.unit;
}

// Reads the next unit of a kind. False at the end.
bool ParserSession::ReadUnit(TrackKind kind, bool keyFrameOnly) {
  Lane& lane = now_->LaneOf(kind);
  if (CutBlock(&lane)) return true;
  if (lane.endStatus != kParserOk) return false;
  unsigned long size = 0;
  unsigned long timeMs = 0;
  unsigned char* const buffer = lane.buffer.get();
  IParser* const parser = now_->parser.get();
  const int status =
      kind == TrackKind::kVideo
          ? parser->GetVideoData(buffer, &size, &timeMs, kMaxAccessUnitBytes, keyFrameOnly)
          : parser->GetAudioData(buffer, &size, &timeMs, kMaxAccessUnitBytes);
  lane.endStatus = status;
  lane.pending = status == kParserOk;
  lane.unit.data = buffer;
  lane.unit.size = size;
  lane.unit.timeMs = timeMs;
  if (lane.pending && presented_ != nullptr) Shape(&lane);
  return lane.pending;
}

// Makes of the parser's unit, just read, what the file has.
void ParserSession::Shape(Lane* lane) {
  AccessUnit& unit = lane->unit;
  if (unit.size < lane->blockAlign) unit.timeMs -= lane->partLateMs;
  unit.isIncomplete = presented_->IsIncomplete(lane->stream, unit.timeMs);
  if (unit.kind == TrackKind::kVideo) unit.isKeyFrame = presented_->IsKeyFrame(unit.timeMs);
  if (lane->form == UnitForm::kParser) return;
  if (lane->form == UnitForm::kInverted && unit.size != 0) {
    lane->buffer[0] = static_cast<unsigned char>(~lane->buffer[0]);
  }
  const unsigned int block = lane->blockAlign;
  const bool isCut =
      lane->form == UnitForm::kBlocks && block != 0 && unit.size > block && unit.size % block == 0;
  if (!isCut) return;
  lane->object = unit;
  lane->next = block;
  unit.size = block;
}

// The next block of the object in hand, whose time goes on from the object's. False: it
// is used up.
bool ParserSession::CutBlock(Lane* lane) {
  if (lane->next >= lane->object.size) return false;
  lane->unit = lane->object;
  lane->unit.data += lane->next;
  lane->unit.size = lane->blockAlign;
  if (lane->bytesPerSecond != 0) {
    lane->unit.timeMs += lane->next * 1000ull / lane->bytesPerSecond;
  }
  lane->next += lane->blockAlign;
  lane->pending = true;
  return true;
}

bool ParserSession::SkipVideoObject() {
  Lane& lane = now_->LaneOf(TrackKind::kVideo);
  lane.pending = false;
  if (!lane.exists || lane.endStatus != kParserOk) return false;
  unsigned long size = 0;
  unsigned long timeMs = 0;
  lane.endStatus =
      now_->parser->GetVideoData(lane.buffer.get(), &size, &timeMs, kMaxAccessUnitBytes);
  return lane.endStatus == kParserOk;
}

int ParserSession::EndStatus(TrackKind kind) const {
  const Lane& lane = now_->LaneOf(kind);
  return lane.pending || lane.next < lane.object.size ? kParserOk : lane.endStatus;
}

void ParserSession::Restart(TrackKind kind) {
  Lane& lane = now_->LaneOf(kind);
  lane.pending = false;
  lane.object = {};
  lane.endStatus = kParserOk;
}

void ParserSession::Rewind() {
  for (const TrackKind kind : kKinds) Rewind(kind);
}

void ParserSession::Rewind(TrackKind kind) {
  if (!now_->LaneOf(kind).exists) return;
  now_->parser->Seek(0, static_cast<int>(kind), 0);
  Restart(kind);
}

SeekStatus ParserSession::Seek(unsigned long long timeMs, int seekMode, int modeFlags) {
  SeekStatus status;
  timeMs = std::min(timeMs, kMaxSeekMs);
  status.video = SeekTrack(TrackKind::kVideo, timeMs, seekMode, modeFlags);
  status.audio =
      status.video < 0 ? status.video : SeekTrack(TrackKind::kAudio, timeMs, seekMode, modeFlags);
  return status;
}

int ParserSession::SeekTrack(TrackKind kind, unsigned long long timeMs, int seekMode,
                             int modeFlags) {
  if (!now_->LaneOf(kind).exists) return kParserOk;
  const int status = now_->parser->SeekEx(static_cast<unsigned long>(timeMs),
                                          static_cast<int>(kind), modeFlags, 0, 0, seekMode);
  if (status >= 0) Restart(kind);
  return status;
}

int ParserSession::SeekToOffset(TrackKind kind, unsigned long long offset) {
  if (!now_->LaneOf(kind).exists) return kParserOk;
  const int status =
      now_->parser->SeekEx(0, static_cast<int>(kind), kSeekTimeMode, 0, offset, kSeekPreviousSync);
  if (status >= 0) Restart(kind);
  return status;
}

std::unique_ptr<ParserSession> ParserSession::MakeTwin(std::unique_ptr<IDataSource> view,
                                                       int* status) const {
  *status = kParserOutOfRange;
  if (!isOpen_) return nullptr;
  auto twin = std::make_unique<ParserSession>(factory_, std::move(view));
  twin->presented_ = presented_;
  *status = twin->Open(options_);
  return *status < 0 ? nullptr : std::move(twin);
}

void ParserSession::TakeOver(ParserSession* twin) {
  taken_ = std::move(twin->home_);
  now_ = taken_.get();
  // The parser at home waits for its Close, and needs no buffers for that.
  home_->lanes = {};
}

}  // namespace qo_host
