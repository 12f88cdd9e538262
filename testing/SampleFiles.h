// The sample files, for tests that go over all of them.
#ifndef QO_TESTING_SAMPLEFILES_H
#define QO_TESTING_SAMPLEFILES_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

inline std::vector<std::filesystem::path> SamplePaths(const char* folder = QO_SAMPLES_DIR) {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::filesystem::path kind = entry.path().extension();
    if (kind == ".asf" || kind == ".wmv" || kind == ".wma") paths.push_back(entry.path());
  }
  return paths;
}

inline std::string FileBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

#endif  // QO_TESTING_SAMPLEFILES_H
