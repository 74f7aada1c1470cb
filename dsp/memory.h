// Memory for those who want it aligned and want no exception.
#pragma once

#include <cstdint>

namespace orbel {

// `size` bytes at a multiple of 32, not cleared. Null for a size of 0 or less,
// or when the heap is exhausted.
uint8_t* dspMalloc_8u(int64_t size);

// Gives back what dspMalloc_8u gave. Null is ignored.
void dspFree(void* memory);

}  // namespace orbel
