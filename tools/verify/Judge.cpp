// Judging one file by all there is to see. No state.
#include "tools/verify/Judge.h"

#include "qo_host/FileCheck.h"

namespace tool {
namespace {

constexpr unsigned int kUnitsAtOnce = 64;  // between two looks at how far it has come

class Follower {
 public:
  Follower(Input* input, const Watch& watch) : input_(input), watch_(watch) {}

  void Follow() {
    if (++units_ % kUnitsAtOnce != 0) return;
    unsigned long long position = 0;
    input_->CheckRead(input_->session().view()->GetPosition(&position));
    if (!watch_(position)) throw Failure(kExitCannotRun, input_->path() + ": interrupted");
  }

 private:
  Input* const input_;
  const Watch& watch_;
  unsigned long long units_ = 0;
};

void Play(Input* input, const Watch& watch, PlayOut* played) {
  qo_host::FileCheck check(input->session(), input->file());
  Follower follower(input, watch);
  while (const qo_host::AccessUnit* unit = input->session().NextUnit()) {
    played->totals.Add(*unit);
    input->CheckRead(check.Follow());
    follower.Follow();
  }
  JudgePlayOut(input, played->totals, &played->verdict);
  std::vector<qo_host::Finding> findings;
  input->CheckRead(check.Finish(played->verdict.findings, &findings));
  played->verdict.Add(findings);
}

}  // namespace

const char* JudgementText(Judgement judgement) {
  switch (judgement) {
    case Judgement::kGood:
      return "good";
    case Judgement::kGoodWithKit:
      return "good with the kit";
    case Judgement::kBad:
      return "bad";
    case Judgement::kUnread:
      return "not read";
  }
  return "";
}

const char* JudgementName(Judgement judgement) {
  switch (judgement) {
    case Judgement::kGood:
      return "good";
    case Judgement::kGoodWithKit:
      return "good-with-kit";
    case Judgement::kBad:
      return "bad";
    case Judgement::kUnread:
      return "unread";
  }
  return "";
}

Judgement PlayOut::judgement() const {
  if (verdict.exitCode() != kExitGood) return Judgement::kBad;
  return verdict.isMended() ? Judgement::kGoodWithKit : Judgement::kGood;
}

PlayOut Judge(Input* input, const Watch& watch) {
  PlayOut played;
  played.verdict = OpenAndJudge(input);
  if (input->openStatus() == kParserOk) Play(input, watch, &played);
  return played;
}

}  // namespace tool
