// Tables of the spectral data of ER BSAC, for kernels (ISO/IEC 14496-3, subpart 4).
#pragma once

#include <cstdint>

namespace orbel {

constexpr int32_t kDspBsacP0Count = 1016;

extern const uint8_t dspBsacP0[kDspBsacP0Count];
extern const int16_t dspBsacZeroBase[11][4];
extern const int16_t dspBsacNonzeroBase[11][4];
extern const uint8_t dspBsacContext[16][4][8];

}  // namespace orbel
