// Numbers of parameter bands, and the way from one to another.
#pragma once

#include <cstdint>

#include "sbr/ps_state.h"

namespace orbel {

// 10, 20 or 34, of iid_mode and icc_mode 0 to 5.
int32_t PsBandCount(int32_t mode);

// The bands with phases for so many bands with level differences.
int32_t PsPhaseCount(int32_t iidCount);

// Indices of `from` bands for `to` bands; each is 10, 20 or 34. Means are rounded
// towards zero. `mapped` may be the same as `indices`.
void PsMapIndices(const PsIndices& indices, int32_t from, int32_t to, PsIndices* mapped);

// All kinds. Phases follow the bands of the level differences.
void PsMapParameters(const PsParameters& parameters, int32_t iidCount, int32_t iccCount,
                     PsParameters* mapped);

// The same for a component of the matrices, from 20 bands to 34 or back.
void PsMapMatrix(const float* values, int32_t from, int32_t to, float* mapped);

}  // namespace orbel
