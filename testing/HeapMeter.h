// The heap's meter: takes the place of operator new, so that a program that links
// it knows what it allocates, can make an allocation fail, and can tell what was
// left behind. Under the address sanitizer, whose own operator new tells apart how
// blocks are to be freed, it listens there instead, and no allocation fails;
// QO_METER_REPLACES_NEW has it replace that too. Owns the counts of the process.
#ifndef QO_TESTING_HEAPMETER_H
#define QO_TESTING_HEAPMETER_H

#include <cstddef>

// Bytes taken and not given back, the most there were since ResetHeapPeak, and all
// that were ever taken.
std::size_t HeapBytes();
std::size_t HeapPeak();
std::size_t HeapTotal();
void ResetHeapPeak();

// How many times memory was taken.
unsigned long long HeapAllocations();

// Makes the allocation fail that is the `count`-th from now on; 0 = none.
void FailAllocation(long count);
// How many are left until that one fails; 0 = none will, or it did.
long AllocationsUntilFailure();

// Holds, where the meter listens to the address sanitizer, that all heap memory
// taken while it lives was given back, but for what the parser leaves on purpose
// and says so.
class LeakCheck {
 public:
  LeakCheck();
  ~LeakCheck();
  LeakCheck(const LeakCheck&) = delete;
  LeakCheck& operator=(const LeakCheck&) = delete;

 private:
  std::size_t before_;
};

#endif  // QO_TESTING_HEAPMETER_H
