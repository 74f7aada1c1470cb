// ITU-T G.729's two-word arithmetic: 32-bit values in two 16-bit words, with
// products of 31 significant bits, and its logarithm, power and roots by table.
#pragma once

#include <cstdint>

#include "speech/basic_operations.h"

namespace orbel::fixed {

// h * 65536 + 2 * l, l in 0 to 32767.
struct TwoWord {
  int16_t h, l;
};

// The lowest bit of the value is lost.
constexpr TwoWord Split(int32_t v) { return {Hi(v), static_cast<int16_t>((v >> 1) & 0x7FFF)}; }

constexpr int32_t Join(TwoWord v) { return LMac(v.h * 65536, v.l, 1); }

// Products in Q31 of two Q31, and of a Q31 and a Q15.
constexpr int32_t Mpy32(TwoWord a, TwoWord b) {
  return LMac(LMac(LMult(a.h, b.h), Mult(a.h, b.l), 1), Mult(a.l, b.h), 1);
}

constexpr int32_t Mpy32_16(TwoWord a, int16_t b) { return LMac(LMult(a.h, b), Mult(a.l, b), 1); }

// n / d in Q31 for 0 <= n < d, with d normalised (d.h at least 0x4000).
int32_t Div32(int32_t n, TwoWord d);

struct Logarithm {
  int16_t exponent;
  int16_t fraction;  // Q15
};

// Base 2. 0 and below give (0, 0).
Logarithm Log2(int32_t v);

// The root of v / 2, rounded down to an even number, for v of 0 and above.
int16_t Root14(int32_t v);

inline constexpr int16_t kInvSqrtTable[49] = {
    32767, 31790, 30894, 30070, 29309, 28602, 27945, 27330, 26755, 26214, 25705, 25225, 24770,
    24339, 23930, 23541, 23170, 22817, 22479, 22155, 21845, 21548, 21263, 20988, 20724, 20470,
    20225, 19988, 19760, 19539, 19326, 19119, 18919, 18725, 18536, 18354, 18176, 18004, 17837,
    17674, 17515, 17361, 17211, 17064, 16921, 16782, 16646, 16514, 16384,
};

// 1 / sqrt(v) in Q30; 0 and below give 0x3FFFFFFF.
constexpr int32_t InvSqrt(int32_t v) {
  if (v <= 0) return 0x3FFFFFFF;
  const int32_t norm = NormL(v);
  v = LShl(v, norm);
  int32_t shift = 30 - norm;
  if ((shift & 1) == 0) v >>= 1;
  const int32_t i = (v >> 25) - 16;
  const int16_t a = static_cast<int16_t>((v >> 10) & 0x7FFF);
  const int16_t step = Sub(kInvSqrtTable[i], kInvSqrtTable[i + 1]);
  return LMsu(kInvSqrtTable[i] * 65536, step, a) >> ((shift >> 1) + 1);
}

}  // namespace orbel::fixed
