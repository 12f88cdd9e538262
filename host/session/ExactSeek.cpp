// ExactSeeker: packets tell where units may begin; a parser of its own, the probe, tells
// which of them the delivery accepts. What the probe has found the session then goes on
// with.
#include "qo_host/ExactSeek.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "host/session/UnitFinder.h"
#include "qo_host/AsfLayout.h"
#include "qo_host/BorrowedSource.h"

namespace qo_host {

class ExactSeeker::Search {
 public:
  explicit Search(ParserSession* session) : session_(session) {}

  ExactSeek Run(unsigned long long timeMs, const SeekPoints::Progress& progress);

 private:
  // The streams that points are of.
  using Streams = std::vector<std::optional<unsigned char>>;

  Streams SessionStreams() const;
  // False: `result_` says why.
  bool Prepare();
  bool OpenProbe();
  bool Fail(ExactSeek::Problem problem, int status = kParserOk);
  bool Find(UnitFinder* finder, long long target);
  void Settle(const UnitFinder& finder, bool found);
  void SettleUnsure(const UnitFinder& finder);

  ParserSession* const session_;
  std::optional<NearPoints> near_;
  IDataSource* source_ = nullptr;  // that they are of
  Streams streams_;
  // Of the seek under way.
  BorrowedSource* view_ = nullptr;  // the probe's source
  std::unique_ptr<ParserSession> probe_;
  ExactSeek result_;
};

ExactSeeker::ExactSeeker(ParserSession* session) : search_(std::make_unique<Search>(session)) {}

ExactSeeker::~ExactSeeker() = default;

ExactSeek ExactSeeker::Seek(unsigned long long timeMs, const SeekPoints::Progress& progress) {
  return search_->Run(timeMs, progress);
}

ExactSeek ExactSeeker::Search::Run(unsigned long long timeMs,
                                   const SeekPoints::Progress& progress) {
  constexpr auto kLargest = static_cast<unsigned long long>(std::numeric_limits<long long>::max());
  result_ = {};
  if (Prepare() && OpenProbe()) {
    near_->SetProgress(&progress);
    UnitFinder finder(&*near_, probe_.get(), view_);
    const bool found = Find(&finder, static_cast<long long>(std::min(timeMs, kLargest)));
    Settle(finder, found);
  }
  probe_.reset();
  return result_;
}

bool ExactSeeker::Search::Fail(ExactSeek::Problem problem, int status) {
  result_.outcome = ExactSeek::Outcome::kFailed;
  result_.problem = problem;
  result_.status = status;
  return false;
}

ExactSeeker::Search::Streams ExactSeeker::Search::SessionStreams() const {
  Streams streams;
  for (const Track& track : session_->tracks()) streams.push_back(track.stream);
  return streams;
}

bool ExactSeeker::Search::Prepare() {
  Streams streams = SessionStreams();
  if (streams.empty()) return Fail(ExactSeek::Problem::kNoTrack);
  if (near_ && source_ == session_->view() && streams == streams_) return true;
  near_.reset();
  source_ = session_->view();
  streams_ = std::move(streams);
  AsfLayout layout;
  const int status = ReadLayout(source_, &layout);
  if (status < 0) return Fail(ExactSeek::Problem::kSourceFailed, status);
  near_.emplace(source_, std::move(layout));
  return true;
}

bool ExactSeeker::Search::OpenProbe() {
  auto view = std::make_unique<BorrowedSource>(session_->view());
  view_ = view.get();
  int status = kParserOk;
  probe_ = session_->MakeTwin(std::move(view), &status);
  return probe_ != nullptr || Fail(ExactSeek::Problem::kParserRefused, status);
}

// Audio first: it follows video, so that its own seeks move video.
bool ExactSeeker::Search::Find(UnitFinder* finder, long long target) {
  if (probe_->FindTrack(TrackKind::kVideo) == nullptr) {
    const auto unit = finder->FindAudio(target);
    if (unit) result_.packet = unit->packet, result_.timeMs = unit->timeMs;
    return unit.has_value();
  }
  const auto point = finder->FindVideo(target);
  if (!point) return false;
  finder->FindAudio(SignedMs(near_->layout(), point->timeMs));
  result_.packet = point->packet;
  result_.timeMs = point->timeMs;
  return finder->StartAtKeyFrame(*point);
}

// Whatever failed on the way may have hidden the unit wanted: nothing moves then.
void ExactSeeker::Search::Settle(const UnitFinder& finder, bool found) {
  if (!finder.IsSure()) {
    SettleUnsure(finder);
  } else if (found) {
    result_.outcome = ExactSeek::Outcome::kFound;
    session_->TakeOver(probe_.get());
  } else {
    session_->Rewind();
  }
}

void ExactSeeker::Search::SettleUnsure(const UnitFinder& finder) {
  if (view_->failure() < 0) {
    Fail(ExactSeek::Problem::kSourceFailed, view_->failure());
  } else if (finder.status() < 0) {
    Fail(ExactSeek::Problem::kParserRefused, finder.status());
  } else if (near_->result().end == WalkEnd::kSourceFailed) {
    Fail(ExactSeek::Problem::kSourceFailed, near_->result().status);
  } else if (near_->overflowed()) {
    Fail(ExactSeek::Problem::kTooManyPoints);
  } else {
    result_.outcome = ExactSeek::Outcome::kCancelled;
  }
}

}  // namespace qo_host
