// What a source under test does wrong, as the input says.
#ifndef QO_FUZZ_FAULTS_H
#define QO_FUZZ_FAULTS_H

#include <utility>
#include <vector>

#include "testing/FaultySource.h"
#include "testing/Input.h"

namespace fuzz {

// Calls and what happens there. Takes their number, then 3 bytes each: calls since
// the last one, kind.
using FaultPlan = std::vector<std::pair<unsigned long, Fault>>;

inline FaultPlan TakeFaults(Input* input) {
  FaultPlan plan;
  unsigned long call = 0;
  for (int faults = input->Byte() % 16; faults > 0; --faults) {
    call += input->Take<std::uint16_t>() + 1ul;
    plan.emplace_back(call,
                      static_cast<Fault>(input->Byte() % static_cast<unsigned int>(Fault::kCount)));
  }
  return plan;
}

}  // namespace fuzz

#endif  // QO_FUZZ_FAULTS_H
