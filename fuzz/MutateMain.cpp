// Plays seeded mutations and truncations of real files: MutateMain N INPUT FILE...
// Case k is the same on every machine. INPUT is where each case's file is written
// before it is played, so that it is there after a crash. Says what the slowest
// took and the largest heap; fails where one is above the limits below.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "host/MemorySource.h"
#include "testing/CheckingHost.h"

namespace {

constexpr double kMaxSeconds = 1;
constexpr std::size_t kMaxHeapBytes = std::size_t{64} << 20;

// The standard fixes this generator's numbers, but not those of distributions.
class Random {
 public:
  explicit Random(unsigned int seed) : engine_(seed) {}
  std::size_t Below(std::size_t limit) { return limit != 0 ? engine_() % limit : 0; }

 private:
  std::mt19937 engine_;
};

std::string ReadFile(const char* path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Half of all changes go to the first 2,000 bytes, where the header is.
std::size_t Position(const std::string& file, Random* random) {
  constexpr std::size_t kHeader = 2000;
  return random->Below(random->Below(2) != 0 ? std::min(file.size(), kHeader) : file.size());
}

void ChangeOnce(std::string* file, Random* random) {
  static constexpr unsigned char kValues[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
  const std::size_t at = Position(*file, random);
  switch (random->Below(6)) {
    case 0:
      file->resize(at);
      break;
    case 1:
      file->erase(at, random->Below(64));
      break;
    case 2:
      file->insert(at, file->substr(Position(*file, random), random->Below(64)));
      break;
    case 3:
      std::fill_n(file->begin() + at, std::min(file->size() - at, 1 + random->Below(8)),
                  static_cast<char>(kValues[random->Below(std::size(kValues))]));
      break;
    default:
      if (at < file->size()) (*file)[at] = static_cast<char>(random->Below(256));
  }
}

// Opens, plays both kinds out by either form of delivery, seeks and describes.
void Play(const std::string& file) {
  static const std::string script = [] {
    const std::string play("\x01\xFE\x00\xFF\x02\xFE", 6);
    std::string all("\x01\x00", 2);
    for (int k = 0; k < 20; ++k) all += play;
    for (char mode = 0; mode < 6; ++mode) {
      for (const char track : {'\x10', '\x20'}) {
        all += std::string("\x04\x00", 2) + track + std::string("\xE8\x03\x00\x10", 4) +
               static_cast<char>(mode << 3) + play;
      }
    }
    return all + std::string("\x07\xFF\x08\x00\x03\x01\x03\x02", 8) + play;
  }();
  host::MemorySource source(file.data(), file.size());
  PlayScript(Input(script), file.size(), &source, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return std::fprintf(stderr, "usage: %s N INPUT FILE...\n", argv[0]), 2;
  const unsigned long cases = std::strtoul(argv[1], nullptr, 10);
  std::vector<std::string> files;
  for (int k = 3; k < argc; ++k) files.push_back(ReadFile(argv[k]));

  double slowest = 0;
  std::size_t largest = 0;
  unsigned long failed = 0;
  for (unsigned long k = 0; k < cases; ++k) {
    Random random(static_cast<unsigned int>(k));
    std::string file = files[k % files.size()];
    for (std::size_t changes = 1 + random.Below(12); changes > 0; --changes) {
      ChangeOnce(&file, &random);
    }
    std::ofstream(argv[2], std::ios::binary) << file;
    const std::size_t before = HeapBytes();
    const auto start = std::chrono::steady_clock::now();
    Play(file);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    const std::size_t heap = HeapPeak() - before;
    if (took.count() > kMaxSeconds || heap > kMaxHeapBytes) {
      ++failed;
      std::printf("case %lu: %.3f s, %zu bytes of heap\n", k, took.count(), heap);
    }
    slowest = std::max(slowest, took.count());
    largest = std::max(largest, heap);
  }
  std::printf("%lu cases, slowest %.3f s, largest heap %zu bytes\n", cases, slowest, largest);
  return failed != 0 ? 1 : 0;
}
