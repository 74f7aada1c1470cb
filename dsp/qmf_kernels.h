// Primitives of the QMF banks (ISO/IEC 14496-3, subpart 4). General contracts stand
// in dsp/kernels.h.
#pragma once

#include <cstdint>

// clang-format off
#define DSP_QMF_KERNELS(X)
// clang-format on
