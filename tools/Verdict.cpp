// Findings become words and an exit code.
#include "tools/Verdict.h"

#include <cstdio>

#include "tools/Output.h"
#include "tools/Words.h"

namespace tool {
namespace {

host::JudgedFile Judged(Input* input) { return {input->session(), input->layout(), input->file()}; }

void Add(const std::vector<host::Finding>& findings, Verdict* verdict) {
  for (const host::Finding& finding : findings) {
    (finding.isProblem ? verdict->problems : verdict->notes).push_back(FindingText(finding));
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
  Add(host::JudgeOpen(Judged(input), input->openStatus()), &verdict);
  return verdict;
}

void JudgePlayOut(Input* input, const host::Totals& totals, bool explain, Verdict* verdict) {
  std::vector<host::Finding> findings;
  input->CheckRead(host::JudgePlayOut(Judged(input), totals, explain, &findings));
  Add(findings, verdict);
}

void PrintProblems(const Input& input, const Verdict& verdict) {
  for (const std::string& problem : verdict.problems) {
    std::fprintf(stderr, "asftool: %s\n", Printable(input.path() + ": " + problem).c_str());
  }
}

}  // namespace tool
