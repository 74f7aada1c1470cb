// The tools that rebuild left and right in a channel pair: mid/side and
// intensity (ISO/IEC 14496-3, subpart 4). Spectra are in bitstream order, a
// group's windows side by side in each band.
#pragma once

#include "aac/elements.h"

namespace orbel {

void ApplyMidSide(const ChannelPairElement& pair, float* left, float* right);
void ApplyIntensity(const ChannelPairElement& pair, float* left, float* right);

}  // namespace orbel
