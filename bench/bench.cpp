// Measures the parser through its shared library, the way a host uses it:
//
//   qo_bench [--benchmark_...] [FILE...]
//
// Without a file it measures those of Workloads.h. Every measurement is taken in
// turn with its floor, a plain copy of the same bytes, so that a machine that
// changes its pace changes both. Calls and allocations are counted in a pass of
// their own.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <random>

#include "bench/Input.h"
#include "bench/Table.h"
#include "bench/Workloads.h"
#include "qo_host/ExactSeek.h"
#include "qo_host/ParserLibrary.h"
#include "qo_host/ParserSession.h"
#include "qo_host/TraceSource.h"
#include "testing/HeapMeter.h"

namespace bench {
namespace {

using Kind = std::optional<qo_host::TrackKind>;  // nothing: all tracks, by time

// Play-outs and exact seeks are measured in processor time, which other processes disturb
// least; what takes microseconds by the clock, which costs nothing to read.
double ProcessorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}
double ClockSeconds() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double>(now).count();
}
using Clock = double (*)();

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// The floor: copies `bytes` once through a buffer that stays in the first cache.
double FloorSeconds(std::string_view bytes, Clock clock) {
  static char buffer[8192];
  const double start = clock();
  for (std::size_t at = 0; at < bytes.size(); at += sizeof(buffer)) {
    std::memcpy(buffer, bytes.data() + at, std::min(sizeof(buffer), bytes.size() - at));
    benchmark::ClobberMemory();
  }
  return clock() - start;
}

// Sets the level that parsers made in its lifetime take; what they print goes
// nowhere.
class DebugLevel {
 public:
  explicit DebugLevel(const char* level) : kept_(dup(STDERR_FILENO)) {
    setenv("QOCP_DEBUG_LEVEL", level, 1);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
  }
  ~DebugLevel() {
    dup2(kept_, STDERR_FILENO);
    close(kept_);
    setenv("QOCP_DEBUG_LEVEL", "0", 1);
  }
  DebugLevel(const DebugLevel&) = delete;
  DebugLevel& operator=(const DebugLevel&) = delete;

 private:
  int kept_;
};

// What the rows have in common: the times of each iteration and its floor's.
class Series {
 public:
  explicit Series(benchmark::State* state) : state_(state) {}

  void Add(double seconds, double floorSeconds) {
    state_->SetIterationTime(seconds);
    times_.push_back(seconds);
    floors_.push_back(floorSeconds);
    ratios_.push_back(seconds / std::max(floorSeconds, 1e-9));
  }

  // What one iteration reads, delivers, calls and allocates.
  void Report(unsigned long long bytes, double units, unsigned long long calls,
              unsigned long long allocations) {
    const double seconds = Median(times_);
    auto& counters = state_->counters;
    counters[kSeconds] = seconds;
    counters[kBytesPerSecond] = static_cast<double>(bytes) / seconds;
    counters[kUnitsPerSecond] = units / seconds;
    counters[kSourceCalls] = static_cast<double>(calls) / units;
    counters[kAllocations] = static_cast<double>(allocations) / units;
    counters[kFloorSeconds] = Median(floors_);
    counters[kRatio] = Median(ratios_);
  }

 private:
  benchmark::State* state_;
  std::vector<double> times_, floors_, ratios_;
};

unsigned long long PlayOut(qo_host::ParserSession* session, Kind kind) {
  unsigned long long units = 0;
  while ((kind ? session->NextUnit(*kind) : session->NextUnit()) != nullptr) ++units;
  return units;
}

