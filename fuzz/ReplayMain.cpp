// Runs a fuzz target over files, without a fuzzer: ReplayMain [FILE|FOLDER]...
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/Target.h"

namespace {

std::vector<std::filesystem::path> FilesAt(const char* argument) {
  if (!std::filesystem::is_directory(argument)) return {argument};
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(argument)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t replayed = 0;
  for (int k = 1; k < argc; ++k) {
    for (const auto& path : FilesAt(argv[k])) {
      std::ifstream in(path, std::ios::binary);
      const std::string input{std::istreambuf_iterator<char>(in), {}};
      if (!in) {
        std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
        return 2;
      }
      // A crash shows which input it was.
      std::fprintf(stderr, "%s\n", path.c_str());
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
      ++replayed;
    }
  }
  std::printf("%zu inputs replayed\n", replayed);
  return replayed != 0 ? 0 : 2;
}
