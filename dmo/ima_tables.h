// Tables of the IMA ADPCM algorithm (IMA Digital Audio Focus and Technical
// Working Groups, Recommended Practices).
#pragma once

#include <cstdint>

namespace orbel {

inline constexpr int kImaSteps = 89;
extern const int16_t kImaStepTable[kImaSteps];
extern const int8_t kImaIndexTable[16];

}  // namespace orbel