// A whole play-out, from opening the source to closing the parser. Calls and
// allocations are those between the end of Open and the end of the stream.
void MeasurePlayOut(benchmark::State& state, const qo_host::ParserLibrary& library,
                    const Input& input, Kind kind, const char* level) {
  const DebugLevel debugLevel(level);
  auto trace = std::make_unique<qo_host::TraceSource>(input.MakeSource());
  qo_host::TraceSource* calls = trace.get();
  qo_host::ParserSession counted(library.factory(), std::move(trace));
  if (counted.Open() != kParserOk) return state.SkipWithError("cannot be opened");
  calls->Reset();
  const unsigned long long before = HeapAllocations();
  const unsigned long long units = PlayOut(&counted, kind);
  const unsigned long long allocations = HeapAllocations() - before;
  if (units == 0) return state.SkipWithError("has no access unit of this kind");

  Series series(&state);
  for (auto _ : state) {
    const double start = ProcessorSeconds();
    {
      qo_host::ParserSession session(library.factory(), input.MakeSource());
      session.Open();
      PlayOut(&session, kind);
    }
    const double seconds = ProcessorSeconds() - start;
    series.Add(seconds, FloorSeconds(input.bytes(), ProcessorSeconds));
  }
  series.Report(input.bytes().size(), static_cast<double>(units), calls->AllTotals().calls,
                allocations);
}

// Opening, describing and closing. Its one unit is the file.
void OpenAndClose(IParser* parser, IDataSource* source) {
  if (parser->Open(source) == kParserOk) {
    for (unsigned int k = 0; k < parser->GetTrackCount(); ++k) parser->GetTrackInfo(k);
    parser->GetMetaInfo();
  }
  parser->Close();
}

void MeasureOpen(benchmark::State& state, const qo_host::ParserLibrary& library,
                 const Input& input) {
  qo_host::TraceSource calls(input.MakeSource());
  const auto counted = library.factory().Make();
  const unsigned long long before = HeapAllocations();
  OpenAndClose(counted.get(), &calls);
  const unsigned long long allocations = HeapAllocations() - before;
  const unsigned long long bytes = calls.AllTotals().bytes;

  Series series(&state);
  for (auto _ : state) {
    const auto source = input.MakeSource();
    const auto parser = library.factory().Make();
    const double start = ClockSeconds();
    OpenAndClose(parser.get(), source.get());
    const double seconds = ClockSeconds() - start;
    series.Add(seconds, FloorSeconds(input.bytes().substr(0, bytes), ClockSeconds));
  }
  series.Report(bytes, 1, calls.AllTotals().calls, allocations);
}

// An opened parser and what its first video track, or else its first audio track,
// delivers.
class Seeker {
 public:
  Seeker(const qo_host::ParserLibrary& library, std::unique_ptr<IDataSource> source)
      : source_(std::move(source)), parser_(library.factory().Make()) {
    if (parser_->Open(source_.get()) != kParserOk) return;
    parser_->GetDurationMs(&durationMs_);
    for (unsigned int k = 0; k < parser_->GetTrackCount(); ++k) {
      const TrackInfo* track = parser_->GetTrackInfo(k);
      if (track != nullptr && trackType_ != kTrackVideo) {
        trackType_ = static_cast<int>(track->trackType);
      }
    }
  }
  ~Seeker() { parser_->Close(); }
  Seeker(const Seeker&) = delete;
  Seeker& operator=(const Seeker&) = delete;

  // To somewhere in the file, the next place of a fixed sequence.
  bool Seek() {
    const unsigned long timeMs = durationMs_ != 0 ? places_() % durationMs_ : 0;
    return trackType_ != 0 &&
           parser_->SeekEx(timeMs, trackType_, 0, 0, 0, kSeekPreviousSync) == kParserOk;
  }
  // Reads a unit; false at the end.
  bool ReadUnit() {
    unsigned long timeMs = 0;
    unsigned char* const out = buffer_.data();
    const int status = trackType_ == kTrackVideo
                           ? parser_->GetVideoData(out, &size_, &timeMs, kMaxAccessUnitBytes, false)
                           : parser_->GetAudioData(out, &size_, &timeMs, kMaxAccessUnitBytes);
    return status == kParserOk;
  }
  double CopySeconds(int copies) {
    const double start = ClockSeconds();
    for (int k = 0; k < copies; ++k) {
      std::memcpy(copy_.data(), buffer_.data(), size_);
      benchmark::ClobberMemory();
    }
    return ClockSeconds() - start;
  }
  unsigned long size() const { return size_; }

