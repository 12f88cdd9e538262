// CHECK(condition): a property of the parser that must hold. One that doesn't
// ends the process, which is how fuzzers and tests of faults see a finding.
// docs/safety.md states the properties.
#ifndef QO_TESTING_CHECK_H
#define QO_TESTING_CHECK_H

#include <cstdio>
#include <cstdlib>

[[noreturn]] inline void FailCheck(const char* what, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, what);
  std::abort();
}

#define CHECK(condition) \
  ((condition) ? static_cast<void>(0) : FailCheck(#condition, __FILE__, __LINE__))

#endif  // QO_TESTING_CHECK_H
