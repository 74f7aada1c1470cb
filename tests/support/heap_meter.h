// Counts what the whole process takes from the heap, and can make it run dry.
// One program links heap_meter.cc once.
#pragma once

#include <cstdint>

namespace heap {

struct Meter {
  int64_t allocations;  // since the start
  int64_t live;         // bytes in use now, as the allocator rounds them
};
Meter Read();

// The n-th allocation from now (0: the next one) and all after it fail; a
// negative n ends that. Only the calling thread is affected.
void FailFrom(int64_t n);
// Whether any allocation has failed since the last FailFrom.
bool HasFailed();

}  // namespace heap
