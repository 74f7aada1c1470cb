#include "dsp/family_cases.h"

namespace orbel {

std::span<const FamilyCase> QmfCases() { return {}; }

}  // namespace orbel
