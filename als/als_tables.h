// Constant tables of ISO/IEC 14496-3, subpart 11.
#pragma once

#include <array>
#include <cstdint>

namespace orbel {

struct AlsCoefficientCode {
  int32_t offset;
  int32_t parameter;
};

constexpr int32_t kAlsDistributions = 16;

extern const AlsCoefficientCode kAlsCoefficientCodes[3][20];
extern const int32_t kAlsLongTermGains[16];
extern const int32_t kAlsCorrelationGains[32];
extern const int32_t kAlsTailCodes[kAlsDistributions][6];

// Falling from 16384 to 0. The first three have 129 values, those up to the eleventh
// 193, the others 257.
extern const uint16_t* const kAlsFrequencies[kAlsDistributions];

// The first place in a distribution whose frequency is below
// (i + 1) << kAlsSearchShift.
constexpr int32_t kAlsSearchShift = 8;
using AlsSearchStarts = std::array<uint8_t, (16384 >> kAlsSearchShift)>;
extern const std::array<AlsSearchStarts, kAlsDistributions> kAlsSearchStarts;

// The first two coefficients are coded on a finer scale where they are large; the
// table of scaled values is this square law. `q` is -64 to 63, the result has 20
// fraction bits.
constexpr int32_t AlsCompanded(int32_t q) { return 128 * (q + 64) * (q + 65) - 1048544; }

}  // namespace orbel