 private:
  std::unique_ptr<IDataSource> source_;
  qo_host::ParserPointer parser_;
  unsigned long durationMs_ = 0;
  int trackType_ = 0;
  std::mt19937 places_{20240607};
  unsigned long size_ = 0;
  std::vector<unsigned char> buffer_ = std::vector<unsigned char>(kMaxAccessUnitBytes);
  std::vector<unsigned char> copy_ = buffer_;
};

// Single seeks, each with the first unit behind it. The floor is one copy of that
// unit.
void MeasureSeek(benchmark::State& state, const qo_host::ParserLibrary& library,
                 const Input& input) {
  constexpr unsigned int kCountedSeeks = 500;
  auto trace = std::make_unique<qo_host::TraceSource>(input.MakeSource());
  qo_host::TraceSource* calls = trace.get();
  Seeker counted(library, std::move(trace));
  calls->Reset();
  const unsigned long long before = HeapAllocations();
  unsigned long long bytes = 0;
  for (unsigned int k = 0; k < kCountedSeeks; ++k) {
    if (!counted.Seek()) return state.SkipWithError("cannot be sought in");
    if (counted.ReadUnit()) bytes += counted.size();
  }
  const unsigned long long allocations = HeapAllocations() - before;

  Seeker seeker(library, input.MakeSource());
  Series series(&state);
  std::vector<double> seeks, units, copies;
  for (auto _ : state) {
    const double start = ClockSeconds();
    seeker.Seek();
    seeks.push_back(ClockSeconds() - start);
    seeker.ReadUnit();
    units.push_back(ClockSeconds() - start);
    copies.push_back(seeker.CopySeconds(3));
    series.Add(units.back(), seeker.CopySeconds(1));
  }
  series.Report(bytes / kCountedSeeks, 1, calls->AllTotals().calls / kCountedSeeks,
                allocations / kCountedSeeks);
  state.counters[kSeekSeconds] = Median(seeks);
  state.counters[kUnitSeconds] = Median(units);
  state.counters[kCopySeconds] = Median(copies);
}

// The first exact seek of a session, with the first unit behind it.
class ExactSeeks {
 public:
  ExactSeeks(const qo_host::ParserLibrary& library, std::unique_ptr<IDataSource> source,
             unsigned int seed)
      : session_(library.factory(), std::move(source)) {
    if (session_.Open() == kParserOk && session_.durationMs() != 0) {
      targetMs_ = std::mt19937(seed)() % session_.durationMs();
    }
  }
  // Null where nothing was found.
  const qo_host::AccessUnit* Run() {
    const qo_host::ExactSeek seek = qo_host::ExactSeeker(&session_).Seek(targetMs_);
    return seek.outcome == qo_host::ExactSeek::Outcome::kFound ? session_.NextUnit() : nullptr;
  }

 private:
  qo_host::ParserSession session_;
  unsigned long long targetMs_ = 0;
};

void MeasureExactSeek(benchmark::State& state, const qo_host::ParserLibrary& library,
                      const Input& input) {
  auto trace = std::make_unique<qo_host::TraceSource>(input.MakeSource());
  qo_host::TraceSource* calls = trace.get();
  ExactSeeks counted(library, std::move(trace), 0);
  calls->Reset();
  const unsigned long long before = HeapAllocations();
  if (counted.Run() == nullptr) return state.SkipWithError("cannot be sought in");
  const unsigned long long allocations = HeapAllocations() - before;
  const qo_host::SourceTotals totals = calls->AllTotals();

  Series series(&state);
  unsigned int seed = 0;
  for (auto _ : state) {
    ExactSeeks seeks(library, input.MakeSource(), seed++);
    const double start = ProcessorSeconds();
    const qo_host::AccessUnit* unit = seeks.Run();
    const double seconds = ProcessorSeconds() - start;
    const std::size_t size = unit != nullptr ? unit->size : 0;
    series.Add(seconds, FloorSeconds(input.bytes().substr(0, size), ProcessorSeconds));
  }
  series.Report(totals.bytes, 1, totals.calls, allocations);
}

