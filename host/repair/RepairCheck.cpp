// The check of a mended file. No state beyond the sessions.
#include "qo_host/RepairCheck.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "host/presented/Plan.h"
#include "qo_host/BorrowedSource.h"
#include "qo_host/ParserSession.h"
#include "qo_host/Repair.h"

namespace qo_host {
namespace {

class Comparison {
 public:
  Comparison(const ParserFactory& factory, IDataSource* file, IDataSource* mended,
             const std::function<bool()>& isCancelled)
      : factory_(factory), file_(file), mended_(mended), isCancelled_(isCancelled) {}

  RepairVerdict Run() {
    Repair again(mended_);
    const RepairStatus status = again.Survey([this](auto, auto) { return !isCancelled_(); });
    if (status == RepairStatus::kCancelled) return RepairVerdict::kCancelled;
    if (status != RepairStatus::kGood || !IsPlain(*again.file())) {
      return RepairVerdict::kNotMended;
    }
    if (ComparesAll(again.file()->header()) && ComparesBare()) return RepairVerdict::kGood;
    return isCancelled_() ? RepairVerdict::kCancelled : RepairVerdict::kUnitsDiffer;
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

  // Pairs of an audio and a video stream, until each was in one.
  bool ComparesAll(const FileHeader& header) const {
    std::vector<unsigned char> audio, video;
    for (const StreamHeader& stream : header.streams) {
      if (stream.kind == StreamKind::kAudio) audio.push_back(stream.number);
      if (stream.kind == StreamKind::kVideo) video.push_back(stream.number);
    }
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

  bool ComparesBare() const {
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

  bool PlaysAlike(ParserSession* file, ParserSession* mended, TrackKind kind) const {
    for (;;) {
      const AccessUnit* const a = file->NextUnit(kind);
      const AccessUnit* const b = mended->NextUnit(kind);
      if (isCancelled_()) return false;
      if (a == nullptr || b == nullptr) return a == b;
      // What is left of a block of audio the bare parser stamps late.
      const bool hasTime = a->timeMs == b->timeMs || a->isIncomplete;
      if (!hasTime || a->size != b->size || !std::equal(a->data, a->data + a->size, b->data)) {
        return false;
      }
    }
  }

  const ParserFactory& factory_;
  IDataSource* const file_;
  IDataSource* const mended_;
  const std::function<bool()>& isCancelled_;
};

}  // namespace

RepairVerdict CheckRepair(const ParserFactory& factory, IDataSource* file, IDataSource* mended,
                          const std::function<bool()>& isCancelled) {
  return Comparison(factory, file, mended, isCancelled).Run();
}

}  // namespace qo_host
