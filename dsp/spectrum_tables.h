// Constants of the dequantiser (ISO/IEC 14496-3, subpart 4).
#pragma once

#include <cstdint>

namespace orbel {

// sign(x) * |x|^(4/3) for x from -8192 to 8191, the largest values of a conforming
// stream, each rounded to nearest: of[x + kPower43Middle].
constexpr int32_t kPower43Middle = 8192;
struct Power43Table {
  float of[2 * kPower43Middle];
};
extern const Power43Table kPower43;

// 2^(i/4).
extern const double kQuarterPowers[4];

}  // namespace orbel
