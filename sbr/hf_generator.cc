#include "sbr/hf_generator.h"

#include <algorithm>

#include "dsp/primitives.h"
#include "sbr/low_power.h"

namespace orbel {
namespace {

// By the inverse filtering mode of the frame before and that of this one.
constexpr float kChirpTarget[4][4] = {{0.0F, 0.6F, 0.9F, 0.98F},
                                      {0.6F, 0.75F, 0.9F, 0.98F},
                                      {0.0F, 0.75F, 0.9F, 0.98F},
                                      {0.0F, 0.75F, 0.9F, 0.98F}};
constexpr float kChirpLeast = 0.015625F;

// Whether any band is filtered at all.
bool UpdateChirp(SbrElement* element, int32_t channel, int32_t noiseBands, float* bwArray) {
  bool any = false;
  for (int32_t g = 0; g < noiseBands; ++g) {
    const int32_t mode = element->bs_invf_mode[channel][g] & 3;
    const float target = kChirpTarget[element->prevInvfMode[channel][g] & 3][mode];
    const float old = bwArray[g];
    const float now =
        target < old ? 0.75F * target + 0.25F * old : 0.90625F * target + 0.09375F * old;
    bwArray[g] = now < kChirpLeast ? 0.0F : now;
    element->prevInvfMode[channel][g] = mode;
    any |= bwArray[g] != 0;
  }
  return any;
}

// Where the lowest patch begins; bands below it need no prediction.
int32_t FirstSource(const SbrElement& element, int32_t patches) {
  int32_t first = kQmfCoreBands - 1;
  for (int32_t p = 0; p < patches; ++p) first = std::min(first, element.patchStartSubband[p]);
  return std::max(first, 0);
}

// One patch: `bands` bands from `source` on become those from place `place` on. Its
// rows are written in fours, so what lies behind it is written later.
struct Patch {
  int32_t source, place, bands;
};

void ShapePatch(const SbrElement& element, const Patch& patch, const float* bwArray,
                int32_t noiseBands, bool complex, SbrWork* work) {
  int32_t g = 0;
  for (int32_t x = 0; x < patch.bands; ++x) {
    const int32_t m = patch.place + x;
    const int32_t s = patch.source + x;
    while (g + 1 < noiseBands && element.kx + m >= element.f_TableNoise[g + 1]) ++g;
    const float b = bwArray[g];
    work->shaped[0][m] = b * work->alpha[0][s];
    if (complex) {
      work->shaped[1][m] = b * work->alpha[1][s];
      work->shaped[2][m] = b * b * work->alpha[2][s];
      work->shaped[3][m] = b * b * work->alpha[3][s];
    } else {
      work->shaped[1][m] = b * b * work->alpha[1][s];
    }
  }
}

void GeneratePatch(const Patch& patch, const SbrChannel& state, bool complex, SbrWork* work) {
  for (int32_t l = 0; l < work->envelopes; ++l) {
    const int32_t slot = work->border[l];
    const int32_t slots = work->border[l + 1] - slot;
    if (slots <= 0) continue;
    float* energy = work->energy[l] + patch.place;
    if (complex) {
      dspSbrGenerate_32fc(&state.lowReal[slot][patch.source], &state.lowImag[slot][patch.source],
                          &work->shaped[0][patch.place], patch.bands, slots,
                          &work->highReal[slot][patch.place], &work->highImag[slot][patch.place],
                          energy);
    } else {
      dspSbrGenerate_32f(&state.lowReal[slot][patch.source], &work->shaped[0][patch.place],
                         patch.bands, slots, &work->highReal[slot][patch.place], energy);
    }
  }
}

// Bands that no patch reaches are silent.
void ClearBehind(int32_t place, int32_t bands, bool complex, SbrWork* work) {
  if (place >= bands) return;
  for (int32_t slot = 0; slot < kSbrSlots; ++slot) {
    std::fill(&work->highReal[slot][place], &work->highReal[slot][bands], 0.0F);
    if (complex) std::fill(&work->highImag[slot][place], &work->highImag[slot][bands], 0.0F);
  }
  for (float* energy : work->energy) std::fill(energy + place, energy + bands, 0.0F);
}

}  // namespace

void SbrHfGenerate(SbrElement* element, int32_t channel, SbrChannel* state, int32_t sbrMode,
                   SbrWork* work) {
  const bool complex = sbrMode != kSbrReal;
  const int32_t noiseBands = std::clamp(element->N_Q, 1, kSbrNoiseBands);
  const int32_t k0 = std::clamp(element->k0, 1, kQmfCoreBands);
  const int32_t patches = std::clamp(element->numPatches, 0, kSbrPatches);
  const bool filtered = UpdateChirp(element, channel, noiseBands, state->bwArray);

  float degree[kQmfBands] = {};
  if (complex && filtered) {
    const int32_t first = FirstSource(*element, patches);
    if (first < k0) {
      dspSbrPredict_32fc(&state->lowReal[0][first], &state->lowImag[0][first], k0 - first,
                         &work->alpha[0][first]);
    }
  } else if (!complex) {
    dspSbrPredict_32f(state->lowReal[0], k0, work->alpha[0]);
    float* reflection = work->alpha[2];
    reflection[0] = 0;
    SbrAliasingDegree(reflection, k0, degree);
    std::fill_n(work->degree, kQmfBands, 0.0F);
  }
  if (complex && !filtered) std::fill_n(work->alpha[0], 4 * kQmfBands, 0.0F);

  int32_t place = 0;
  for (int32_t p = 0; p < patches && place < element->M; ++p) {
    const int32_t bands = std::min(element->patchNumSubbands[p], element->M - place);
    const Patch patch = {element->patchStartSubband[p], place, bands};
    if (bands <= 0 || patch.source < 0 || patch.source + bands > k0) break;
    ShapePatch(*element, patch, state->bwArray, noiseBands, complex, work);
    GeneratePatch(patch, *state, complex, work);
    if (!complex) {
      std::copy(degree + patch.source + 1, degree + patch.source + bands, work->degree + place + 1);
    }
    place += bands;
  }
  ClearBehind(place, element->M, complex, work);
}

}  // namespace orbel
