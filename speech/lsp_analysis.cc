#include "speech/lsp_analysis.h"

#include <algorithm>

#include "speech/lsp.h"
#include "speech/silence_encoder_tables.h"
#include "speech/two_word.h"

namespace orbel {
namespace {

using fixed::TwoWord;

constexpr int kPairs = kLpOrder / 2;

// Half of a symmetric polynomial whose roots lie on the unit circle, in Q11, or in Q10
// when it is `coarse`.
struct Polynomial {
  int16_t f[kPairs + 1];
};

// Sum and difference polynomials without their fixed roots. False when a coefficient
// had to be held.
bool Halve(const int16_t* a, bool coarse, Polynomial* sum, Polynomial* difference) {
  using namespace fixed;
  const int16_t half = coarse ? 8192 : 16384;
  bool overflow = false;
  sum->f[0] = difference->f[0] = coarse ? 1024 : 2048;
  for (int i = 0; i < kPairs; ++i) {
    const int32_t near = LMult(a[i + 1], half);
    const int16_t even = Hi(LMac(near, a[kLpOrder - i], half, &overflow));
    const int16_t odd = Hi(LMsu(near, a[kLpOrder - i], half, &overflow));
    sum->f[i + 1] = Sub(even, sum->f[i], &overflow);
    difference->f[i + 1] = Add(odd, difference->f[i], &overflow);
  }
  return !overflow;
}

// The polynomial at x = cos w, Q14, as a Chebyshev series.
int16_t Chebyshev(const Polynomial& p, bool coarse, int16_t x) {
  using namespace fixed;
  TwoWord b2 = {static_cast<int16_t>(coarse ? 128 : 256), 0};
  TwoWord b1 = Split(LMac(LMult(x, coarse ? 256 : 512), p.f[1], 4096));
  for (int i = 2; i < kPairs; ++i) {
    int32_t t = LShl(Mpy32_16(b1, x), 1);
    t = LMsu(LMac(t, b2.h, -32768), b2.l, 1);
    t = LMac(t, p.f[i], 4096);
    b2 = b1;
    b1 = Split(t);
  }
  int32_t t = Mpy32_16(b1, x);
  t = LMsu(LMac(t, b2.h, -32768), b2.l, 1);
  t = LMac(t, p.f[kPairs], 2048);
  return Hi(LShl(t, coarse ? 7 : 6));
}

// The row of the cosine table at or above an LSP, from `row` downwards.
int FindRow(int16_t lsp, int row) {
  while (row > 0 && kLspCosine[row] < lsp) --row;
  return row;
}

}  // namespace

void FilterToLsp(const int16_t* filter, const int16_t* old, int16_t* lsp) {
  using namespace fixed;
  Polynomial polynomials[2];
  const bool coarse = !Halve(filter, false, &polynomials[0], &polynomials[1]);
  if (coarse) Halve(filter, true, &polynomials[0], &polynomials[1]);

  int found = 0;
  int16_t low = kLspGrid[0];
  int16_t lowValue = Chebyshev(polynomials[0], coarse, low);
  for (int j = 1; j < kLspGridPoints && found < kLpOrder; ++j) {
    const Polynomial& p = polynomials[found & 1];
    int16_t high = low;
    int16_t highValue = lowValue;
    low = kLspGrid[j];
    lowValue = Chebyshev(p, coarse, low);
    if (lowValue * highValue > 0) continue;

    for (int halving = 0; halving < 2; ++halving) {
      const int16_t middle = Add(low >> 1, high >> 1);
      const int16_t value = Chebyshev(p, coarse, middle);
      if (lowValue * value <= 0) {
        high = middle;
        highValue = value;
      } else {
        low = middle;
        lowValue = value;
      }
    }
    const int16_t step = Sub(high, low);
    const int16_t rise = Sub(highValue, lowValue);
    if (rise != 0) {
      const int16_t norm = NormS(Abs(rise));
      int16_t slope = DivS(16383, Shl(Abs(rise), norm));
      slope = Low(LShr(LMult(step, slope), 20 - norm));
      if (rise < 0) slope = Negate(slope);
      low = Sub(low, Low(LShr(LMult(lowValue, slope), 11)));
    }
    lsp[found] = low;
    ++found;
    lowValue = Chebyshev(polynomials[found & 1], coarse, low);
  }
  if (found < kLpOrder) std::copy(old, old + kLpOrder, lsp);
}

void LspToLsfQ15(const int16_t* lsp, int16_t* lsf) {
  using namespace fixed;
  int row = 63;
  for (int i = kLpOrder - 1; i >= 0; --i) {
    row = FindRow(lsp[i], row);
    const int32_t t = LMult(Sub(lsp[i], kLspCosine[row]), kLspAngleSlope[row]);
    lsf[i] = Add(Round(LShl(t, 3)), static_cast<int16_t>(row << 8));
  }
}

void LspToLsfQ13(const int16_t* lsp, int16_t* lsf) {
  using namespace fixed;
  int row = 63;
  for (int i = kLpOrder - 1; i >= 0; --i) {
    row = FindRow(lsp[i], row);
    const int32_t t = LMult(kLspAngleSlope[row], Sub(lsp[i], kLspCosine[row]));
    const int16_t turn = Add(static_cast<int16_t>(row << 9), Low(LShr(t, 12)));
    lsf[i] = Mult(turn, 25736);  // pi / 4
  }
}

}  // namespace orbel
