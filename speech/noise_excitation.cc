#include "speech/noise_excitation.h"

#include <algorithm>

#include "dsp/primitives.h"
#include "speech/two_word.h"

namespace orbel {
namespace {

using namespace fixed;

constexpr int kPulses = 4;
constexpr int16_t kLargestPulse = 5000;  // G_MAX

constexpr int16_t NextDraw(int16_t* seed) {
  *seed = Low(*seed * 31821 + 13849);
  return *seed;
}

constexpr int32_t InverseRoot(const int16_t* noise) {
  return InvSqrt(LSquares(noise, kSilenceSubframe) >> 1);
}

constexpr StoredNoise MakeStoredNoise() {
  StoredNoise stored = {};
  int16_t seed = kNoiseSeedStart;
  for (int row = 0; row < kStoredNoiseSubframes; ++row) {
    for (int draw = 0; draw < 3; ++draw) NextDraw(&seed);
    for (int16_t& sample : stored.samples[row]) {
      int32_t sum = 0;
      for (int draw = 0; draw < 12; ++draw) sum += NextDraw(&seed);
      sample = static_cast<int16_t>(sum >> 7);
    }
    stored.seed[row] = seed;
    stored.inverseRoot[row] = InverseRoot(stored.samples[row]);
  }
  return stored;
}

// What is drawn for a subframe.
struct Parameters {
  int16_t lag;           // samples
  int16_t fraction;      // of the lag: -1, 0 or 1 third
  int16_t adaptiveGain;  // Q14
  int16_t position[kPulses];
  bool plus[kPulses];
};

Parameters DrawParameters(int16_t* seed) {
  const int32_t a = NextDraw(seed);
  const int32_t b = NextDraw(seed);
  const int32_t c = NextDraw(seed);
  const auto field = [](int32_t draw, int shift, int32_t mask) {
    return static_cast<int16_t>((draw >> shift) & mask);
  };
  const auto pulse = [](int32_t step, int32_t track) {
    return static_cast<int16_t>(5 * step + track);
  };
  const auto sign = [](int32_t draw, int bit) { return (draw >> bit & 1) != 0; };
  const int16_t third = field(a, 0, 3);
  return {static_cast<int16_t>(40 + field(a, 2, 63)),
          static_cast<int16_t>(third == 3 ? 0 : third - 1),
          field(c, 0, 8191),
          {pulse(field(a, 8, 7), 0), pulse(field(a, 12, 7), 1), pulse(field(b, 0, 7), 2),
           pulse(field(b, 5, 7), 3 + field(b, 4, 1))},
          {sign(a, 11), sign(a, 15), sign(b, 3), sign(b, 8)}};
}

// inter_3l of G.729: interpolation to thirds of a sample, Q15.
constexpr int kTaps = 10;  // to each side
constexpr int16_t kInterpolation[3 * kTaps + 1] = {
    29443, 25207, 14701, 3143, -4402, -5850, -2783, 1211, 3130, 2259, 0,
    -1652, -1666, -464,  756,  1099,  550,   -245,  -634, -451, 0,    308,
    296,   78,    -120,  -165, -79,   34,    91,    70,   0};

// Excitation up to here keeps every step of the interpolation within 32 bits, also
// where it reads what it has made itself: the coefficients of no phase amount to more
// than 59398, so that this grows to 17946 at most.
constexpr int16_t kPlainExcitation = 9900;

// The excitation of `lag` and a fraction before. At the shortest lag a sample still
// reads none that is less than 30 before it.
void FetchAdaptiveVector(int16_t lag, int16_t fraction, int16_t* excitation) {
  constexpr int kNearest = 30;
  const int16_t* past = excitation - lag;
  int phase = -fraction;
  if (phase < 0) {
    phase += 3;
    --past;
  }
  int16_t taps[2 * kTaps];  // newest first
  for (int i = 0; i < kTaps; ++i) {
    taps[kTaps - 1 - i] = kInterpolation[3 - phase + 3 * i];
    taps[kTaps + i] = kInterpolation[phase + 3 * i];
  }
  int16_t largest = 0;
  for (const int16_t* x = past - kTaps; x < excitation; ++x) largest = std::max(largest, Abs(*x));
  if (largest <= kPlainExcitation) {
    for (int from = 0; from < kSilenceSubframe; from += kNearest) {
      const int count = std::min(kNearest, kSilenceSubframe - from);
      int32_t sums[kNearest] = {};
      for (int i = 0; i < 2 * kTaps; ++i) {
        const int16_t* const x = past + from + kTaps - i;
        for (int n = 0; n < count; ++n) sums[n] += x[n] * taps[i];
      }
      for (int n = 0; n < count; ++n) excitation[from + n] = Round(2 * sums[n]);
    }
    return;
  }
  for (int n = 0; n < kSilenceSubframe; ++n, ++past) {
    int32_t sum = 0;
    for (int i = 0; i < kTaps; ++i) {
      sum = LMac(sum, past[-i], taps[kTaps + i]);
      sum = LMac(sum, past[1 + i], taps[kTaps - 1 - i]);
    }
    excitation[n] = Round(sum);
  }
}

// Gaussian noise with the energy of the level.
void MakeNoise(int16_t level, int16_t* seed, int16_t* subframes, int16_t* noise) {
  int32_t inverseRoot = 0;
  if (*subframes >= 0 && *subframes < kStoredNoiseSubframes) {
    dspCopy_16s(kStoredNoise.samples[*subframes], noise, kSilenceSubframe);
    inverseRoot = kStoredNoise.inverseRoot[*subframes];
    *seed = kStoredNoise.seed[*subframes];
    ++*subframes;
  } else {
    dspGaussian_16s(seed, noise, kSilenceSubframe);
    inverseRoot = InverseRoot(noise);
  }
  const int16_t wanted = Add(level, MultR(level, 19043));  // FRAC1
  const int32_t gain = Mpy32_16(Split(inverseRoot), wanted);
  const int32_t norm = NormL(gain);
  const int16_t factor = Hi(LShl(gain, norm));
  for (int i = 0; i < kSilenceSubframe; ++i) noise[i] = ShrR(MultR(noise[i], factor), norm - 14);
}

// The signal, shifted right, at the pulses with their signs.
int16_t SumAtPulses(const Parameters& p, const int16_t* x, int32_t shift) {
  int16_t sum = 0;
  for (int k = 0; k < kPulses; ++k) {
    const int16_t sample = Shr(x[p.position[k]], shift);
    sum = p.plus[k] ? Add(sum, sample) : Sub(sum, sample);
  }
  return sum;
}

// Adds pulses of one amplitude X such that the energy becomes that of the level:
// 4 X^2 + 2 b X + En = 40 level^2, by the root of smaller magnitude. Where there
// is none the adaptive vector is dropped, and the result is false.
bool AddPulses(const Parameters& p, int16_t level, const int16_t* noise, int16_t* excitation) {
  int16_t largest = 0;
  for (int i = 0; i < kSilenceSubframe; ++i) largest = std::max(largest, Abs(excitation[i]));
  int32_t shift = largest == 0 ? 0 : std::max(0, 3 - NormS(largest));
  int64_t energy = 0;
  for (int i = 0; i < kSilenceSubframe; ++i) {
    const int32_t x = excitation[i] >> shift;
    energy += 2 * x * x;
  }
  int16_t b = Shr(SumAtPulses(p, excitation, shift), 1);
  const int32_t wanted = LMult(level, Low(LMult(level, kSilenceSubframe) >> 6));
  int32_t discriminant = LSub(LShr(wanted, 1 + 2 * shift), Hold32(energy));
  discriminant = LMac(discriminant, b, b);
  ++shift;

  const bool adaptive = discriminant >= 0;
  if (!adaptive) {
    dspCopy_16s(noise, excitation, kSilenceSubframe);
    int32_t bits = 0;
    for (int16_t position : p.position) bits |= Abs(noise[position]);
    shift = (bits & 0x4000) != 0 ? 2 : 1;
    b = SumAtPulses(p, noise, shift);
    discriminant = LShr(Mpy32_16(Split(wanted), 24576), 2 * shift - 1);  // K0
    discriminant = LMac(discriminant, b, b);
  }

  const int16_t root = Root14(discriminant);
  const int16_t positive = Sub(root, b);
  const int16_t negative = Negate(Add(b, root));
  const int16_t smaller = Abs(negative) < Abs(positive) ? negative : positive;
  int16_t amplitude = ShrR(smaller, 2 - shift);
  amplitude = std::clamp<int16_t>(amplitude, -kLargestPulse, kLargestPulse);
  for (int k = 0; k < kPulses; ++k) {
    int16_t& sample = excitation[p.position[k]];
    sample = p.plus[k] ? Add(sample, amplitude) : Sub(sample, amplitude);
  }
  return adaptive;
}

}  // namespace

constexpr StoredNoise kStoredNoise = MakeStoredNoise();

void MakeNoiseExcitation(int16_t level, int16_t* seed, int16_t* subframes, int16_t* excitation,
                         int16_t* work, NoiseSubframe made[2]) {
  for (int s = 0; s < 2; ++s, excitation += kSilenceSubframe) {
    const Parameters p = DrawParameters(seed);
    FetchAdaptiveVector(p.lag, p.fraction, excitation);
    MakeNoise(level, seed, subframes, work);
    const int16_t twiceGain = static_cast<int16_t>(2 * p.adaptiveGain);
    for (int i = 0; i < kSilenceSubframe; ++i)
      excitation[i] = Add(MultR(excitation[i], twiceGain), work[i]);
    const bool adaptive = AddPulses(p, level, work, excitation);
    made[s] = {p.lag, adaptive ? p.adaptiveGain : int16_t{0}};
  }
}

}  // namespace orbel
