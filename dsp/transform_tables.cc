#include "dsp/transform_tables.h"

#include <cmath>
#include <numbers>

namespace orbel {

DspRotations<128> dspRotations2048;
DspRotations<32> dspRotations512;
DspRotations<16> dspRotations256;
DspRotations<4> dspRotations64;
alignas(16) float dspRotations32[8 * 3 * 8];

namespace {

constexpr double kPi = std::numbers::pi;

// A lane of a vector of rotations.
void Put(float* vectors, int lane, double angle, double scale) {
  vectors[lane] = static_cast<float>(scale * std::cos(angle));
  vectors[lane + 4] = static_cast<float>(scale * std::sin(angle));
}

template <int L>
void Fill(DspRotations<L>& rotations) {
  for (int m = 0; m < L / 4; ++m) {
    for (int s = 0; s < 4; ++s) {
      for (int l = 0; l < 4; ++l) {
        const double angle = -(4 * m + l + 0.125) * kPi / (8 * L) - 2 * kPi * m * s / L;
        Put(rotations.first + (4 * m + s) * 8, l, angle, 1.0);
      }
    }
  }
  for (int k = 0; k < L; ++k) {
    for (int l = 0; l < 4; ++l) {
      const double angle = -(k + 0.125) * kPi / (8 * L) - kPi * k * l / (2 * L);
      Put(rotations.last + k * 8, l, angle, -1.0 / (8 * L));
    }
  }
}

struct FillAll {
  FillAll() {
    Fill(dspRotations2048);
    Fill(dspRotations512);
    Fill(dspRotations256);
    Fill(dspRotations64);
    for (int m = 0; m < 8; ++m) {
      for (int s = 1; s < 4; ++s) {
        for (int l = 0; l < 4; ++l) {
          Put(dspRotations32 + (3 * m + s - 1) * 8, l, -2 * kPi * m * s / 32, 1.0);
        }
      }
    }
  }
} const fillAll;

}  // namespace
}  // namespace orbel
