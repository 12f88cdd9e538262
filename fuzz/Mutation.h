// Seeded mutations and truncations of files. Case k is the same on every machine.
#ifndef QO_FUZZ_MUTATION_H
#define QO_FUZZ_MUTATION_H

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "testing/Random.h"

// Half of all changes go to the first 2,000 bytes, where the header is.
inline std::size_t MutationPlace(const std::string& file, Random* random) {
  constexpr std::size_t kHeader = 2000;
  return random->Below(random->Below(2) != 0 ? std::min(file.size(), kHeader) : file.size());
}

inline void MutateOnce(std::string* file, Random* random) {
  static constexpr unsigned char kValues[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
  const std::size_t at = MutationPlace(*file, random);
  switch (random->Below(6)) {
    case 0:
      file->resize(at);
      break;
    case 1:
      file->erase(at, random->Below(64));
      break;
    case 2:
      file->insert(at, file->substr(MutationPlace(*file, random), random->Below(64)));
      break;
    case 3:
      std::fill_n(file->data() + at, std::min(file->size() - at, 1 + random->Below(8)),
                  static_cast<char>(kValues[random->Below(std::size(kValues))]));
      break;
    default:
      if (at < file->size()) (*file)[at] = static_cast<char>(random->Below(256));
  }
}

// One of `files`, changed in 1 to 12 places.
inline std::string MutatedFile(const std::vector<std::string>& files, unsigned long k) {
  Random random(static_cast<unsigned int>(k));
  std::string file = files[k % files.size()];
  for (std::size_t changes = 1 + random.Below(12); changes > 0; --changes) {
    MutateOnce(&file, &random);
  }
  return file;
}

#endif  // QO_FUZZ_MUTATION_H
