// Judging a collection: what is found goes to the threads, what they make of it to the log
// and the standard output. The state is the count of each judgement.
#include "tools/verify/Collection.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>

#include "tools/common/Output.h"
#include "tools/common/OutputFile.h"
#include "tools/verify/FileWalk.h"
#include "tools/verify/Judge.h"
#include "tools/verify/VerdictJson.h"
#include "tools/verify/VerifyLog.h"
#include "tools/verify/Workers.h"

namespace tool {
namespace {

// How often progress is shown and an interruption noticed.
constexpr std::chrono::milliseconds kPatience{100};

constexpr Judgement kJudgements[] = {Judgement::kGood, Judgement::kGoodWithKit, Judgement::kBad,
                                     Judgement::kUnread};

Style StyleOf(Judgement judgement) {
  if (judgement == Judgement::kGood) return Style::kGood;
  return judgement == Judgement::kGoodWithKit ? Style::kWarning : Style::kBad;
}

// "FILE: bad: truncated: the file holds ..., ..."
std::string Line(const std::string& path, Judgement judgement,
                 const std::vector<std::string>& reasons) {
  std::string line = path + ": " + Styled(JudgementText(judgement), StyleOf(judgement), stdout);
  for (const std::string& reason : reasons) {
    line += (&reason == &reasons.front() ? ": " : "; ") + Printable(reason);
  }
  return line;
}

// Without the file's name, which stands at the beginning or behind what could not be done.
std::string WithoutName(const std::string& error, const std::string& path) {
  const std::size_t at = error.find(path + ": ");
  return at == std::string::npos ? error : error.substr(at + path.size() + 2);
}

class Collection {
 public:
  Collection(const CollectionOptions& collection, const Options& options)
      : collection_(collection),
        options_(options),
        walk_(collection.names, collection.entersFolders) {
    if (!collection.log.empty()) log_ = std::make_unique<VerifyLog>(collection.log);
    if (bar_.isVisible()) Survey();
  }

  int Run();

 private:
  void Survey();
  std::optional<Judgement> KnownJudgement(const FoundFile& file) const;
  bool NextToJudge(FoundFile* file);
  Judged JudgeFile(const FoundFile& file, const Watch& watch) const;
  void Unread(const std::string& error, Judged* judged) const;
  void Tell(const Judged& judged);
  void PrintSummary() const;
  std::string ProgressNote() const;

  unsigned long long& countOf(Judgement judgement) {
    return counts_[static_cast<std::size_t>(judgement)];
  }
  bool needsJson() const { return collection_.json || log_; }

  const CollectionOptions& collection_;
  const Options& options_;
  FileWalk walk_;
  std::unique_ptr<VerifyLog> log_;  // null: none
  ProgressBar bar_{ProgressBar::Measure::kBytes};
  unsigned long long files_ = 0;  // of the survey, to be judged
  unsigned long long bytes_ = 0;  // in them
  unsigned long long told_ = 0;
  unsigned long long known_ = 0;  // that the log had
  std::array<unsigned long long, std::size(kJudgements)> counts_{};
};

// Time left is only known where all that is to be done is.
void Collection::Survey() {
  FileWalk walk(collection_.names, collection_.entersFolders);
  for (FoundFile file; walk.Next(&file) && !IsInterrupted();) {
    if (KnownJudgement(file)) continue;
    ++files_;
    bytes_ += file.bytes;
  }
}

// What the log says of it. What comes out of a pipe is another thing each time.
std::optional<Judgement> Collection::KnownJudgement(const FoundFile& file) const {
  if (!log_ || file.path == "-") return std::nullopt;
  return log_->Find(LogKey(file, options_));
}

// Passes over what the log has.
bool Collection::NextToJudge(FoundFile* file) {
  while (walk_.Next(file)) {
    const auto known = KnownJudgement(*file);
    if (!known) return true;
    ++known_;
    ++countOf(*known);
  }
  return false;
}

Judged Collection::JudgeFile(const FoundFile& file, const Watch& watch) const {
  Judged judged;
  judged.file = file;
  try {
    if (!file.error.empty()) throw Failure(kExitCannotRun, file.error);
    Input input(options_, file.path);
    const PlayOut played = Judge(&input, watch);
    judged.judgement = played.judgement();
    judged.text = Line(Printable(file.path), judged.judgement, played.verdict.problems);
    if (needsJson()) judged.json = JsonText(VerdictJson(&input, played), -1);
  } catch (const std::exception& error) {
    Unread(WithoutName(error.what(), file.path), &judged);
  }
  return judged;
}

void Collection::Unread(const std::string& error, Judged* judged) const {
  judged->judgement = Judgement::kUnread;
  judged->text = Line(Printable(judged->file.path), judged->judgement, {error});
  if (needsJson()) judged->json = JsonText(UnreadJson(judged->file.path, error), -1);
}

void Collection::Tell(const Judged& judged) {
  bar_.Wipe();
  Print((collection_.json ? judged.json : judged.text) + "\n");
  FlushOutput();
  if (log_) {
    // The key goes to the end of the document.
    const std::string key = LogKey(judged.file, options_);
    log_->Append(judged.json.substr(0, judged.json.size() - 1) + ",\"key\":\"" + key + "\"}");
  }
  ++told_;
  ++countOf(judged.judgement);
}

std::string Collection::ProgressNote() const {
  return std::to_string(told_) + " of " + Count(files_, "file");
}

void Collection::PrintSummary() const {
  unsigned long long files = 0;
  for (const unsigned long long count : counts_) files += count;
  std::string text = Count(files, "file");
  for (const Judgement judgement : kJudgements) {
    const unsigned long long count = counts_[static_cast<std::size_t>(judgement)];
    if (count == 0) continue;
    text += (text.find(':') == std::string::npos ? ": " : ", ") + std::to_string(count) + " " +
            JudgementText(judgement);
  }
  if (known_ != 0) text += "; " + std::to_string(known_) + " of them as the log has them";
  if (walk_.passedOver() != 0) {
    text += "; " + Count(walk_.passedOver(), "other file") + " passed over";
  }
  std::fprintf(collection_.json ? stderr : stdout, "%s\n", text.c_str());
}

int Collection::Run() {
  Workers workers(collection_.jobs, [this](const FoundFile& file, const Watch& watch) {
    return JudgeFile(file, watch);
  });
  FoundFile file;
  bool isAtEnd = false;
  while (!IsInterrupted() && (!isAtEnd || workers.isBusy())) {
    while (!isAtEnd && workers.hasRoom()) {
      isAtEnd = !NextToJudge(&file);
      if (!isAtEnd) workers.Add(file);
    }
    if (const auto judged = workers.Take(kPatience)) Tell(*judged);
    bar_.Show(workers.bytesDone(), bytes_, ProgressNote().c_str());
  }
  bar_.Wipe();
  PrintSummary();
  if (IsInterrupted()) throw Failure(kExitCannotRun, "interrupted");
  if (countOf(Judgement::kUnread) != 0) return kExitCannotRun;
  return countOf(Judgement::kBad) != 0 ? kExitBadFile : kExitGood;
}

}  // namespace

int JudgeCollection(const CollectionOptions& collection, const Options& options) {
  NoticeInterruptions();
  LoadParser(options);  // says once, and at once, that there is none
  return Collection(collection, options).Run();
}

}  // namespace tool
