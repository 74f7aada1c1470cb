// The rows of the primitives: dspXRow[level] is the variant of dspX for that
// processor level. Only the entries, tests and benchmarks look at them.
#pragma once

#include <cstdint>

#include "dsp/kernels.h"

namespace orbel {

constexpr int kDspLevels = 5;

#define DSP_DECLARE_ROW(name, params, args) extern int32_t(*const name##Row[kDspLevels]) params;
DSP_KERNELS(DSP_DECLARE_ROW)
#undef DSP_DECLARE_ROW

}  // namespace orbel
