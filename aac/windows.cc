#include "aac/windows.h"

#include <cmath>
#include <numbers>

namespace orbel {
namespace {

constexpr double kPi = std::numbers::pi;

// The modified Bessel function of the first kind, order 0.
double BesselI0(double x) {
  double sum = 1;
  double term = 1;
  for (int k = 1; term > sum * 1e-17; ++k) {
    const double factor = x / (2 * k);
    term *= factor * factor;
    sum += term;
  }
  return sum;
}

template <int half>
void FillSine(float (&rising)[half]) {
  for (int n = 0; n < half; ++n) {
    rising[n] = static_cast<float>(std::sin(kPi / (2 * half) * (n + 0.5)));
  }
}

template <int half>
void FillKaiserBessel(float (&rising)[half], double alpha) {
  double kaiser[half + 1];  // symmetrical
  for (int p = 0; p <= half / 2; ++p) {
    const double place = 2.0 * p / half - 1;
    kaiser[p] = BesselI0(kPi * alpha * std::sqrt(1 - place * place));
    kaiser[half - p] = kaiser[p];
  }
  double total = 0;
  for (double value : kaiser) total += value;
  double sum = 0;
  for (int n = 0; n < half; ++n) {
    sum += kaiser[n];
    rising[n] = static_cast<float>(std::sqrt(sum / total));
  }
}

template <int half>
void Fill(float (&rising)[2][half], float (&falling)[2][half], double alpha) {
  FillSine(rising[0]);
  FillKaiserBessel(rising[1], alpha);
  for (int shape = 0; shape < 2; ++shape) {
    for (int n = 0; n < half; ++n) falling[shape][n] = rising[shape][half - 1 - n];
  }
}

struct MadeWindows : FilterbankWindows {
  MadeWindows() {
    Fill(longRising, longFalling, 4);
    Fill(shortRising, shortFalling, 6);
    Fill(ssrLongRising, ssrLongFalling, 4);
    Fill(ssrShortRising, ssrShortFalling, 6);
    for (int shape = 0; shape < 2; ++shape) {
      for (int n = 0; n < 1024; ++n) {
        const float gain = n < 448 ? 0.0F : n < 576 ? shortRising[shape][n - 448] : 1.0F;
        stopRising[shape][n] = gain;
        startFalling[shape][1023 - n] = gain;
      }
    }
  }
};

const MadeWindows madeWindows;

}  // namespace

const FilterbankWindows& Windows() { return madeWindows; }

}  // namespace orbel
