// ParserSession: opening, describing, playing out, the plain seek and the change of
// streams. It owns the source, the parsers that read it, a delivery buffer per kind and
// copies of what the parser said about the file. Each kind has the parser that its units
// come from; seeks are made in the one that was opened last, which knows all tracks, and
// bring both kinds there.
#include "qo_host/ParserSession.h"

#include <algorithm>
#include <utility>

#include "host/presented/Plan.h"
#include "host/session/StreamJoin.h"
#include "host/sources/Guarded.h"
#include "qo_host/BorrowedSource.h"
#include "qo_host/CommonTags.h"

namespace qo_host {
namespace {

// Index of a kind in what is kept per kind, and the order in which both are sought.
constexpr TrackKind kKinds[] = {TrackKind::kVideo, TrackKind::kAudio};

bool IsSame(const StreamHeader* a, const StreamHeader* b) {
  if (a == nullptr || b == nullptr) return a == b;
  return a->position == b->position;
}

// Stores the unit with start codes in place of the lengths in front of its NAL units. A
// length that reaches too far counts as one to the end. False where no unit is as
// large.
bool PutStartCodes(const AccessUnit& unit, unsigned int prefixBytes,
                   std::vector<unsigned char>* out) {
  static constexpr unsigned char kStartCode[] = {0, 0, 0, 1};
  out->clear();
  std::size_t at = 0;
  while (unit.size - at > prefixBytes) {
    std::size_t length = 0;
    for (unsigned int i = 0; i < prefixBytes; ++i) length = length << 8 | unit.data[at++];
    length = std::min(length, unit.size - at);
    out->insert(out->end(), std::begin(kStartCode), std::end(kStartCode));
    out->insert(out->end(), unit.data + at, unit.data + at + length);
    if (out->size() > kMaxAccessUnitBytes) return false;
    at += length;
  }
  return true;
}

bool LacksStream(const PresentedFile& file) {
  return std::any_of(file.findings().begin(), file.findings().end(),
                     [](const auto& finding) { return finding.note == PlanNote::kStreamAbsent; });
}

}  // namespace

// Delivery of one kind.
struct ParserSession::Lane {
  bool exists = false;                      // otherwise nothing is ever asked
  std::shared_ptr<Reading> reading;         // null: the session's
  std::unique_ptr<unsigned char[]> buffer;  // kMaxAccessUnitBytes
  AccessUnit unit{};
  bool pending = false;  // `unit` has been read but not handed out
  // How the parser's units become the file's, and what is left of the one that is
  // being cut into blocks.
  UnitForm form = UnitForm::kParser;
  unsigned char stream = 0;     // number; for what is known of its damage
  unsigned int blockAlign = 0;  // bytes
  unsigned int bytesPerSecond = 0;
  unsigned int partLateMs = 0;           // see StreamForm
  unsigned int prefixBytes = 0;          // see StreamForm
  std::vector<unsigned char> converted;  // a unit with start codes in place of lengths
  AccessUnit object{};                   // whole, in `buffer`; of size 0: none
  std::size_t next = 0;                  // offset of its next block; its size: none
  int endStatus = kParserOk;
  std::optional<unsigned long long> reachedMs;  // of the last unit handed out since a seek
  bool isAtStart = true;                        // nothing handed out, and no seek
};
// A parser and what it reads. Order matters: the parser is closed and goes before
// what it reads through.
struct ParserSession::Reading {
  ~Reading() {
    if (parser) parser->Close();
  }

