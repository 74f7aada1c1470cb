// The variants of the primitives for one processor level. Compiled with that
// level's instruction set, so nothing with inline code may be included here but
// the kernels: the linker could give its copy to code for older processors.
#include <cstdint>

#include "dsp/kernel_tables.h"
#include "dsp/kernels.h"
#include "dsp/status.h"

namespace orbel {
namespace sse3 {
#include "dsp/all_kernels.inl"
}
}  // namespace orbel
