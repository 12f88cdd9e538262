// Opens one file in many sessions at once and tells what each takes: processor time, and
// memory that is in use by the process as a whole.
//
//   qo_sessions COUNT FILE
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "qo_host/ExactSeek.h"
#include "qo_host/FileSource.h"
#include "qo_host/ParserLibrary.h"
#include "qo_host/ParserSession.h"
#include "qo_host/StatusText.h"

namespace {

constexpr unsigned int kUnits = 200;

double ProcessorMicroseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) * 1e-3;
}

double ResidentKilobytes() {
  unsigned long long all = 0, resident = 0;
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  if (file == nullptr || std::fscanf(file, "%llu %llu", &all, &resident) != 2) resident = 0;
  if (file != nullptr) std::fclose(file);
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

using Sessions = std::vector<std::unique_ptr<qo_host::ParserSession>>;

// Does `step` to every session, and prints what one of them took, on an average.
template <typename Step>
void Measure(const char* name, Sessions* sessions, Step step) {
  const double time = ProcessorMicroseconds(), memory = ResidentKilobytes();
  for (auto& session : *sessions) step(&session);
  const auto count = static_cast<double>(sessions->size());
  std::printf("| %s | %.1f | %.0f |\n", name, (ProcessorMicroseconds() - time) / count,
              (ResidentKilobytes() - memory) / count);
}

// A file for each session, and as many again for what the process has open.
void AllowFiles(unsigned long sessions) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 2 * sessions + 64);
  setrlimit(RLIMIT_NOFILE, &limit);
}

[[noreturn]] void Fail(const std::string& reason) {
  std::fprintf(stderr, "qo_sessions: %s\n", reason.c_str());
  std::exit(2);
}

void Open(const qo_host::ParserLibrary& library, const char* path,
          std::unique_ptr<qo_host::ParserSession>* session) {
  std::string error;
  auto source = qo_host::FileSource::OpenPath(path, &error);
  if (source == nullptr) Fail(error);
  *session = std::make_unique<qo_host::ParserSession>(library.factory(), std::move(source));
  const int status = (*session)->Open();
  if (status < 0) Fail(qo_host::StatusText(qo_host::Action::kOpen, status));
}

}  // namespace

int main(int argc, char** argv) {
  const unsigned long count = argc == 3 ? std::strtoul(argv[1], nullptr, 10) : 0;
  if (count == 0) return std::fputs("usage: qo_sessions COUNT FILE\n", stderr), 2;
  setenv("QOCP_DEBUG_LEVEL", "0", 1);
  std::string error;
  const auto library = qo_host::ParserLibrary::Load("", &error);
  if (library == nullptr) Fail(error);
  AllowFiles(count);
  Sessions sessions(count);
  std::puts("| of each session | processor time, us | memory, KiB |\n|---|---|---|");
  Measure("open", &sessions, [&](auto* session) { Open(*library, argv[2], session); });
  Measure("first unit of each track", &sessions, [](auto* session) {
    for (const qo_host::Track& track : (*session)->tracks()) (*session)->NextUnit(track.kind);
  });
  Measure("more units, 200", &sessions, [](auto* session) {
    for (unsigned int k = 0; k < kUnits; ++k) (*session)->NextUnit();
  });
  Measure("exact seek to the middle", &sessions, [](auto* session) {
    qo_host::ExactSeeker(session->get()).Seek((*session)->durationMs() / 2);
  });
  Measure("close", &sessions, [](auto* session) { session->reset(); });
  return 0;
}
