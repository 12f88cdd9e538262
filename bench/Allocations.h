// Counts heap allocations: every operator new of the process, the loaded parser's
// among them.
#ifndef QO_BENCH_ALLOCATIONS_H
#define QO_BENCH_ALLOCATIONS_H

namespace bench {

// How many there have been so far.
unsigned long long Allocations();

}  // namespace bench

#endif  // QO_BENCH_ALLOCATIONS_H
