// Plays seeded mutations and truncations of real files: MutateMain N INPUT FILE...
// Case k is the same on every machine. INPUT is where each case's file is written
// before it is played, so that it is there after a crash. Says what the slowest
// took and the largest heap; fails where one is above the limits below.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "fuzz/Mutation.h"
#include "qo_host/MemorySource.h"
#include "testing/CheckingHost.h"
#include "testing/SampleFiles.h"
#include "testing/Steps.h"

namespace {

constexpr double kMaxSeconds = 5;  // of processor time, also under an emulator
constexpr std::size_t kMaxHeapBytes = std::size_t{64} << 20;

// Opens, plays both kinds out by either form of delivery, seeks and describes.
void Play(const std::string& file) {
  static const Bytes script = [] {
    const Bytes play = steps::ReadVideo(128) + steps::ReadAudio(256) + steps::ReadWholeVideo(128);
    Bytes all = steps::Open(1, 0);
    for (int k = 0; k < 20; ++k) all += play;
    for (int mode = -1; mode < 5; ++mode) {
      for (const int track : {kTrackVideo, kTrackAudio}) {
        all += steps::SeekEx(1000, track, mode, 4096) + play;
      }
    }
    return all + steps::ReadConfigs(255) + steps::Describe() + steps::Seek(kTrackVideo) +
           steps::Seek(kTrackAudio) + play;
  }();
  qo_host::MemorySource source(file.data(), file.size());
  PlayScript(Input(script), &source, file.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return std::fprintf(stderr, "usage: %s N INPUT FILE...\n", argv[0]), 2;
  const unsigned long cases = std::strtoul(argv[1], nullptr, 10);
  std::vector<std::string> files;
  for (int k = 3; k < argc; ++k) files.push_back(FileBytes(argv[k]));

  double slowest = 0;
  std::size_t largest = 0;
  unsigned long failed = 0;
  for (unsigned long k = 0; k < cases; ++k) {
    const std::string file = MutatedFile(files, k);
    std::ofstream(argv[2], std::ios::binary) << file;
    const std::size_t before = HeapBytes();
    const std::clock_t start = std::clock();
    Play(file);
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    const std::size_t heap = HeapPeak() - before;
    if (seconds > kMaxSeconds || heap > kMaxHeapBytes) {
      ++failed;
      std::printf("case %lu: %.3f s, %zu bytes of heap\n", k, seconds, heap);
    }
    slowest = std::max(slowest, seconds);
    largest = std::max(largest, heap);
  }
  std::printf("%lu cases, slowest %.3f s, largest heap %zu bytes\n", cases, slowest, largest);
  return failed != 0 ? 1 : 0;
}
