// State of the G.726 coder and decoder (ITU-T G.726), in a form made for speed: the
// eight products of the predictor lie side by side as vector lanes.
//
// Plain memory that a caller places where it likes and may copy. Only the Init
// primitives make a state; a state that none of them made is refused by its mode.
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
  int16_t coefficients[8];  // B1..B6, A1, A2; 14 fraction bits
  int16_t delayed[8];       // DQ1..DQ6, SR1, SR2 as short floats, see below
  int32_t pk1, pk2;         // 0 or 1
  int32_t yu, yl;           // fast and slow scale factor, 9 and 15 fraction bits
  int32_t dms, dml;         // short and long average of F(I), 9 and 11 fraction bits
  int32_t ap;               // speed control, 8 fraction bits
  int32_t td;               // tone detected, 0 or 1
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
