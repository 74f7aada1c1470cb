// The rotations of the transforms, for kernels only. Made once, when the library
// loads; no transform may run before.
#pragma once

#include <cstdint>

namespace orbel {

// A transform of 8 * L lines is a complex Fourier transform of 4 * L points between
// two rotations. Point 4 * m + l lies in lane l of vector m, so that a transform of
// L points runs in every lane by itself, and one of four points across them.
// Rotations are stored as four cosines and four sines.
//
//   first   for each m below L / 4, for s of 0 to 3: lane l has the angle
//           -(4 m + l + 1/8) pi / (8 L) - 2 pi m s / L
//   last    for each point k below L, for lane l: -(k + 1/8) pi / (8 L) - 2 pi k l / (4 L),
//           scaled by -1 / (8 L)
//   middle  32-point transforms only (L = 128): for each m below 8, for s of 1 to 3:
//           all lanes have -2 pi m s / 32
template <int L>
struct DspRotations {
  alignas(16) float first[L * 8];
  alignas(16) float last[L * 8];
};

extern DspRotations<128> dspRotations2048;
extern DspRotations<32> dspRotations512;
extern DspRotations<16> dspRotations256;
extern DspRotations<4> dspRotations64;
extern float dspRotations32[8 * 3 * 8];

struct DspImdctSpec {
  int32_t samples;
};

struct DspMdctFwdSpec {
  int32_t samples;
};

}  // namespace orbel
