// State of the G.726 coder and decoder (ITU-T G.726), in a form made for speed:
// the six zero predictor sections lie side by side as vector lanes, and the
// floating values of the recommendation are kept as what their product needs.
//
// Plain memory that a caller places where it likes and may copy. Only the Init
// primitives make a state; a state that none of them made is refused by mode.
#pragma once

#include <cstdint>

namespace orbel {

// Mode codes of the Init primitives.
constexpr int32_t kG726Mode16k = 17;
constexpr int32_t kG726Mode24k = 22;
constexpr int32_t kG726Mode32k = 23;
constexpr int32_t kG726Mode40k = 24;

// Law codes of dspDecoderInitG726: what the 16-bit output words hold.
constexpr int32_t kG726MuLaw = 0;   // mu-law code bytes, tandem adjustment applied
constexpr int32_t kG726ALaw = 1;    // A-law code bytes, tandem adjustment applied
constexpr int32_t kG726Linear = 2;  // samples, -8192 to 8191

// The memories of the recommendation, under its names.
struct G726Adaptation {
  // B1..B6 in the upper halves (14 fraction bits there); lanes 6, 7 are of no use.
  int32_t b[8];
  // DQ1..DQ6: the value cut to 6 significant bits, times 2^-11, with DQ's sign,
  // zero also; a difference of 0 counts as one half. Lanes 6, 7 are of no use.
  float dq[8];
  int32_t a1, a2;          // 14 fraction bits
  int32_t srSign[2];       // SR1, SR2: -1 negative, 0 not
  int32_t srExponent[2];   // bit length of the magnitude
  int32_t srMantissa[2];   // its top 6 bits, 32 to 63; 32 for zero
  int32_t pk1, pk2;        // 0 or 1
  int32_t yu, yl;          // fast and slow scale factor, 9 and 15 fraction bits
  int32_t dms, dml;        // short and long average of F(I)
  int32_t ap;              // speed control
  int32_t td;              // tone detected, 0 or 1
};

struct G726EncoderState {
  int32_t mode;
  int32_t reserved;
  G726Adaptation adaptation;
};

struct G726DecoderState {
  int32_t mode;
  int32_t law;
  G726Adaptation adaptation;
};

}  // namespace orbel
