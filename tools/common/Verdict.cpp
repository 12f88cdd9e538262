// Findings become words and an exit code.
#include "tools/common/Verdict.h"

#include <algorithm>
#include <cstdio>

#include "tools/common/Output.h"
#include "tools/common/Words.h"

namespace tool {
namespace {

// The session's view of a file that is read as it is may answer from memory.
qo_host::JudgedFile Played(Input* input) {
  const qo_host::ParserSession& session = input->session();
  const bool isAsIs = session.view() == session.source();
  return {session, input->playedLayout(), isAsIs ? input->file() : session.view()};
}

}  // namespace

void Verdict::Add(const std::vector<qo_host::Finding>& more) {
  for (const qo_host::Finding& finding : more) {
    const bool isMended = finding.severity == qo_host::Severity::kMended;
    const bool isProblem = finding.severity == qo_host::Severity::kProblem;
    (isProblem ? problems : notes).push_back((isMended ? "mended: " : "") + FindingText(finding));
    findings.push_back(finding);
  }
}

bool Verdict::isMended() const {
  return std::any_of(findings.begin(), findings.end(), [](const qo_host::Finding& finding) {
    return finding.severity == qo_host::Severity::kMended;
  });
}

Verdict OpenAndJudge(Input* input) {
  try {
    input->Open();
  } catch (const Failure& failure) {
    if (failure.exitCode() != kExitBadFile) throw;
  }
  const qo_host::JudgedFile judged{input->session(), input->layout(), input->file()};
  Verdict verdict;
  verdict.Add(qo_host::JudgeOpen(judged, input->openStatus()));
  return verdict;
}

void JudgePlayOut(Input* input, const qo_host::Totals& totals, Verdict* verdict) {
  input->CheckWhole();
  std::vector<qo_host::Finding> findings;
  input->CheckRead(qo_host::JudgePlayOut(Played(input), totals, &findings));
  verdict->Add(findings);
}

void PrintProblems(const Input& input, const Verdict& verdict) {
  for (const std::string& problem : verdict.problems) {
    std::fprintf(stderr, "asftool: %s\n", Printable(input.path() + ": " + problem).c_str());
  }
}

}  // namespace tool
