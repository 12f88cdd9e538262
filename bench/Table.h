// Prints what was measured as one table in Markdown.
#ifndef QO_BENCH_TABLE_H
#define QO_BENCH_TABLE_H

#include <benchmark/benchmark.h>

#include <vector>

namespace bench {

// The counters that a row shows: medians over its iterations.
constexpr char kSeconds[] = "seconds";
constexpr char kBytesPerSecond[] = "bytes/s";
constexpr char kUnitsPerSecond[] = "units/s";
constexpr char kSourceCalls[] = "calls/unit";
constexpr char kAllocations[] = "allocations/unit";
constexpr char kFloorSeconds[] = "floor";
constexpr char kRatio[] = "ratio";
// Rows of seeks only, all in seconds.
constexpr char kSeekSeconds[] = "SeekEx";
constexpr char kUnitSeconds[] = "first unit";  // the seek included
constexpr char kCopySeconds[] = "copies";      // of the unit, three of them

class Table final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  // The rows of seeks once more, with what a single one takes.
  void Finalize() override;

  bool failed() const { return failed_; }

 private:
  std::vector<Run> seeks_;
  bool failed_ = false;
};

}  // namespace bench

#endif  // QO_BENCH_TABLE_H
