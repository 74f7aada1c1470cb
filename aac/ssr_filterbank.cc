#include "aac/ssr_filterbank.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "aac/ssr_tables.h"
#include "aac/windows.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

using Four = float __attribute__((vector_size(16)));

constexpr int32_t kSamples = 2 * kSsrBandLength;
constexpr int32_t kShortSamples = 2 * kSsrShortLength;
constexpr int32_t kFlat = 112;
constexpr int32_t kPast = kSsrTaps - 1;

Four LoadFour(const float* from) {
  Four v;
  std::memcpy(&v, from, sizeof v);
  return v;
}

// The lines of one band; those of odd bands come from the top down.
void TakeLines(const float* spectrum, int32_t band, int32_t count, float* lines) {
  spectrum += band * count;
  if ((band & 1) != 0) {
    std::reverse_copy(spectrum, spectrum + count, lines);
  } else {
    std::copy(spectrum, spectrum + count, lines);
  }
}

void Shape(const float* window, int32_t count, float* samples) {
  for (int32_t i = 0; i < count; ++i) samples[i] *= window[i];
}

// The 512 windowed samples of a band's long window.
void LongWindow(const FilterbankSpec& spec, const float* spectrum, int32_t band,
                int32_t window_sequence, int32_t shape, int32_t prevShape, float* samples) {
  float lines[kSsrBandLength];
  TakeLines(spectrum, band, kSsrBandLength, lines);
  dspImdct_32f(lines, samples, spec.inverseLong, spec.work);
  if (window_sequence == kLongStop) {
    std::fill(samples, samples + kFlat, 0.0F);
    Shape(Windows().ssrShortRising[prevShape], kSsrShortLength, samples + kFlat);
  } else {
    Shape(Windows().ssrLongRising[prevShape], kSsrBandLength, samples);
  }
  samples += kSsrBandLength;
  if (window_sequence == kLongStart) {
    Shape(Windows().ssrShortFalling[shape], kSsrShortLength, samples + kFlat);
    std::fill(samples + kFlat + kSsrShortLength, samples + kSsrBandLength, 0.0F);
  } else {
    Shape(Windows().ssrLongFalling[shape], kSsrBandLength, samples);
  }
}

// The eight times 64 windowed samples of a band's short windows.
void ShortWindows(const FilterbankSpec& spec, const float* spectrum, int32_t band, int32_t shape,
                  int32_t prevShape, float* samples) {
  for (int32_t w = 0; w < kMaxWindows; ++w) {
    float lines[kSsrShortLength];
    TakeLines(spectrum + w * kShortLength, band, kSsrShortLength, lines);
    dspImdct_32f(lines, samples, spec.inverseShort, spec.work);
    Shape(Windows().ssrShortRising[w == 0 ? prevShape : shape], kSsrShortLength, samples);
    Shape(Windows().ssrShortFalling[shape], kSsrShortLength, samples + kSsrShortLength);
    samples += kShortSamples;
  }
}

void AddShortWindows(const float* windows, float* samples) {
  std::fill(samples, samples + kSamples, 0.0F);
  for (int32_t w = 0; w < kMaxWindows; ++w) {
    float* const to = samples + kFlat + w * kSsrShortLength;
    for (int32_t i = 0; i < kShortSamples; ++i) to[i] += windows[w * kShortSamples + i];
  }
}

// What may go into a history: broken spectra must not outlive their frame.
float Contained(float sample) { return std::fabs(sample) < 1e30F ? sample : 0.0F; }

}  // namespace

void SsrSynthesis(const float* bands, float* output) {
  // The cosines of the four bands at the odd multiples of pi / 16, in the order 3, 1,
  // 7, 5. Each phase of the output takes one of them, but for its sign.
  constexpr float kC1 = 0.980785280F, kC3 = 0.831469612F, kC5 = 0.555570233F, kC7 = 0.195090322F;
  constexpr Four kCosines[kSsrBands] = {
      {kC3, kC1, kC7, kC5}, {-kC7, kC3, -kC5, -kC1}, {-kC1, kC5, kC3, kC7}, {-kC5, kC7, -kC1, kC3}};
  Four modulated[kPast + kSsrBandLength][2];  // for even and for odd steps
  const float* in = bands - kPast * kSsrBands;
  for (Four(&pair)[2] : modulated) {
    const Four v =
        in[0] * kCosines[0] + in[1] * kCosines[1] + in[2] * kCosines[2] + in[3] * kCosines[3];
    pair[0] = __builtin_shufflevector(v, v, 0, 1, 1, 0);
    pair[1] = __builtin_shufflevector(v, v, 3, 2, 2, 3);
    in += kSsrBands;
  }
  for (int32_t k = 0; k < kSsrBandLength; k += 4) {
    const Four(*newest)[2] = modulated + kPast + k;
    Four sums[4] = {};
    for (int32_t i = 0; i < kSsrTaps; ++i) {
      const Four taps = LoadFour(kSsrSynthesis.taps[i]);
      for (int32_t t = 0; t < 4; ++t) sums[t] += taps * newest[t - i][i & 1];
    }
    std::memcpy(output, sums, sizeof sums);
    output += 16;
  }
}

void SsrFilterbank(const FilterbankSpec& spec, const float* spectrum, int32_t window_sequence,
                   int32_t windowShape, int32_t prevWindowShape, const GainControlRecord& gain,
                   GainState* state, float* ssrBuffers, float* output) {
  float* const history = ssrBuffers + kSsrOverlapLength;
  float bands[(kPast + kSsrBandLength) * kSsrBands];
  std::copy(history, history + kSsrHistoryLength, bands);
  for (int32_t band = 0; band < kSsrBands; ++band) {
    float windowed[kSamples];
    float added[kSamples];
    float* samples = windowed;
    if (window_sequence == kEightShort) {
      ShortWindows(spec, spectrum, band, windowShape, prevWindowShape, windowed);
    } else {
      LongWindow(spec, spectrum, band, window_sequence, windowShape, prevWindowShape, windowed);
    }
    if (band > 0) ApplyGainControl(gain, window_sequence, band, state, windowed);
    if (window_sequence == kEightShort) {
      AddShortWindows(windowed, added);
      samples = added;
    }
    float* const overlap = ssrBuffers + band * kSsrBandLength;
    float* to = bands + kSsrHistoryLength + band;
    for (int32_t i = 0; i < kSsrBandLength; ++i) {
      to[i * kSsrBands] = samples[i] + overlap[i];
      overlap[i] = Contained(samples[kSsrBandLength + i]);
    }
  }
  const float* const newest = bands + kSsrBandLength * kSsrBands;
  std::transform(newest, newest + kSsrHistoryLength, history, Contained);
  SsrSynthesis(bands + kSsrHistoryLength, output);
}

}  // namespace orbel
