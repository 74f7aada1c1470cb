#include "sbr/sbr_channel.h"

#include <algorithm>
#include <cstring>

#include "dsp/primitives.h"
#include "sbr/hf_adjuster.h"
#include "sbr/hf_assembler.h"
#include "sbr/hf_generator.h"
#include "sbr/ps.h"

namespace orbel {
namespace {

constexpr int32_t kCoreSamples = 1024;
// So that no product of two energies runs out of the range of floats.
constexpr float kLoudest = 0x1p24F;
constexpr int32_t kMostHighBands = 60;

void Start(SbrChannel* state) {
  if (state->started != 0) return;
  std::memset(state, 0, sizeof *state);
  state->started = 1;
  state->prevLA = -1;
}

bool IsUsable(const SbrElement& element) {
  return element.headerCount != 0 && element.sbrError == 0 && element.elementId >= 0 &&
         element.elementId <= 1 && element.kx > 0 && element.kx <= kQmfCoreBands && element.M > 0 &&
         element.M <= kMostHighBands && element.kx + element.M <= kQmfBands;
}

// The core's bands below `end`, silence above them.
void PlaceLow(const float* low, int32_t end, float* out) {
  std::memcpy(out, low, kQmfCoreBands * sizeof *out);
  std::memset(out + kQmfCoreBands, 0, (kQmfBands - kQmfCoreBands) * sizeof *out);
  for (int32_t k = end; k < kQmfCoreBands; ++k) out[k] = 0;
}

// What ran over from the frame before. The band below the border may have a sinusoid's
// share.
void PlaceOver(const float* over, int32_t kx, int32_t end, float* out) {
  for (int32_t k = kx; k < end; ++k) out[k] = over[k];
  out[kx - 1] += over[kx - 1];
  if (end < kQmfBands) out[end] = over[end];
}

void SetBorders(const SbrGrid& grid, SbrWork* work) {
  work->envelopes = std::clamp(grid.L_E, 1, kSbrEnvelopes);
  for (int32_t l = 0; l <= work->envelopes; ++l)
    work->border[l] = std::clamp(grid.t_E[l], 0, kSbrSlots / 2) * 2;
}

// The high band's borders in the frame before, in force up to `overrun`.
struct Before {
  int32_t kx, end, overrun;
};
Before BeforeOf(const SbrElement& element, int32_t channel) {
  const int32_t kx = std::clamp(element.prevKx, 1, kQmfCoreBands);
  return {kx, std::clamp(kx + element.prevM, kx, kQmfBands),
          std::clamp(element.slotOverrun[channel], 0, kSbrOverSlots)};
}

// Slots and bands that the high band is going to be written to.
struct Target {
  int32_t from, to;
  int32_t kx, end;
};

// Rows whose high band is written next: the rest of them.
void PlaceAround(int32_t from, int32_t to, int32_t end, const QmfRow* low, QmfRow* out) {
  for (int32_t slot = from; slot < to; ++slot)
    std::memcpy(out[slot], low[slot + kSbrAdjustOffset], kQmfCoreBands * sizeof(float));
  for (int32_t k = end; k < kQmfCoreBands; ++k)
    for (int32_t slot = from; slot < to; ++slot) out[slot][k] = 0;
  for (int32_t k = std::max(end, kQmfCoreBands) & ~3; k < kQmfBands; k += 4)
    for (int32_t slot = from; slot < to; ++slot) std::memset(&out[slot][k], 0, 4 * sizeof(float));
}

// The rows of one of the two parts before the high band is added: the low band, and
// what ran over. The rows of `over` that this frame runs over to are cleared.
void MergeLow(const Before& before, const Target& target, const QmfRow* low, QmfRow* over,
              QmfRow* out) {
  const int32_t from = std::clamp(target.from, before.overrun, kQmfSlots);
  const int32_t to = std::clamp(target.to, from, kQmfSlots);
  for (int32_t slot = 0; slot < kQmfSlots; ++slot) {
    if (slot == from) slot = to;
    if (slot == kQmfSlots) break;
    const bool old = slot < before.overrun;
    PlaceLow(low[slot + kSbrAdjustOffset], old ? before.kx : target.kx, out[slot]);
    if (old) PlaceOver(over[slot], before.kx, before.end, out[slot]);
  }
  PlaceAround(from, to, target.end, low, out);
  for (int32_t slot = kQmfSlots; slot < target.to; ++slot)
    std::memset(over[slot - kQmfSlots], 0, sizeof *over);
}

// Envelopes that begin before the end of those of the frame before keep to the borders
// of that frame there.
void KeepOldBorders(const Before& before, int32_t from, const QmfRow* low, QmfRow* out) {
  for (int32_t slot = from; slot < before.overrun; ++slot) {
    std::copy_n(low[slot + kSbrAdjustOffset], before.kx, out[slot]);
    std::fill(out[slot] + before.end, out[slot] + kQmfBands, 0.0F);
  }
}

// Returns the bands that may hold anything.
int32_t Replicate(SbrElement* element, int32_t channel, SbrChannel* state, int32_t sbrMode,
                  SbrWork* work) {
  const bool complex = sbrMode != kSbrReal;
  const SbrGrid& grid = element->grid[channel];
  const bool oneEnvelope = element->bs_frame_class[channel] == kFixFix && grid.L_E == 1;
  SbrDequantize(*element, channel, oneEnvelope ? 0 : element->bs_amp_res, work->E_orig,
                work->Q_orig);
  SetBorders(grid, work);
  const Before before = BeforeOf(*element, channel);
  const Target target = {work->border[0], work->border[work->envelopes], element->kx,
                         element->kx + element->M};
  MergeLow(before, target, state->lowReal, state->overReal, work->outReal[0]);
  if (complex) MergeLow(before, target, state->lowImag, state->overImag, work->outImag[0]);

  SbrHfGenerate(element, channel, state, sbrMode, work);
  SbrHfAdjust(element, channel, state, sbrMode, work);

  if (before.kx != element->kx || before.end != element->kx + element->M) {
    KeepOldBorders(before, work->border[0], state->lowReal, work->outReal[0]);
    if (complex) KeepOldBorders(before, work->border[0], state->lowImag, work->outImag[0]);
  }
  element->slotOverrun[channel] = std::max(work->border[work->envelopes] - kQmfSlots, 0);
  if (channel == element->elementId) {
    element->prevKx = element->kx;
    element->prevM = element->M;
    element->resetFlag = 0;
  }
  // The band above may have a sinusoid's share.
  const int32_t end = element->kx + element->M + 1;
  return std::min(before.overrun > 0 ? std::max(end, before.end + 1) : end, kQmfBands);
}

// The core alone.
void PassThrough(SbrElement* element, int32_t channel, const SbrChannel& state, bool complex,
                 SbrWork* work) {
  element->slotOverrun[channel] = 0;
  for (int32_t slot = 0; slot < kQmfSlots; ++slot) {
    const int32_t row = slot + kSbrAdjustOffset;
    PlaceLow(state.lowReal[row], kQmfCoreBands, work->outReal[0][slot]);
    if (complex) PlaceLow(state.lowImag[row], kQmfCoreBands, work->outImag[0][slot]);
  }
}

// The last rows of a frame are the first ones of the next.
void KeepRows(QmfRow* rows) {
  for (int32_t r = 0; r < kSbrHistoryRows; ++r)
    std::memcpy(rows[r], rows[kQmfSlots + r], kQmfCoreBands * sizeof(float));
}

}  // namespace

void SbrFrameDecode(SbrElement* element, int32_t channel, SbrChannel* state,
                    const SbrFrameContext& context, float* pcm) {
  const bool complex = context.sbrMode != kSbrReal;
  SbrWork* work = context.work;
  Start(state);
  dspBound_32f_I(kLoudest, pcm, kCoreSamples);
  KeepRows(state->lowReal);
  if (complex) KeepRows(state->lowImag);
  SbrAnalyse(&state->analysis, pcm, state->lowReal + kSbrHistoryRows,
             complex ? state->lowImag + kSbrHistoryRows : nullptr);
  int32_t used = kQmfCoreBands;
  if (IsUsable(*element))
    used = Replicate(element, channel, state, context.sbrMode, work);
  else
    PassThrough(element, channel, *state, complex, work);
  if (context.second != nullptr && element->ps != nullptr && complex) {
    Start(context.second);
    constexpr int32_t kAhead = kQmfSlots + kSbrAdjustOffset;
    static_assert(kAhead + kPsAheadRows <= kSbrRows);
    used = PsApply(element->ps, work->outReal[0], work->outImag[0], work->outReal[1],
                   work->outImag[1], state->lowReal + kAhead, state->lowImag + kAhead);
    SbrSynthesise(&context.second->synthesis, work->outReal[1], work->outImag[1], used,
                  context.downsampled, context.secondPcm);
  }
  SbrSynthesise(&state->synthesis, work->outReal[0], complex ? work->outImag[0] : nullptr, used,
                context.downsampled, pcm);
}

void SbrChannelRestart(SbrChannel* state) { state->started = 0; }

}  // namespace orbel