// Registers the rows of a run and owns what they measure.
class Suite {
 public:
  explicit Suite(const qo_host::ParserLibrary& library) : library_(library) {}

  void AddFile(const std::string& name, std::unique_ptr<Input> file) {
    const Input& input = Own(std::move(file));
    AddOpen(name + ": open", input);
    AddPlayOut(name + ": play-out", input);
    AddSeek(name + ": seek", input);
    AddExactSeek(name + ": first exact seek", input);
  }

  void AddWorkloads() {
    const Input& both = Own(MakeMemoryInput(AudioVideoFile(true)));
    AddOpen("open", both);
    AddPlayOut("play-out, audio file", Own(MakeMemoryInput(AudioFile())));
    AddPlayOut("play-out, audio only", both, qo_host::TrackKind::kAudio);
    AddPlayOut("play-out, video only", both, qo_host::TrackKind::kVideo);
    AddPlayOut("play-out, both", both);
    AddPlayOut("key frames of 1 MiB", Own(MakeMemoryInput(LargeKeyFrameFile())));
    AddPlayOut("tiny objects", Own(MakeMemoryInput(TinyObjectFile())));
    const Input& avc = Own(MakeMemoryInput(AvcFile()));
    AddPlayOut("H.264", avc);
    AddPlayOut("H.264, debug level 1", avc, {}, "1");
    AddSeek("seek, index", both);
    const Input& noIndex = Own(MakeMemoryInput(AudioVideoFile(false)));
    AddSeek("seek, no index", noIndex);
    AddExactSeek("first exact seek", noIndex);
  }

 private:
  const Input& Own(std::unique_ptr<Input> input) {
    inputs_.push_back(std::move(input));
    return *inputs_.back();
  }

  template <typename Measure>
  static void Add(const std::string& name, Measure measure) {
    benchmark::RegisterBenchmark(name.c_str(), measure)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  void AddOpen(const std::string& name, const Input& input) {
    Add(name, [this, &input](benchmark::State& state) { MeasureOpen(state, library_, input); });
  }
  void AddPlayOut(const std::string& name, const Input& input, Kind kind = {},
                  const char* level = "0") {
    Add(name, [this, &input, kind, level](benchmark::State& state) {
      MeasurePlayOut(state, library_, input, kind, level);
    });
  }
  void AddExactSeek(const std::string& name, const Input& input) {
    Add(name,
        [this, &input](benchmark::State& state) { MeasureExactSeek(state, library_, input); });
  }
  void AddSeek(const std::string& name, const Input& input) {
    Add(name, [this, &input](benchmark::State& state) { MeasureSeek(state, library_, input); });
  }

  const qo_host::ParserLibrary& library_;
  std::vector<std::unique_ptr<Input>> inputs_;
};

int Run(int argc, char** argv) {
  std::string error;
  const auto library = qo_host::ParserLibrary::Load("", &error);
  if (library == nullptr) {
    std::fprintf(stderr, "qo_bench: %s\n", error.c_str());
    return 2;
  }
  setenv("QOCP_DEBUG_LEVEL", "0", 1);
  Suite suite(*library);
  for (int k = 1; k < argc; ++k) {
    auto input = OpenFileInput(argv[k], &error);
    if (input == nullptr) {
      std::fprintf(stderr, "qo_bench: %s\n", error.c_str());
      return 2;
    }
    suite.AddFile(std::filesystem::path(argv[k]).filename().string(), std::move(input));
  }
  if (argc == 1) suite.AddWorkloads();
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  return table.failed() ? 1 : 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  return bench::Run(argc, argv);
}
