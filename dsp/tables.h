// Tables that the kernels of every level read.
#pragma once

#include <cstdint>

namespace orbel {

// ITU-T G.711: decoder output values at 16-bit scale, by code.
extern const int16_t kALawExpansion[256];
extern const int16_t kMuLawExpansion[256];

// tablog of ITU-T G.729: log2(1 + i/32), 15 fraction bits.
extern const int16_t kLogTable[33];

}  // namespace orbel
