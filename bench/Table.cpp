// The columns of the tables.
#include "bench/Table.h"

#include <cstdio>
#include <string>

namespace bench {
namespace {

double Counter(const benchmark::BenchmarkReporter::Run& run, const char* name) {
  const auto found = run.counters.find(name);
  return found != run.counters.end() ? found->second.value : 0;
}

// The name without what the library appends to it.
std::string WorkloadName(const benchmark::BenchmarkReporter::Run& run) {
  return run.run_name.function_name;
}

}  // namespace

bool Table::ReportContext(const Context&) {
  std::puts(
      "| workload | time, ms | MB/s | units/s | source calls/unit | allocations/unit | floor, ms | "
      "ratio |\n|---|---|---|---|---|---|---|---|");
  std::fflush(stdout);
  return true;
}

void Table::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.error_occurred) {
      std::fprintf(stderr, "%s: %s\n", WorkloadName(run).c_str(), run.error_message.c_str());
      failed_ = true;
      continue;
    }
    std::printf("| %s | %.4g | %.0f | %.0f | %.1f | %.4f | %.4g | %.2f |\n",
                WorkloadName(run).c_str(), Counter(run, kSeconds) * 1e3,
                Counter(run, kBytesPerSecond) / 1e6, Counter(run, kUnitsPerSecond),
                Counter(run, kSourceCalls), Counter(run, kAllocations),
                Counter(run, kFloorSeconds) * 1e3, Counter(run, kRatio));
    std::fflush(stdout);
    if (run.counters.count(kSeekSeconds) != 0) seeks_.push_back(run);
  }
}

void Table::Finalize() {
  if (seeks_.empty()) return;
  std::puts(
      "\n| median of single seeks, us | SeekEx alone | with the first unit | three copies of that "
      "unit |\n|---|---|---|---|");
  for (const Run& run : seeks_) {
    std::printf("| %s | %.1f | %.1f | %.1f |\n", WorkloadName(run).c_str(),
                Counter(run, kSeekSeconds) * 1e6, Counter(run, kUnitSeconds) * 1e6,
                Counter(run, kCopySeconds) * 1e6);
  }
}

}  // namespace bench
