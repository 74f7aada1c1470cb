// Coefficients of the SSR synthesis filter (ISO/IEC 14496-3, subpart 4).
#pragma once

#include <cstdint>

namespace orbel {

// Q(0) to Q(47) of the prototype; Q(95 - j) = Q(j).
extern const float kSsrPrototype[48];

// The prototype in the order of the synthesis: [i][r] belongs to output phase r and
// the band samples of i steps ago. The signs are those of the cosines as used there.
struct SsrSynthesisTable {
  alignas(16) float taps[24][4];
};
extern const SsrSynthesisTable kSsrSynthesis;

}  // namespace orbel
