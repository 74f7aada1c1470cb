// HF generation of band replication (ISO/IEC 14496-3, subpart 4): the high band as
// patches of the low one, their tonality lowered by linear prediction.
#pragma once

#include <cstdint>

#include "sbr/sbr_channel.h"

namespace orbel {

// From the low rows to the high ones between the outer borders in `work`, with the
// energies of each envelope and, in the real path, the degree of aliasing.
void SbrHfGenerate(SbrElement* element, int32_t channel, SbrChannel* state, int32_t sbrMode,
                   SbrWork* work);

}  // namespace orbel
