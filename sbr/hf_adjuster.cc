#include "sbr/hf_adjuster.h"

#include <algorithm>
#include <cstring>

#include "dsp/primitives.h"
#include "sbr/hf_assembler.h"
#include "sbr/low_power.h"

namespace orbel {
namespace {

// The standard's 1, at the level of these energies, which is a 64th of its own.
constexpr float kEnergyGuard = 1.0F / 64;
constexpr float kLimiterGain[4] = {0.70795F, 1.0F, 1.41254F, 1e10F};
constexpr float kMostGain = 1e10F;
constexpr float kMostBoost = 2.5118866F;
constexpr float kLeastSum = 1e-12F;

// What an envelope's levels are made from and into, by place.
struct Bands {
  alignas(16) float target[kQmfBands];     // energy that was sent
  alignas(16) float current[kQmfBands];    // energy that is there
  alignas(16) float part[kQmfBands];       // of the target that the gain has to give
  alignas(16) float noisePart[kQmfBands];  // Q / (1 + Q)
  alignas(16) float tonePart[kQmfBands];   // 1 / (1 + Q)
};

// The noise floor in force between two borders; the last one when there is none.
int32_t FloorOf(const SbrGrid& grid, int32_t l) {
  const int32_t floors = std::clamp(grid.L_Q, 1, kSbrNoiseFloors);
  for (int32_t q = 0; q < floors; ++q)
    if (grid.t_Q[q] <= grid.t_E[l] && grid.t_E[l + 1] <= grid.t_Q[q + 1]) return q;
  return floors - 1;
}

// Borders of band k of a table, as places held inside the high band.
struct Places {
  int32_t first, end;
};
Places BandOf(const SbrElement& element, const int32_t* table, int32_t k) {
  return {std::clamp(table[k] - element.kx, 0, element.M),
          std::clamp(table[k + 1] - element.kx, 0, element.M)};
}

void SpreadNoise(const SbrElement& element, const float* Q, Bands* bands) {
  const int32_t count = std::clamp(element.N_Q, 1, kSbrNoiseBands);
  for (int32_t k = 0; k < count; ++k) {
    const Places places = BandOf(element, element.f_TableNoise, k);
    const float tone = 1.0F / (1.0F + Q[k]);
    const float noise = Q[k] / (1.0F + Q[k]);
    for (int32_t m = places.first; m < places.end; ++m) {
      bands->tonePart[m] = tone;
      bands->noisePart[m] = noise;
    }
  }
}

void SpreadEnvelope(const SbrElement& element, const float* E, bool high, bool transient,
                    const uint8_t* active, Bands* bands, float* sine) {
  const int32_t* table = high ? element.f_TableHigh : element.f_TableLow;
  const int32_t count = high ? element.N_high : element.N_low;
  for (int32_t k = 0; k < count; ++k) {
    const Places places = BandOf(element, table, k);
    bool sineBand = false;
    float sum = 0;
    for (int32_t m = places.first; m < places.end; ++m) {
      sineBand |= active[m] != 0;
      sum += bands->current[m];
    }
    const float mean = sum / static_cast<float>(std::max(places.end - places.first, 1));
    for (int32_t m = places.first; m < places.end; ++m) {
      bands->target[m] = E[k];
      bands->part[m] = sineBand ? bands->noisePart[m] : transient ? 1.0F : bands->tonePart[m];
      sine[m] = active[m] != 0 ? E[k] * bands->tonePart[m] : 0.0F;
      if (element.bs_interpol_freq == 0) bands->current[m] = mean;
    }
  }
}

// Holds the squared gains of a limiter band, then makes up for the energy that this
// takes away.
void Limit(const Bands& bands, Places places, float limiterGain, bool transient,
           SbrLevels* levels) {
  float sumE = kLeastSum;
  float sumC = kLeastSum;
  for (int32_t m = places.first; m < places.end; ++m) {
    sumE += bands.target[m];
    sumC += bands.current[m];
  }
  const float most = std::min(sumE / sumC * (limiterGain * limiterGain), kMostGain);
  float total = kLeastSum;
  for (int32_t m = places.first; m < places.end; ++m) {
    if (levels->gain[m] > most) {
      levels->noise[m] *= most / levels->gain[m];
      levels->gain[m] = most;
    }
    const float noise = levels->sine[m] == 0 && !transient ? levels->noise[m] : 0.0F;
    total += (levels->gain[m] * bands.current[m] + levels->sine[m]) + noise;
  }
  const float boost = std::min(sumE / total, kMostBoost);
  for (int32_t m = places.first; m < places.end; ++m) {
    levels->gain[m] *= boost;
    levels->noise[m] *= boost;
    levels->sine[m] *= boost;
  }
}

}  // namespace

int32_t SbrTransientEnvelope(const SbrElement& element, int32_t channel) {
  const int32_t pointer = element.bs_pointer[channel];
  switch (element.bs_frame_class[channel]) {
    case kFixVar:
    case kVarVar:
      return pointer > 0 ? element.grid[channel].L_E - pointer + 1 : -1;
    case kVarFix:
      return pointer > 1 ? pointer - 1 : -1;
    default:
      return -1;
  }
}

void SbrEnvelopeLevels(const SbrElement& element, int32_t channel, int32_t sbrMode, int32_t l,
                       bool transient, const uint8_t* active, const SbrWork& work,
                       SbrLevels* levels) {
  const SbrGrid& grid = element.grid[channel];
  const int32_t slots = work.border[l + 1] - work.border[l];
  const float mean = (sbrMode == kSbrReal ? 2.0F : 1.0F) / static_cast<float>(std::max(slots, 1));
  // The tables cover the high band, so every place in it is written.
  Bands bands;
  std::fill_n(levels->sine, kQmfBands, 0.0F);
  for (int32_t m = 0; m < element.M; ++m) bands.current[m] = work.energy[l][m] * mean;
  SpreadNoise(element, work.Q_orig[FloorOf(grid, l)], &bands);
  SpreadEnvelope(element, work.E_orig[l], grid.freqRes[l] != 0, transient, active, &bands,
                 levels->sine);
  for (int32_t m = 0; m < element.M; ++m) {
    levels->gain[m] = bands.target[m] * bands.part[m] / (bands.current[m] + kEnergyGuard);
    levels->noise[m] = bands.target[m] * bands.noisePart[m];
  }
  std::fill(levels->gain + element.M, levels->gain + kQmfBands, 0.0F);
  std::fill(levels->noise + element.M, levels->noise + kQmfBands, 0.0F);
  const float limiterGain = kLimiterGain[element.bs_limiter_gains & 3];
  const int32_t limiterBands = std::clamp(element.N_L, 1, kSbrTableSize - 1);
  for (int32_t n = 0; n < limiterBands; ++n)
    Limit(bands, BandOf(element, element.f_TableLim, n), limiterGain, transient, levels);
  if (sbrMode == kSbrReal)
    SbrReduceAliasing(work.degree, levels->sine, bands.current, element.M, levels->gain);
  dspSqrt_32f_I(levels->gain, element.M);
  dspSqrt_32f_I(levels->noise, element.M);
  dspSqrt_32f_I(levels->sine, element.M);
  levels->smoothed = sbrMode != kSbrReal && !transient && element.bs_smoothing_mode == 0;
  levels->noisy = !transient;
}

void SbrHfAdjust(SbrElement* element, int32_t channel, SbrChannel* state, int32_t sbrMode,
                 SbrWork* work) {
  SbrGrid& grid = element->grid[channel];
  const SbrChannelData& data = element->channelData[channel];
  if (element->resetFlag != 0) {
    state->historyFilled = 0;
    state->noiseIndex = 0;
  }
  uint8_t mapped[kQmfBands] = {};
  for (int32_t k = 0; k < element->N_high; ++k) {
    const int32_t band = (element->f_TableHigh[k] + element->f_TableHigh[k + 1]) >> 1;
    const int32_t m = std::clamp(band - element->kx, 0, element->M - 1);
    mapped[m] = data.bs_add_harmonic[k] != 0 ? 1 : 0;
  }
  const int32_t transientAt = SbrTransientEnvelope(*element, channel);
  const SbrSpan span = {channel, work->border[0], work->border[work->envelopes], sbrMode};
  for (int32_t l = 0; l < work->envelopes; ++l) {
    if (work->border[l + 1] <= work->border[l]) continue;
    uint8_t active[kQmfBands] = {};
    for (int32_t m = 0; m < element->M; ++m) {
      const bool before = state->sineBefore[element->kx + m] != 0;
      active[m] = mapped[m] != 0 && (l >= transientAt || before) ? 1 : 0;
    }
    const bool transient = l == transientAt || l == state->prevLA;
    SbrLevels levels;
    SbrEnvelopeLevels(*element, channel, sbrMode, l, transient, active, *work, &levels);
    SbrAssemble(*element, span, work->border[l], work->border[l + 1], &levels, state, work);
  }
  std::memset(state->sineBefore, 0, sizeof state->sineBefore);
  std::memcpy(state->sineBefore + element->kx, mapped, static_cast<size_t>(element->M));
  state->prevLA = transientAt == grid.L_E ? 0 : -1;
  grid.prevL_E = grid.L_E;
  grid.prevL_Q = grid.L_Q;
  const int32_t slots = std::max(span.end - span.start, 0);
  state->noiseIndex = (state->noiseIndex + slots * element->M) & 511;
  state->sineIndex = (state->sineIndex + slots) & 3;
}

}  // namespace orbel
