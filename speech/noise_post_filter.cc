#include "speech/noise_post_filter.h"

#include "dsp/primitives.h"
#include "speech/two_word.h"

namespace orbel {
namespace {

using namespace fixed;

constexpr int16_t kNumeratorWidth = 18022;    // GAMMA2_PST, 0.55
constexpr int16_t kDenominatorWidth = 22938;  // GAMMA1_PST, 0.7
constexpr int16_t kTiltFactor = 26214;        // MU, 0.8
constexpr int16_t kGainKept = 29491;          // AGC_FAC, 0.9
constexpr int16_t kGainAdded = 3276;          // AGC_FAC1
constexpr int32_t kFilterScale = 12;

// A(z / width).
void Widen(const int16_t* filter, int16_t width, int16_t* out) {
  out[0] = filter[0];
  int16_t factor = width;
  for (int i = 1; i < kLpOrder; ++i) {
    out[i] = Round(LMult(filter[i], factor));
    factor = Round(LMult(factor, width));
  }
  out[kLpOrder] = Round(LMult(filter[kLpOrder], factor));
}

// A(z) over a subframe behind ten past samples.
void Residual(const int16_t* filter, const int16_t* in, int16_t* out) {
  int32_t magnitude = 0;
  for (int j = 0; j <= kLpOrder; ++j) magnitude += Abs(filter[j]);
  if (magnitude <= INT16_MAX) {  // then no step of a sum leaves 32 bits
    int32_t sums[kSilenceSubframe] = {};
    for (int j = 0; j <= kLpOrder; ++j) {
      for (int n = 0; n < kSilenceSubframe; ++n) sums[n] += filter[j] * in[n - j];
    }
    for (int n = 0; n < kSilenceSubframe; ++n) out[n] = Round(LShl(sums[n], 16 - kFilterScale));
    return;
  }
  for (int n = 0; n < kSilenceSubframe; ++n) {
    int32_t sum = LMult(in[n], filter[0]);
    for (int j = 1; j <= kLpOrder; ++j) sum = LMac(sum, filter[j], in[n - j]);
    out[n] = Round(LShl(sum, 15 - kFilterScale));
  }
}

// How much of its last sample a signal with this impulse response is to lose.
int16_t FindTilt(const int16_t* response) {
  int32_t sum = 0;
  for (int i = 0; i + 1 < kTiltResponse; ++i) sum = LMac(sum, response[i], response[i + 1]);
  const int16_t neighbours = Hi(sum);
  if (neighbours <= 0) return 0;
  return DivS(Mult(neighbours, kTiltFactor), Hi(LSquares(response, kTiltResponse)));
}

// Energy of the quartered samples.
int32_t QuarterEnergy(const int16_t* x) {
  int64_t sum = 0;
  for (int i = 0; i < kSilenceSubframe; ++i) sum += 2 * (x[i] >> 2) * (x[i] >> 2);
  return Hold32(sum);
}

// Brings the level of `out` sample by sample towards that of `in`.
void ControlGain(const int16_t* in, int16_t* out, int16_t* gain) {
  const int32_t energyOut = QuarterEnergy(out);
  if (energyOut == 0) {
    *gain = 0;
    return;
  }
  int32_t exponent = NormL(energyOut) - 1;
  const int16_t mantissaOut = Round(LShl(energyOut, exponent));
  int16_t added = 0;
  const int32_t energyIn = QuarterEnergy(in);
  if (energyIn != 0) {
    const int32_t norm = NormL(energyIn);
    const int16_t mantissaIn = Round(LShl(energyIn, norm));
    exponent -= norm;
    const int32_t ratio = LShr(LShl(DivS(mantissaOut, mantissaIn), 7), exponent);
    added = Mult(Round(LShl(InvSqrt(ratio), 9)), kGainAdded);
  }
  for (int i = 0; i < kSilenceSubframe; ++i) {
    *gain = Add(Mult(*gain, kGainKept), added);
    out[i] = Hi(LShl(LMult(out[i], *gain), 3));
  }
}

}  // namespace

void ResetNoisePostFilter(NoisePostFilterState* state) {
  *state = {};
  state->gain = 4096;
}

void RunNoisePostFilter(NoisePostFilterState* state, NoisePostFilterWork* work,
                        const int16_t* filter, const int16_t* in, int16_t* out) {
  static constexpr int16_t kNothing[kLpOrder] = {};
  dspZero_16s(work->numerator, kTiltResponse);
  Widen(filter, kNumeratorWidth, work->numerator);
  Widen(filter, kDenominatorWidth, work->denominator);
  Residual(work->numerator, in, work->signal);

  dspSynthesis_16s(work->denominator, work->numerator, work->response, kTiltResponse, kFilterScale,
                   kNothing);
  const int16_t tilt = FindTilt(work->response);
  int16_t last = state->tilt;
  for (int16_t& sample : work->signal) {
    const int16_t unfiltered = sample;
    sample = Sub(sample, Mult(tilt, last));
    last = unfiltered;
  }
  state->tilt = last;

  dspSynthesis_16s(work->denominator, work->signal, out, kSilenceSubframe, kFilterScale,
                   state->synthesis);
  dspCopy_16s(out + kSilenceSubframe - kLpOrder, state->synthesis, kLpOrder);
  ControlGain(in, out, &state->gain);
}

}  // namespace orbel
