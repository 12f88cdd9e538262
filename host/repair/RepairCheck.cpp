// The check of a mended file. No state beyond the sessions.
#include "qo_host/RepairCheck.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "host/presented/Plan.h"
#include "qo_host/BorrowedSource.h"
#include "qo_host/ParserSession.h"

namespace qo_host {
namespace {

class Comparison {
 public:
  Comparison(const ParserFactory& factory, IDataSource* file, IDataSource* mended,
             const Repair::Progress& progress)
      : factory_(factory), file_(file), mended_(mended), progress_(progress) {}

  RepairVerdict Run() {
    Repair again(mended_);
    const RepairStatus status = again.Survey([this](unsigned long long done, auto total) {
      return GoesOn(static_cast<double>(done) / static_cast<double>(total));
    });
    if (isCancelled_) return RepairVerdict::kCancelled;
    if (status != RepairStatus::kGood || !IsPlain(*again.file())) {
      return RepairVerdict::kNotMended;
    }
    const FileHeader& header = again.file()->header();
    steps_ = 1 + kKinds * (std::max(NumbersOf(header, StreamKind::kAudio).size(),
                                    NumbersOf(header, StreamKind::kVideo).size()) +
                           1);
    if (ComparesAll(header) && ComparesBare()) return RepairVerdict::kGood;
    return isCancelled_ ? RepairVerdict::kCancelled : RepairVerdict::kUnitsDiffer;
  }

 private:
  // Streams that the bare parser bends or doesn't see are the file's own way.
  static bool IsPlain(const PresentedFile& file) {
    const std::vector<PlanFinding>& findings = file.findings();
    return std::all_of(findings.begin(), findings.end(), [](const auto& finding) {
      return finding.note == PlanNote::kUnitsBent || finding.note == PlanNote::kStreamHidden;
    });
  }

  std::unique_ptr<ParserSession> Open(IDataSource* source, const OpenOptions& options) const {
    auto session =
        std::make_unique<ParserSession>(factory_, std::make_unique<BorrowedSource>(source));
    if (session->Open(options) < 0) session.reset();
    return session;
  }

  static std::vector<unsigned char> NumbersOf(const FileHeader& header, StreamKind kind) {
    std::vector<unsigned char> numbers;
    for (const StreamHeader& stream : header.streams) {
      if (stream.kind == kind) numbers.push_back(stream.number);
    }
    return numbers;
  }

  // Pairs of an audio and a video stream, until each was in one.
  bool ComparesAll(const FileHeader& header) {
    const auto audio = NumbersOf(header, StreamKind::kAudio);
    const auto video = NumbersOf(header, StreamKind::kVideo);
    for (std::size_t i = 0; i < std::max(audio.size(), video.size()); ++i) {
      OpenOptions options;
      if (i < audio.size()) options.streams.audio = audio[i];
      if (i < video.size()) options.streams.video = video[i];
      const auto file = Open(file_, options), mended = Open(mended_, options);
      if (file == nullptr || mended == nullptr) return false;
      for (const TrackKind kind : {TrackKind::kAudio, TrackKind::kVideo}) {
        if (!PlaysAlike(file.get(), mended.get(), kind)) return false;
      }
    }
    return true;
  }

  bool ComparesBare() {
    OpenOptions bare;
    bare.asIs = true;
    const auto file = Open(file_, {}), mended = Open(mended_, bare);
    if (file == nullptr) return false;
    const Plan& plan = file->presented()->plan();
    const auto isBare = [](const std::optional<PlannedStream>& stream) {
      return stream && stream->form.form == UnitForm::kParser && !stream->header.hidden;
    };
    if (!isBare(plan.audio) && !isBare(plan.video)) return true;
    if (mended == nullptr) return false;
    return (!isBare(plan.audio) || PlaysAlike(file.get(), mended.get(), TrackKind::kAudio)) &&
           (!isBare(plan.video) || PlaysAlike(file.get(), mended.get(), TrackKind::kVideo));
  }

  bool PlaysAlike(ParserSession* file, ParserSession* mended, TrackKind kind) {
    ++step_;
    const double durationMs = static_cast<double>(file->durationMs() + 1);
    for (;;) {
      const AccessUnit* const a = file->NextUnit(kind);
      const AccessUnit* const b = mended->NextUnit(kind);
      if (a == nullptr || b == nullptr) return a == b;
      if (!GoesOn(static_cast<double>(a->timeMs) / durationMs)) return false;
      // What is left of a block of audio the bare parser stamps late.
      const bool hasTime = a->timeMs == b->timeMs || a->isIncomplete;
      if (!hasTime || a->size != b->size || !std::equal(a->data, a->data + a->size, b->data)) {
        return false;
      }
    }
  }

  // Tells of the progress. `share`: of the step in hand.
  bool GoesOn(double share) {
    constexpr unsigned int kParts = 1000;  // of a step
    const auto done = static_cast<unsigned long long>(std::min(share, 1.0) * kParts);
    isCancelled_ = progress_ && !progress_(step_ * kParts + done, steps_ * kParts);
    return !isCancelled_;
  }

  const ParserFactory& factory_;
  IDataSource* const file_;
  IDataSource* const mended_;
  const Repair::Progress& progress_;
  // The survey, then one for each kind of a pair of streams, and of the bare parser's.
  static constexpr std::size_t kKinds = 2;
  std::size_t steps_ = 1 + 2 * kKinds;  // of a file with one pair
  std::size_t step_ = 0;
  bool isCancelled_ = false;
};

}  // namespace

RepairVerdict CheckRepair(const ParserFactory& factory, IDataSource* file, IDataSource* mended,
                          const Repair::Progress& progress) {
  return Comparison(factory, file, mended, progress).Run();
}

}  // namespace qo_host
