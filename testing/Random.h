// Seeded numbers that are the same on every machine.
#ifndef QO_TESTING_RANDOM_H
#define QO_TESTING_RANDOM_H

#include <cstddef>
#include <random>

// The standard fixes this generator's numbers, but not those of distributions.
class Random {
 public:
  explicit Random(unsigned int seed) : engine_(seed) {}
  std::size_t Below(std::size_t limit) { return limit != 0 ? engine_() % limit : 0; }

 private:
  std::mt19937 engine_;
};

#endif  // QO_TESTING_RANDOM_H
