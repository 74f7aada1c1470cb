// The window and the rotations of the QMF banks, for kernels and tests.
#pragma once

namespace orbel {

// Coefficients c[0] to c[639] of the QMF bank window, ISO/IEC 14496-3, subpart 4,
// table 4.A.87.
extern const double kQmfWindow[640];

// What the kernels read, made once when the library loads. The windows carry a
// quarter, which is a power of two, and stand in the order in which they are used,
// in vectors of four; the rotations are vectors of four equal cosines and four equal
// sines.
struct DspQmfTables {
  // For each four of the 64 sums, highest n first within a vector: taps 0 to 4.
  alignas(16) float analysis[16][5][4];
  // For each four samples: taps 0 to 9. The 32-band bank takes every second one.
  alignas(16) float synthesis64[16][10][4];
  alignas(16) float synthesis32[8][10][4];

  // The 32-point transform between its passes: for m below 8 and s below 4 by
  // -pi m (4 s + 1) / 64.
  alignas(16) float middle[8][4][8];
  // Behind it, for band k or for sample n; dsp/qmf.inl has the reasons. The synthesis
  // carries a factor of -1/2.
  alignas(16) float analysisLast[32][8];
  alignas(16) float synthesis64Last[64][8];
  alignas(16) float synthesis32Last[32][8];

  // Cosine transforms of the fourth kind with N points: by -pi (n + 1/8) / N for n
  // below N / 2.
  alignas(16) float cosine32[16][8];
  alignas(16) float cosine16[8][8];
  alignas(16) float cosine8[4][8];
  alignas(16) float cosine4[2][8];
};

extern DspQmfTables dspQmfTables;

}  // namespace orbel
