#include "speech/lp_analysis.h"

#include <algorithm>

#include "speech/silence_encoder_tables.h"

namespace orbel {
namespace {

using fixed::TwoWord;

constexpr int16_t kHighestReflection = 32750;

int64_t Energy(const int16_t* x) {
  int64_t sum = 0;
  for (int j = 0; j < kAnalysisWindow; ++j) sum += x[j] * x[j];
  return sum;
}

int32_t CorrelateAt(const int16_t* x, int lag) {
  int32_t sum = 0;
  for (int j = 0; j < kAnalysisWindow; ++j) sum += x[j] * x[j + lag];
  return sum;
}

// 1 - k * k in Q31.
TwoWord Rest(TwoWord k) {
  using namespace fixed;
  return Split(LSub(INT32_MAX, LAbs(Mpy32(k, k))));
}

// The reflection coefficient that takes away t, in Q31 before the shift.
int32_t Reflection(int32_t t, TwoWord energy) {
  using namespace fixed;
  const int32_t k = Div32(LAbs(t), energy);
  return t > 0 ? LNegate(k) : k;
}

}  // namespace

void Autocorrelate(const int16_t* speech, int16_t* windowed, Autocorrelation* out) {
  using namespace fixed;
  for (int j = 0; j < kAnalysisWindow; ++j)
    windowed[j] = static_cast<int16_t>((speech[j] * kAnalysisWeights[j] + 0x4000) >> 15);
  std::fill(windowed + kAnalysisWindow, windowed + kWindowedSamples, int16_t{0});

  // No partial sum of another lag is greater than the sum of squares, so when that
  // fits in 31 bits no step of any sum has to be held, in whatever order.
  int64_t energy = Energy(windowed);
  out->exponent = 1;
  while (2 * energy + 1 > INT32_MAX) {
    for (int j = 0; j < kAnalysisWindow; ++j) windowed[j] = static_cast<int16_t>(windowed[j] >> 2);
    out->exponent = Add(out->exponent, 4);
    energy = Energy(windowed);
  }
  const int32_t first = static_cast<int32_t>(2 * energy + 1);
  const int32_t norm = NormL(first);
  out->value[0] = Split(LShl(first, norm));
  out->exponent = Sub(out->exponent, static_cast<int16_t>(norm));
  for (int i = 1; i <= kAutocorrelationOrder; ++i)
    out->value[i] = Split(LShl(2 * CorrelateAt(windowed, i), norm));
}

void ApplyLagWindow(Autocorrelation* r) {
  using namespace fixed;
  for (int i = 1; i <= kAutocorrelationOrder; ++i)
    r->value[i] = Split(Mpy32(r->value[i], kLagWeights[i - 1]));
}

void ResetLevinson(LevinsonMemory* memory) {
  *memory = {};
  memory->filter[0] = 4096;
}

bool Levinson(const TwoWord* r, LevinsonMemory* memory, int16_t* residual) {
  using namespace fixed;
  TwoWord a[kFilterLength];  // Q27
  TwoWord next[kFilterLength];
  int16_t reflection[2];

  int32_t k = Reflection(Join(r[1]), r[0]);
  TwoWord kWords = Split(k);
  reflection[0] = kWords.h;
  a[1] = Split(k >> 4);
  int32_t t = Mpy32(r[0], Rest(kWords));
  int32_t exponent = NormL(t);  // of the energy left
  TwoWord energy = Split(LShl(t, exponent));

  for (int i = 2; i <= kLpOrder; ++i) {
    t = 0;
    for (int j = 1; j < i; ++j) t = LAdd(t, Mpy32(r[j], a[i - j]));
    t = LAdd(LShl(t, 4), Join(r[i]));
    k = LShl(Reflection(t, energy), exponent);
    kWords = Split(k);
    if (i == 2) reflection[1] = kWords.h;
    if (Abs(kWords.h) > kHighestReflection) return false;
    for (int j = 1; j < i; ++j) next[j] = Split(LAdd(Mpy32(kWords, a[i - j]), Join(a[j])));
    next[i] = Split(k >> 4);
    std::copy(next + 1, next + i + 1, a + 1);
    t = Mpy32(energy, Rest(kWords));
    const int32_t norm = NormL(t);
    energy = Split(LShl(t, norm));
    exponent += norm;
  }

  if (residual != nullptr) *residual = Shr(energy.h, exponent);
  memory->filter[0] = 4096;
  for (int i = 1; i <= kLpOrder; ++i) memory->filter[i] = Round(LShl(Join(a[i]), 1));
  std::copy(reflection, reflection + 2, memory->reflection);
  return true;
}

}  // namespace orbel
