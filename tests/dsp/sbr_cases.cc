#include "dsp/family_cases.h"

namespace orbel {

std::span<const FamilyCase> SbrCases() { return {}; }

}  // namespace orbel
