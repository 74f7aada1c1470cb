#include "sbr/hf_assembler.h"

#include <algorithm>
#include <cstring>

#include "dsp/primitives.h"

namespace orbel {
namespace {

constexpr float kWeight[kSbrSmoothing + 1] = {0.0318305F, 0.11516383F, 0.2181695F, 0.30150282F,
                                              0.33333334F};  // the newest last
constexpr float kLeak = 0.00815F;
constexpr int32_t kMostLeaks = 16;

using History = float (*)[kQmfBands];

// The weighted levels of slot `slot` of an envelope: those before it from the history.
void Smooth(const History history, const float* now, int32_t slot, float* smoothed) {
  const float* rows[kSbrSmoothing + 1];
  for (int32_t i = 0; i <= kSbrSmoothing; ++i)
    rows[i] = slot + i < kSbrSmoothing ? history[slot + i] : now;
  for (int32_t m = 0; m < kQmfBands; ++m) {
    float sum = rows[0][m] * kWeight[0];
    for (int32_t i = 1; i <= kSbrSmoothing; ++i) sum += rows[i][m] * kWeight[i];
    smoothed[m] = sum;
  }
}

// Moves a history on by an envelope of equal slots.
void Remember(History history, const float* now, int32_t slots) {
  const int32_t moved = std::min(slots, kSbrSmoothing);
  for (int32_t i = 0; i < kSbrSmoothing; ++i) {
    const float* from = i + moved < kSbrSmoothing ? history[i + moved] : now;
    std::memcpy(history[i], from, sizeof *history);
  }
}

void ClearBehindSines(const float* sine, float* noise) {
  for (int32_t m = 0; m < kQmfBands; ++m) noise[m] = sine[m] == 0 ? noise[m] : 0.0F;
}

struct Run {
  const SbrElement& element;
  const SbrSpan& span;
  SbrChannel* state;
  SbrWork* work;
};

// Slots that have the same levels; `noise` may be null.
void WriteRows(const Run& run, int32_t from, int32_t to, const float* gain, const float* noise) {
  const int32_t M = run.element.M;
  const int32_t kx = run.element.kx;
  while (from < to) {
    const int32_t end = from < kQmfSlots ? std::min(to, kQmfSlots) : to;
    const int32_t index = run.state->noiseIndex + (from - run.span.start) * M;
    float* real = SbrRealRow(run.work, run.state, from) + kx;
    if (run.span.sbrMode == kSbrReal) {
      dspSbrAdjust_32f(run.work->highReal[from], gain, noise, index, M, end - from, real);
    } else {
      dspSbrAdjust_32fc(run.work->highReal[from], run.work->highImag[from], gain, noise, index, M,
                        end - from, real, SbrImagRow(run.work, run.state, from) + kx);
    }
    from = end;
  }
}

struct Sine {
  int32_t band;
  float level;
};

// The last band that takes shares of its neighbours: bands are gone through upwards,
// and those behind the sixteenth sinusoid's take none. The top band is gone through
// together with the one above it.
int32_t LastLeak(const SbrElement& element, const Sine* sines, int32_t count) {
  if (count < kMostLeaks) return kQmfBands - 1;
  const int32_t last = sines[kMostLeaks - 1].band;
  return last < element.kx + element.M - 1 ? last : kQmfBands - 1;
}

// Phase f turns a sinusoid by f quarters: 1, i, -1, -i.
void AddSines(const Run& run, int32_t from, int32_t to, const Sine* sines, int32_t count) {
  const int32_t lastLeak = LastLeak(run.element, sines, count);
  for (int32_t slot = from; slot < to; ++slot) {
    const int32_t phase = (run.state->sineIndex + slot - run.span.start) & 3;
    const float sign = phase < 2 ? 1.0F : -1.0F;
    float* real = SbrRealRow(run.work, run.state, slot);
    float* imag = SbrImagRow(run.work, run.state, slot);
    for (int32_t i = 0; i < count; ++i) {
      const int32_t band = sines[i].band;
      const float turned = (band & 1) != 0 ? -sines[i].level : sines[i].level;
      if ((phase & 1) == 0) {
        real[band] += sign * sines[i].level;
      } else if (run.span.sbrMode != kSbrReal) {
        imag[band] += sign * turned;
      } else {
        // Where the complex bank would have the imaginary part, the real one has a
        // tone's share in the bands beside it.
        if (band - 1 <= lastLeak) real[band - 1] -= kLeak * (sign * turned);
        if (band + 1 <= lastLeak) real[band + 1] += kLeak * (sign * turned);
      }
    }
  }
}

}  // namespace

void SbrAssemble(const SbrElement& element, const SbrSpan& span, int32_t from, int32_t to,
                 SbrLevels* levels, SbrChannel* state, SbrWork* work) {
  const Run run = {element, span, state, work};
  const History gains = state->gainHistory;
  const History noises = state->noiseHistory;
  const bool remembers = span.sbrMode != kSbrReal;
  if (remembers && state->historyFilled == 0) {
    Remember(gains, levels->gain, kSbrSmoothing);
    Remember(noises, levels->noise, kSbrSmoothing);
    state->historyFilled = 1;
  }
  alignas(16) float gain[kQmfBands];
  alignas(16) float noise[kQmfBands];
  const float* gainNow = levels->gain;
  const float* noiseNow = levels->noise;
  int32_t slot = from;
  if (levels->smoothed) {
    // From the fifth slot on, all five are alike.
    for (; slot < to; ++slot) {
      Smooth(gains, levels->gain, slot - from, gain);
      Smooth(noises, levels->noise, slot - from, noise);
      ClearBehindSines(levels->sine, noise);
      if (slot - from == kSbrSmoothing) break;
      WriteRows(run, slot, slot + 1, gain, noise);
    }
    gainNow = gain;
    noiseNow = noise;
  }
  if (remembers) {
    Remember(gains, levels->gain, to - from);
    Remember(noises, levels->noise, to - from);
  }
  if (!levels->smoothed) ClearBehindSines(levels->sine, levels->noise);
  WriteRows(run, slot, to, gainNow, levels->noisy ? noiseNow : nullptr);

  Sine sines[kQmfBands];
  int32_t count = 0;
  for (int32_t m = 0; m < element.M; ++m)
    if (levels->sine[m] != 0) sines[count++] = {element.kx + m, levels->sine[m]};
  if (count > 0) AddSines(run, from, to, sines, count);
}

}  // namespace orbel
