#include "speech/pitch_search.h"

#include <algorithm>

#include "dsp/norm.h"

namespace orbel {
namespace {

constexpr int32_t kEnergyFloor = 250;

// mantissa * 2^-exponent, the mantissa normalised to 31 bits and a sign.
struct Normalised {
  int32_t mantissa;
  int32_t exponent;
};

Normalised Normalise(int32_t value) {
  if (value == 0) return {0, 0};
  if (value == -1) return {INT32_MIN, 31};
  const int32_t exponent = Norm(value < 0 ? ~value : value);
  return {static_cast<int32_t>(static_cast<uint32_t>(value) << exponent), exponent};
}

struct Candidate {
  int32_t energy;  // high half of the mantissa
  int32_t energyExponent;
  int32_t square;  // of the correlation's high half, with the correlation's sign
  int32_t correlationExponent;
};

Candidate MakeCandidate(int32_t correlation, int32_t energy) {
  const Normalised c = Normalise(correlation);
  const Normalised e = Normalise(energy);
  const int32_t high = c.mantissa >> 16;
  const int32_t square = (high * high) >> 16;
  return {e.mantissa >> 16, e.exponent, correlation < 0 ? -square : square, c.exponent};
}

// Cross-multiplied, so that there is no division.
bool Beats(const Candidate& best, const Candidate& next) {
  int32_t a = best.energy * next.square;
  int32_t b = next.energy * best.square;
  const int32_t x = best.energyExponent + 2 * next.correlationExponent;
  const int32_t y = next.energyExponent + 2 * best.correlationExponent;
  if (x >= y) {
    a >>= (x - y) & 31;
  } else {
    b >>= (y - x) & 31;
  }
  return a >= b;
}

// Square of a sample, which stays below 2^31 at any scale.
int32_t Square(int32_t sample, int32_t shift) { return (sample * sample) >> shift; }

// Keeps all sums of the search inside 32 bits. The samples are those at the
// searched step only.
int32_t ChooseShift(const int16_t* target, int32_t targetCount, const int16_t* range,
                    int32_t rangeCount) {
  int32_t targetEnergy = 65536;
  for (int32_t i = 0; i < targetCount; ++i) targetEnergy += Square(target[i], 7);
  int32_t rangeEnergy = 65536;
  for (int32_t i = 0; i < rangeCount; ++i) rangeEnergy += Square(range[i], 7);
  const int32_t product = (rangeEnergy >> 16) * (targetEnergy >> 16);
  const int32_t forCorrelation = (std::max(15 - Norm(product), 0) + 1) / 2;
  const int32_t forEnergy = 7 - Norm(rangeEnergy);
  return std::max(forCorrelation, forEnergy) & 31;
}

// The search on consecutive samples; lags count in them. window is the samples
// matched and range holds window + lags + 1 of them.
int32_t BestLag(const int16_t* target, const int16_t* range, int32_t window, int32_t lags) {
  const int32_t shift = ChooseShift(target, window, range, window + lags + 1);
  const int32_t energyFloor = kEnergyFloor >> shift;

  // The sums fit by the choice of the shift; unsigned all the same, so that
  // nothing depends on it.
  const auto correlate = [&](const int16_t* r) {
    uint32_t sum = 0;
    for (int32_t i = 0; i < window; ++i) sum += static_cast<uint32_t>((target[i] * r[i]) >> shift);
    return static_cast<int32_t>(sum);
  };
  uint32_t energy = 0;
  for (int32_t i = 0; i < window; ++i) energy += static_cast<uint32_t>(Square(range[i], shift));
  const auto flooredEnergy = [&] { return std::max(static_cast<int32_t>(energy), energyFloor); };

  Candidate best = MakeCandidate(correlate(range), flooredEnergy());
  int32_t bestLag = 0;
  for (int32_t lag = 1; lag <= lags; ++lag) {
    energy += static_cast<uint32_t>(Square(range[lag - 1 + window], shift));
    energy -= static_cast<uint32_t>(Square(range[lag - 1], shift));
    const Candidate next = MakeCandidate(correlate(range + lag), flooredEnergy());
    if (Beats(best, next)) {
      best = next;
      bestLag = lag;
    }
  }
  return bestLag;
}

}  // namespace

int32_t FindPitch(const ConcealmentState* state, int32_t low, int32_t high, int32_t step) {
  low = std::max(low, 0);
  high = std::min(high, kPitchLags);
  if (low + step > high) return low;
  const int16_t* const target = state->pitchBuffer + kConcealHistory - kPitchWindow;
  const int16_t* const range = target - kConcealLongestPitch + low;
  const int32_t lags = (high - low) / step;
  if (step == 1) return low + BestLag(target, range, kPitchWindow, lags);

  // Every second sample, laid side by side.
  constexpr int32_t kHalfWindow = kPitchWindow / 2;
  int16_t halfTarget[kHalfWindow];
  int16_t halfRange[kHalfWindow + kPitchLags / 2 + 1];
  for (int32_t i = 0; i < kHalfWindow; ++i) halfTarget[i] = target[2 * i];
  for (int32_t i = 0; i <= kHalfWindow + lags; ++i) halfRange[i] = range[2 * i];
  return low + 2 * BestLag(halfTarget, halfRange, kHalfWindow, lags);
}

}  // namespace orbel
