// Findings become words and an exit code.
#include "tools/Verdict.h"

#include <cstdio>

#include "tools/Output.h"
#include "tools/Words.h"

namespace tool {
namespace {

// The session's view of a file that is read as it is may answer from memory.
qo_host::JudgedFile Played(Input* input) {
  const qo_host::ParserSession& session = input->session();
  const bool isAsIs = session.view() == session.source();
  return {session, input->playedLayout(), isAsIs ? input->file() : session.view()};
}

void Add(const std::vector<qo_host::Finding>& findings, Verdict* verdict) {
  for (const qo_host::Finding& finding : findings) {
    (finding.isProblem ? verdict->problems : verdict->notes).push_back(FindingText(finding));
    verdict->isMended |= finding.code == qo_host::FindingCode::kMended;
  }
}

}  // namespace

Verdict OpenAndJudge(Input* input) {
  try {
    input->Open();
  } catch (const Failure& failure) {
    if (failure.exitCode() != kExitBadFile) throw;
  }
  Verdict verdict;
  const qo_host::JudgedFile judged{input->session(), input->layout(), input->file()};
  Add(qo_host::JudgeOpen(judged, input->openStatus()), &verdict);
  return verdict;
}

void JudgePlayOut(Input* input, const qo_host::Totals& totals, bool explain, Verdict* verdict) {
  std::vector<qo_host::Finding> findings;
  input->CheckRead(qo_host::JudgePlayOut(Played(input), totals, explain, &findings));
  Add(findings, verdict);
}

void PrintProblems(const Input& input, const Verdict& verdict) {
  for (const std::string& problem : verdict.problems) {
    std::fprintf(stderr, "asftool: %s\n", Printable(input.path() + ": " + problem).c_str());
  }
}

}  // namespace tool
