// Primitives of parametric stereo (ISO/IEC 14496-3, subpart 8). General contracts
// stand in dsp/kernels.h.
#pragma once

#include <cstdint>

// clang-format off
#define DSP_PS_KERNELS(X)
// clang-format on
