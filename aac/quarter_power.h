// 2 to the power of a number of quarters, rounded once to a float: the gains of
// noise and intensity bands.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

namespace orbel {

inline float QuarterPower(int32_t quarters) {
  constexpr double kSteps[4] = {1.0, 1.1892071150027210667, 1.4142135623730950488,
                                1.6817928305074290861};
  const int32_t exponent = quarters >> 2;
  if (exponent < -1000 || exponent > 1000)
    return static_cast<float>(std::ldexp(kSteps[quarters & 3], exponent));
  const auto scale = std::bit_cast<double>(static_cast<uint64_t>(exponent + 1023) << 52);
  return static_cast<float>(kSteps[quarters & 3] * scale);
}

}  // namespace orbel
