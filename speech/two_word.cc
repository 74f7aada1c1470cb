#include "speech/two_word.h"

namespace orbel::fixed {
namespace {

// tablog, Q15.
constexpr int16_t kLogTable[33] = {0,     1455,  2866,  4236,  5568,  6863,  8124,  9352,  10549,
                                   11716, 12855, 13967, 15054, 16117, 17156, 18172, 19167, 20142,
                                   21097, 22033, 22951, 23852, 24735, 25603, 26455, 27291, 28113,
                                   28922, 29716, 30497, 31266, 32023, 32767};

// Between row i and the next, a Q15 of the way.
int32_t Interpolate(const int16_t* table, int32_t i, int32_t a) {
  return LMsu(table[i] * 65536, Sub(table[i], table[i + 1]), static_cast<int16_t>(a));
}

}  // namespace

int32_t Div32(int32_t n, TwoWord d) {
  const int16_t estimate = DivS(0x3FFF, d.h);
  const TwoWord error = Split(LSub(INT32_MAX, Mpy32_16(d, estimate)));
  const TwoWord inverse = Split(Mpy32_16(error, estimate));
  return LShl(Mpy32(Split(n), inverse), 2);
}

Logarithm Log2(int32_t v) {
  if (v <= 0) return {0, 0};
  const int16_t norm = NormL(v);
  v = LShl(v, norm);
  return {Sub(30, norm), Hi(Interpolate(kLogTable, (v >> 25) - 32, (v >> 10) & 0x7FFF))};
}

int16_t Root14(int32_t v) {
  int16_t root = 0;
  for (int16_t step = 16384; step >= 2; step = static_cast<int16_t>(step >> 1)) {
    const int16_t next = Add(root, step);
    if (LSub(v, LMult(next, next)) >= 0) root = next;
  }
  return root;
}

}  // namespace orbel::fixed
