// The frequency band tables of band replication (ISO/IEC 14496-3, subpart 4), in
// integer arithmetic, so that the borders are the same everywhere.
#pragma once

#include <cstdint>

#include "sbr/sbr_element.h"

namespace orbel {

// All tables from the header fields and the sampling index: 0, or -13 when there
// are no such tables; some may be rebuilt then.
int32_t SbrBuildTables(SbrElement* element);

}  // namespace orbel
