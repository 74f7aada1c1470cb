#include "speech/dtx.h"

#include <algorithm>

#include "dsp/primitives.h"
#include "speech/lsp.h"
#include "speech/lsp_analysis.h"
#include "speech/sid_gain.h"
#include "speech/sid_lsf_encoder.h"

namespace orbel {
namespace {

constexpr int16_t kStartExponent = 40;
constexpr int32_t kErrorStart = 16384;
constexpr int16_t kSidDistance = 3;             // frames between descriptors, at least
constexpr int32_t kGainTolerance = 2;           // steps of the gain table
constexpr int16_t kFilterTolerance = 4855;      // current noise against the last descriptor, Q15
constexpr int16_t kStationaryTolerance = 3161;  // the longer mean against the current noise

// The sum of the rows, normalised by its first value. Returns its exponent.
int16_t SumAutocorrelation(const int16_t (*rows)[kFilterLength], const int16_t* exponents,
                           int count, int16_t* out) {
  using namespace fixed;
  const int16_t exponent = Add(*std::min_element(exponents, exponents + count), 14);
  int32_t sums[kFilterLength] = {};
  for (int row = 0; row < count; ++row) {
    const int16_t shift = Sub(exponent, exponents[row]);
    for (int i = 0; i < kFilterLength; ++i) sums[i] = LAdd(sums[i], LShl(rows[row][i], shift));
  }
  const int16_t norm = NormL(sums[0]);
  for (int i = 0; i < kFilterLength; ++i) out[i] = Hi(LShl(sums[i], norm));
  return Add(exponent, Sub(norm, 16));
}

template <int kRows>
void Push(const int16_t* row, int16_t exponent, AutocorrelationRows<kRows>* rows) {
  for (int i = kRows - 1; i > 0; --i) {
    std::copy(rows->row[i - 1], rows->row[i - 1] + kFilterLength, rows->row[i]);
    rows->exponent[i] = rows->exponent[i - 1];
  }
  std::copy(row, row + kFilterLength, rows->row[0]);
  rows->exponent[0] = exponent;
}

template <int kRows>
int16_t Sum(const AutocorrelationRows<kRows>& rows, int16_t* out) {
  return SumAutocorrelation(rows.row, rows.exponent, kRows, out);
}

void PushSum(DtxState* state) {
  int16_t sum[kFilterLength];
  const int16_t exponent = Sum(state->frames, sum);
  Push(sum, exponent, &state->sums);
}

// The filter of an autocorrelation, or the last good one.
void MakeFilter(const int16_t* r, LevinsonMemory* lastGood, int16_t* filter,
                int16_t* residual = nullptr) {
  fixed::TwoWord words[kFilterLength];
  for (int i = 0; i < kFilterLength; ++i) words[i] = {r[i], 0};
  Levinson(words, lastGood, residual);
  std::copy(lastGood->filter, lastGood->filter + kFilterLength, filter);
}

FilterCorrelation Correlate(const int16_t* filter) {
  using namespace fixed;
  FilterCorrelation out;
  for (int lag = 0; lag < kFilterLength; ++lag) {
    int32_t sum = 0;
    for (int i = 0; i + lag < kFilterLength; ++i) sum = LMac(sum, filter[i], filter[i + lag]);
    if (lag == 0) out.exponent = NormL(sum);
    out.value[lag] = Round(LShl(sum, out.exponent));
  }
  return out;
}

// Whether a filter leaves more of the signal with autocorrelation r than its energy
// r[0] and the tolerance.
bool Differs(const FilterCorrelation& filter, const int16_t* r, int16_t tolerance) {
  using namespace fixed;
  int shifts[2] = {0, 0};  // of the filter's values and of r, raised by turns
  int32_t left;
  for (int turn = 1;; turn ^= 1) {
    bool overflow = false;
    left = LMult(filter.value[0] >> shifts[0], r[0] >> shifts[1], &overflow) >> 1;
    for (int i = 1; i < kFilterLength; ++i)
      left = LMac(left, filter.value[i] >> shifts[0], r[i] >> shifts[1], &overflow);
    if (!overflow) break;
    ++shifts[turn];
  }
  const int32_t bound = r[0] + MultR(r[0], tolerance);
  return LSub(left, LShl(bound, filter.exponent + 9 - shifts[0] - shifts[1])) > 0;
}

// The filter that a descriptor gives: of the last six frames when they are like the
// present, otherwise of the present. Its correlation becomes the reference.
void ChooseFilter(const int16_t* current, LevinsonMemory* lastGood, DtxState* state,
                  int16_t* filter) {
  int16_t sum[kFilterLength];
  Sum(state->sums, sum);
  if (sum[0] == 0) {
    std::fill(filter, filter + kFilterLength, int16_t{0});
    filter[0] = 4096;
  } else {
    MakeFilter(sum, lastGood, filter);
  }
  state->reference = Correlate(filter);
  if (!Differs(state->reference, current, kStationaryTolerance)) return;
  std::copy(state->filter, state->filter + kFilterLength, filter);
  state->reference = Correlate(filter);
}

// What errors in the past excitation may have grown to through the adaptive part.
void RecordExcitationError(const NoiseSubframe& subframe, int32_t* errors) {
  using namespace fixed;
  constexpr int kZone = 40;  // tab_zone: lags of a zone
  int32_t worst = -1;
  const int last = (subframe.lag - 1) / kZone;
  for (int zone = std::max(subframe.lag - kZone, 0) / kZone; zone <= last; ++zone) {
    const int32_t grown = LShl(Mpy32_16(Split(errors[zone]), subframe.adaptiveGain), 1);
    worst = std::max(worst, LAdd(kErrorStart, grown));
  }
  std::copy_backward(errors, errors + 3, errors + 4);
  errors[0] = worst;
}

// The noise that the decoder will hear, as far as its own draws go.
void MakeExcitation(int16_t* work, DtxState* state) {
  int16_t* const frame = state->excitation + kPastExcitation;
  NoiseSubframe made[2] = {{kSilenceSubframe, 0}, {kSilenceSubframe, 0}};
  if (state->currentGain == 0) {
    std::fill(frame, frame + kSilenceFrame, int16_t{0});
  } else {
    MakeNoiseExcitation(state->currentGain, &state->noiseSeed, &state->noiseSubframes, frame, work,
                        made);
  }
  for (const NoiseSubframe& subframe : made)
    RecordExcitationError(subframe, state->excitationErrors);
}

void MoveExcitation(DtxState* state) {
  std::copy(state->excitation + kSilenceFrame, state->excitation + kPastExcitation + kSilenceFrame,
            state->excitation);
}

}  // namespace

void ResetDtx(DtxState* state) {
  *state = {};
  std::fill_n(state->frames.exponent, 2, kStartExponent);
  std::fill_n(state->sums.exponent, 3, kStartExponent);
  std::fill_n(state->energyExponents, 2, kStartExponent);
  state->filter[0] = 4096;
  state->reference = Correlate(state->filter);
  state->noiseSeed = kNoiseSeedStart;
  ResetSidLsfHistory(state->lsfHistory);
  std::copy(kLspStart, kLspStart + kLpOrder, state->lspOld);
  std::copy(kLspStart, kLspStart + kLpOrder, state->lspSid);
  std::fill_n(state->excitationErrors, 4, kErrorStart);
}

void UpdateAutocorrelation(const int16_t* r, int16_t exponent, bool afterSpeech, DtxState* state) {
  Push(r, fixed::Negate(fixed::Add(16, exponent)), &state->frames);
  state->sidFrameCount ^= 1;
  if (state->sidFrameCount == 0 && afterSpeech) PushSum(state);
}

void PassSpeech(DtxState* state) {
  state->noiseSeed = kNoiseSeedStart;
  state->noiseSubframes = 0;
  MoveExcitation(state);
}

bool Dtx(bool afterSpeech, int16_t* work, LevinsonMemory* lastGood, DtxState* state,
         SidDescriptor* sid) {
  using namespace fixed;
  state->energies[1] = state->energies[0];
  state->energyExponents[1] = state->energyExponents[0];
  int16_t current[kFilterLength];
  state->energyExponents[0] = Sum(state->frames, current);
  if (current[0] == 0) {
    state->energies[0] = 0;
  } else {
    MakeFilter(current, lastGood, state->filter, &state->energies[0]);
  }

  bool send = afterSpeech;
  state->energyCount = static_cast<int16_t>(afterSpeech ? 1 : std::min(state->energyCount + 1, 2));
  const int16_t index =
      QuantiseEnergy(state->energies, state->energyExponents, state->energyCount).index;
  if (!afterSpeech) {
    const int32_t gainStep = index - state->gainIndex;
    if (Differs(state->reference, current, kFilterTolerance) || gainStep > kGainTolerance ||
        gainStep < -kGainTolerance) {
      state->changeFlag = 1;
    }
    state->frameCount = std::min<int16_t>(Add(state->frameCount, 1), kSidDistance);
    send = state->frameCount == kSidDistance && state->changeFlag != 0;
  }

  if (send) {
    state->frameCount = 0;
    state->changeFlag = 0;
    int16_t filter[kFilterLength];
    int16_t lsp[kLpOrder];
    ChooseFilter(current, lastGood, state, filter);
    FilterToLsp(filter, state->lspOld, lsp);
    sid->lsf = EncodeSidLsf(lsp, state->lsfHistory, state->lspSid);
    sid->gainIndex = state->gainIndex = index;
    state->sidGain = kSidGain[index];
  }

  state->currentGain = afterSpeech
                           ? state->sidGain
                           : Low(MultR(state->currentGain, 28672) + MultR(state->sidGain, 4096));
  MakeExcitation(work, state);
  // The decoder's mean of both goes into its filter only.
  std::copy(state->lspSid, state->lspSid + kLpOrder, state->lspOld);
  if (state->sidFrameCount == 0) PushSum(state);
  MoveExcitation(state);
  return send;
}

}  // namespace orbel
