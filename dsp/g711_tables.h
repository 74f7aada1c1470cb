// Decoder output values of ITU-T G.711, tables 1a to 2b, by the code byte as it
// stands on the wire, at 16-bit scale.
#pragma once

#include <cstdint>

namespace orbel {

// A-law: (2m + 33) << (e + 2), 16m + 8 for e = 0, where e and m are the segment and
// the four low bits of the code after the inversion of its even bits.
extern const int16_t kALawExpansion[256];

// mu-law: ((2m + 33) << (e + 2)) - 132 of the inverted code; both zeros give 0.
extern const int16_t kMuLawExpansion[256];

}  // namespace orbel