  std::shared_ptr<PresentedFile> presented;
  std::shared_ptr<IDataSource> view;
  std::unique_ptr<IDataSource> source;  // a twin's, taken over; otherwise null
  ParserPointer parser;
};

const char* TrackKindName(TrackKind kind) { return kind == TrackKind::kVideo ? "video" : "audio"; }

ParserSession::ParserSession(const ParserFactory& factory, std::unique_ptr<IDataSource> source)
    : factory_(factory), source_(std::move(source)), reading_(std::make_shared<Reading>()) {
  reading_->parser = factory_.Make();
  for (auto& lane : lanes_) lane = std::make_unique<Lane>();
}

ParserSession::~ParserSession() {
  lanes_ = {};
  reading_.reset();
  opener_.reset();
  // What presents it opens and closes nothing below it.
  if (view_ != nullptr) Guarded([this] { return source_->Close(); });
}

IDataSource* ParserSession::source() const { return source_.get(); }

IDataSource* ParserSession::view() const { return view_ != nullptr ? view_.get() : source(); }

int ParserSession::Open(const OpenOptions& options) {
  IParser* const parser = reading_->parser.get();
  if (parser == nullptr) return kParserOutOfRange;
  options_ = options;
  // A twin reads what is presented already.
  int status = options.asIs || presented_ != nullptr ? kParserOk : Present(options);
  if (status < 0) return status;
  reading_->presented = presented_;
  reading_->view = view_;
  if (view_ == nullptr) opener_ = reading_;
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
  if (status >= 0 && file->isPresented()) view_ = file->MakeSource();
  if (view_ == nullptr) Guarded([this] { return source()->Close(); });
  presented_ = std::move(file);
  return status;
}

const Track* ParserSession::FindTrack(TrackKind kind) const {
  const auto found = std::find_if(tracks_.begin(), tracks_.end(),
                                  [kind](const Track& track) { return track.kind == kind; });
  return found != tracks_.end() ? &*found : nullptr;
}

void ParserSession::Describe() {
  const unsigned int count = reading_->parser->GetTrackCount();
  for (unsigned int index = 0; index < count; ++index) {
    const TrackInfo* info = reading_->parser->GetTrackInfo(index);
    if (info == nullptr) continue;
    Track track{index, static_cast<TrackKind>(info->trackType), *info, {}, {}, {}, 0};
    const AsfTrackExt* bitmap = reading_->parser->getExtraInterface();
    if (track.kind == TrackKind::kVideo && bitmap != nullptr && bitmap->valid != 0) {
      track.bitmap = *bitmap;
    }
    // Telling AC-3 from E-AC-3 reads packets: a short file's audio then stands at its end.
    if (info->codec == kCodecAc3 || info->codec == kCodecEac3)
      reading_->parser->Seek(0, kTrackAudio, 0);
    DescribeTruly(&track);
    tracks_.push_back(std::move(track));
  }
  for (Track& track : tracks_) {
    Lane& lane = LaneOf(track.kind);
    lane.exists = true;
    lane.reading = reading_;
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
  Lane& lane = LaneOf(track->kind);
  lane.form = form.form;
  lane.partLateMs = form.partLateMs;
  lane.prefixBytes = form.prefixBytes;
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
                         ? reading_->parser->GetVideoConfig(buffer, &size, kMaxAccessUnitBytes)
                         : reading_->parser->GetAudioConfig(buffer, &size, kMaxAccessUnitBytes);
  if (status == kParserOk) track->config.assign(buffer, buffer + size);
}

void ParserSession::ReadTags() {
  if (presented_ != nullptr && presented_->isPresented()) {
    tags_ = CommonTags(presented_->header());
    picture_ = CommonPicture(presented_->header());
    return;
  }
  const meta_info* info = reading_->parser->GetMetaInfo();
  if (info == nullptr) return;
  for (unsigned int i = 0; i < info->count; ++i) {
    const meta_descriptor& descriptor = info->descriptors[i];
    if (auto tag = MakeTag(descriptor)) tags_.push_back(std::move(*tag));
    if (descriptor.key == META_ALBUM_ART) picture_ = MakePicture(descriptor);
  }
}

// Has the next unit of a lane waiting. False at the end.
inline bool ParserSession::Fill(Lane* lane, bool keyFrameOnly) {
  return lane->pending || (lane->exists && ReadUnit(lane, keyFrameOnly));
}

const AccessUnit* ParserSession::NextUnit() {
  Lane& video = LaneOf(TrackKind::kVideo);
  Lane& audio = LaneOf(TrackKind::kAudio);
  const bool hasVideo = Fill(&video);
  if (!Fill(&audio)) return hasVideo ? HandOut(&video) : nullptr;
  const bool isAudio = !hasVideo || IsBefore(audio.unit.timeMs, video.unit.timeMs);
  return HandOut(isAudio ? &audio : &video);
}

const AccessUnit* ParserSession::NextUnit(TrackKind kind) {
  Lane& lane = LaneOf(kind);
  return Fill(&lane) ? HandOut(&lane) : nullptr;
}

const AccessUnit* ParserSession::PeekUnit(TrackKind kind, bool keyFrameOnly) {
  Lane& lane = LaneOf(kind);
  return Fill(&lane, keyFrameOnly) ? &lane.unit : nullptr;
}

inline const AccessUnit* ParserSession::HandOut(Lane* lane) {
  lane->pending = false;
  lane->isAtStart = false;
  lane->reachedMs = lane->unit.timeMs;
  return &lane->unit;
}

// Reads the next unit of a lane. False at the end.
bool ParserSession::ReadUnit(Lane* lane, bool keyFrameOnly) {
  if (CutBlock(lane)) return true;
  if (lane->endStatus != kParserOk) return false;
  unsigned long size = 0;
  unsigned long timeMs = 0;
  unsigned char* const buffer = lane->buffer.get();
  IParser* const parser = lane->reading->parser.get();
  lane->endStatus =
      lane->unit.kind == TrackKind::kVideo
          ? parser->GetVideoData(buffer, &size, &timeMs, kMaxAccessUnitBytes, keyFrameOnly)
          : parser->GetAudioData(buffer, &size, &timeMs, kMaxAccessUnitBytes);
  lane->pending = lane->endStatus == kParserOk;
  lane->unit.data = buffer;
  lane->unit.size = size;
  lane->unit.timeMs = timeMs;
  if (lane->pending && presented_ != nullptr) Shape(lane);
  return lane->pending;
}

// Makes of the parser's unit, just read, what the file has.
inline void ParserSession::Shape(Lane* lane) {
  AccessUnit& unit = lane->unit;
  if (unit.size < lane->blockAlign) unit.timeMs -= lane->partLateMs;
  const PresentedFile& presented = *lane->reading->presented;
  unit.isIncomplete = presented.IsIncomplete(lane->stream, unit.timeMs);
  if (unit.kind == TrackKind::kVideo) unit.isKeyFrame = presented.IsKeyFrame(unit.timeMs);
  if (lane->form != UnitForm::kParser) Straighten(lane);
}

void ParserSession::Straighten(Lane* lane) {
  AccessUnit& unit = lane->unit;
  if (lane->form == UnitForm::kInverted && unit.size != 0) {
    lane->buffer[0] = static_cast<unsigned char>(~lane->buffer[0]);
  }
  if (lane->form == UnitForm::kPrefixed &&
      PutStartCodes(unit, lane->prefixBytes, &lane->converted)) {
    unit.data = lane->converted.data();
    unit.size = lane->converted.size();
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
inline bool ParserSession::CutBlock(Lane* lane) {
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
  Lane& lane = LaneOf(TrackKind::kVideo);
  lane.pending = false;
  if (!lane.exists || lane.endStatus != kParserOk) return false;
  unsigned long size = 0;
  unsigned long timeMs = 0;
  lane.endStatus =
      lane.reading->parser->GetVideoData(lane.buffer.get(), &size, &timeMs, kMaxAccessUnitBytes);
  return lane.endStatus == kParserOk;
}

int ParserSession::EndStatus(TrackKind kind) const {
  const Lane& lane = LaneOf(kind);
  return lane.pending || lane.next < lane.object.size ? kParserOk : lane.endStatus;
}

void ParserSession::Restart(TrackKind kind) {
  Lane& lane = LaneOf(kind);
  lane.reading = reading_;
  lane.pending = false;
  lane.object = {};
  lane.endStatus = kParserOk;
  lane.reachedMs.reset();
  lane.isAtStart = false;
}

void ParserSession::Rewind() {
  for (const TrackKind kind : kKinds) Rewind(kind);
}

void ParserSession::Rewind(TrackKind kind) {
  if (!LaneOf(kind).exists) return;
  reading_->parser->Seek(0, static_cast<int>(kind), 0);
  Restart(kind);
  LaneOf(kind).isAtStart = true;
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
  if (!LaneOf(kind).exists) return kParserOk;
  const int status = reading_->parser->SeekEx(static_cast<unsigned long>(timeMs),
                                              static_cast<int>(kind), modeFlags, 0, 0, seekMode);
  if (status >= 0) Restart(kind);
  return status;
}

int ParserSession::SeekToOffset(TrackKind kind, unsigned long long offset) {
  if (!LaneOf(kind).exists) return kParserOk;
  const int status = reading_->parser->SeekEx(0, static_cast<int>(kind), kSeekTimeMode, 0, offset,
                                              kSeekPreviousSync);
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
  Adopt(twin);
  lanes_ = std::move(twin->lanes_);
  for (const TrackKind kind : kKinds) {
    LaneOf(kind).reachedMs.reset();
    LaneOf(kind).isAtStart = false;
  }
}

// The twin's parser, with what it reads through, for all seeks to come.
void ParserSession::Adopt(ParserSession* twin) {
  reading_ = std::move(twin->reading_);
  reading_->presented = presented_;
  reading_->view = view_;
  reading_->source = std::move(twin->source_);
}

int ParserSession::Choose(const StreamChoice& choice) {
  if (view_ == nullptr || !isOpen_) return kParserUnsupported;
  std::shared_ptr<PresentedFile> file = presented_->WithStreams(Completed(choice));
  if (!file->isPresented() || LacksStream(*file)) return kParserOutOfRange;
  std::vector<TrackKind> changing;  // audio first: to place it moves video
  if (!IsSame(file->audio(), presented_->audio())) changing.push_back(TrackKind::kAudio);
  if (!IsSame(file->video(), presented_->video())) changing.push_back(TrackKind::kVideo);
  if (changing.empty()) return kParserOk;

  std::shared_ptr<IDataSource> view = file->MakeSource();
  auto lent = std::make_unique<BorrowedSource>(view.get());
  BorrowedSource* const watched = lent.get();
  ParserSession next(factory_, std::move(lent));
  next.presented_ = file;
  int status = next.Open(options_);
  if (status >= 0) status = Join(&next, watched, changing);
  if (status < 0) return status;
  presented_ = std::move(file);
  view_ = std::move(view);
  Adopt(&next);
  for (const TrackKind kind : changing) OwnerOf(kind) = std::move(next.OwnerOf(kind));
  tracks_ = std::move(next.tracks_);
  durationMs_ = next.durationMs_;
  return kParserOk;
}

// With a number, or none, for each kind.
StreamChoice ParserSession::Completed(const StreamChoice& choice) const {
  const auto numberOf = [](const StreamHeader* stream) {
    return stream != nullptr ? stream->number : StreamChoice::kNoStream;
  };
  return {choice.audio.value_or(numberOf(presented_->audio())),
          choice.video.value_or(numberOf(presented_->video()))};
}

// Brings `kinds` of a session just opened to where this one is.
int ParserSession::Join(ParserSession* next, BorrowedSource* view,
                        const std::vector<TrackKind>& kinds) {
  const std::optional<unsigned long long> timeMs = TimeReached();
  StreamJoin join(next, view);
  int status = timeMs ? join.GoTo(*timeMs) : kParserOk;
  for (const TrackKind kind : kinds) {
    if (timeMs && status >= 0) {
      status = kind == TrackKind::kAudio ? join.JoinAudio() : join.JoinVideo();
    }
    next->LaneOf(kind).reachedMs = timeMs;
    next->LaneOf(kind).isAtStart = !timeMs;
  }
  return status;
}

// Nothing: the beginning.
std::optional<unsigned long long> ParserSession::TimeReached() {
  const bool isPlaying = !tracks_.empty();
  std::optional<unsigned long long> latest;
  for (const TrackKind kind : {TrackKind::kAudio, TrackKind::kVideo}) {
    const Lane& lane = LaneOf(kind);
    if (!lane.reachedMs || lane.exists != isPlaying) continue;
    if (PeekUnit(kind) != nullptr) return lane.reachedMs;
    if (!latest || IsBefore(*latest, *lane.reachedMs)) latest = lane.reachedMs;
  }
  if (latest || !isPlaying) return latest;
  bool isAtStart = true;
  for (const TrackKind kind : {TrackKind::kAudio, TrackKind::kVideo}) {
    if (!LaneOf(kind).exists || LaneOf(kind).isAtStart) continue;
    if (const AccessUnit* unit = PeekUnit(kind)) return unit->timeMs;
    isAtStart = false;
  }
  return isAtStart ? std::nullopt : std::optional(durationMs_);
}

}  // namespace qo_host
