// The compression rules of ITU-T G.711 as a plain loop over samples, what a port to
// C would be: the yardstick for the vector form. Compiled without vectorising.
#pragma once

#include <cstdint>

namespace orbel {

void ScalarLinToALaw(const int16_t* src, uint8_t* dst, int32_t length);
void ScalarLinToMuLaw(const int16_t* src, uint8_t* dst, int32_t length);

}  // namespace orbel
