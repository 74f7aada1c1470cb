// The frequency band tables of band replication (ISO/IEC 14496-3, subpart 4), in
// integer arithmetic, so that the borders are the same everywhere.
#pragma once

#include <cstdint>

#include "sbr/sbr_element.h"

namespace orbel {

// All tables from the header fields and the sampling index: 0, or -13 when there
// are no such tables; some may be rebuilt then.
//
// Afterwards the borders of each table never decrease. Bands of f_TableNoise can have
// width 0. All tables span kx to kx + M, which is at most 64; the patches fill that
// from the bottom, up to two bands short of its end.
int32_t SbrBuildTables(SbrElement* element);

// The parts, each 0 or -13. SbrDerivedTables to SbrLimiterTable take their arguments from
// the fields of the record and leave their results in it.

// Borders on a logarithmic scale from k0 to k2, in f_Master; k0 and k2 from 1 to 64.
int32_t SbrMasterTableLog(int32_t k0, int32_t k2, int32_t bs_freq_scale, int32_t bs_alter_scale,
                          int32_t* f_Master, int32_t* N_master);
// f_TableHigh, f_TableLow, f_TableNoise with their counts, kx and M.
int32_t SbrDerivedTables(SbrElement* element, int32_t k2);
int32_t SbrPatchTable(SbrElement* element);
int32_t SbrLimiterTable(SbrElement* element);

// numBands + 1 borders from `lower` up to `upper`, or almost so, each in the same ratio to the
// one before; -1 for numBands below 1.
int32_t SbrGeometricBorders(int32_t numBands, int32_t upper, int32_t lower, int32_t* borders);

}  // namespace orbel
