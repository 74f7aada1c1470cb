#include "dsp/spectrum_tables.h"

namespace orbel {
namespace {

constexpr Power43Table MakePower43() {
  Power43Table table{};
  double root = 1;  // of the number before
  for (int32_t x = 1; x <= kPower43Middle; ++x) {
    // Newton's steps for the cube root; the first numbers start farthest off.
    for (int32_t step = 0; step < (x < 32 ? 7 : 4); ++step) {
      root -= (root * root * root - x) / (3 * root * root);
    }
    const float power = static_cast<float>(x * root);
    table.of[kPower43Middle - x] = -power;
    if (x < kPower43Middle) table.of[kPower43Middle + x] = power;
  }
  return table;
}

}  // namespace

constexpr Power43Table kPower43 = MakePower43();

const double kQuarterPowers[4] = {1, 1.1892071150027210667, 1.4142135623730950488,
                                  1.6817928305074290861};

}  // namespace orbel
