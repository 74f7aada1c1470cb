// The entries of the primitives: what the rest of the library calls. Each
// forwards to the variant of the processor level in force; names, parameters
// and contracts stand in dsp/kernels.h, results in dsp/status.h.
#pragma once

#include "dsp/g726_state.h"
#include "dsp/kernels.h"
#include "dsp/status.h"

namespace orbel {

#define DSP_DECLARE_ENTRY(name, params, args) int32_t name params;
DSP_KERNELS(DSP_DECLARE_ENTRY)
#undef DSP_DECLARE_ENTRY

}  // namespace orbel
