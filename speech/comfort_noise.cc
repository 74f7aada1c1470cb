#include "speech/comfort_noise.h"

#include "dsp/primitives.h"
#include "speech/lsp.h"
#include "speech/sid_gain.h"
#include "speech/speech_codec.h"
#include "speech/two_word.h"

namespace orbel {
namespace {

using namespace fixed;

constexpr int32_t kFilterScale = 12;
constexpr int32_t kHighPassScale = 13;

// All that a frame takes from the scratch.
struct FrameWork {
  int16_t filters[2][kFilterLength];
  int16_t noise[kSilenceSubframe];
  NoisePostFilterWork postFilter;
};
static_assert(sizeof(FrameWork) + kSilenceScratchAlignment <= kSilenceScratchBytes);

SidParameters ReadSid(const uint8_t* bits) {
  const int32_t word = bits[0] << 8 | bits[1];
  const auto field = [word](int shift, int32_t mask) {
    return static_cast<int16_t>(word >> shift & mask);
  };
  return {field(15, 1), field(10, 31), field(6, 15), field(1, 31)};
}

// What the frame says of the noise.
void TakeParameters(ComfortNoiseDecoderState* state) {
  if (state->frameType == FrameSid) {
    const SidParameters& sid = state->sid;
    state->sidGain = kSidGain[sid.gain];
    DecodeSidLsf({sid.mode, sid.first, sid.second}, state->lsfHistory, state->lspSid);
  } else if (state->previousFrameType > FrameSid) {
    const int32_t index = QuantiseEnergy(&state->energy, &state->energyExponent, 0).index;
    state->sidGain = kSidGain[index];
  }
}

// Runs both subframes through their filters. Where a filter saturates, the whole
// excitation gets smaller.
void Synthesise(ComfortNoiseDecoderState* state, const int16_t (*filters)[kFilterLength]) {
  for (int s = 0; s < 2; ++s) {
    const int16_t* const excitation = state->excitation + kPastExcitation + s * kSilenceSubframe;
    const int16_t* const memory = state->synthesis + s * kSilenceSubframe;
    int16_t* const out = state->synthesis + kLpOrder + s * kSilenceSubframe;
    const auto run = [&] {
      return dspSynthesis_16s(filters[s], excitation, out, kSilenceSubframe, kFilterScale, memory);
    };
    if (run() != kDspSaturated) continue;
    dspRShiftC_16s_I(2, state->excitation, kPastExcitation + kSilenceFrame);
    run();
  }
}

// Keeps the energy of the frame's excitation and moves on.
void CloseFrame(ComfortNoiseDecoderState* state) {
  int16_t* const excitation = state->excitation;
  const int32_t energy = LSquares(excitation + kPastExcitation, kSilenceFrame);
  const int16_t norm = NormL(energy);
  state->energy = Round(LShl(energy, norm));
  state->energyExponent = Sub(16, norm);
  state->previousFrameType = state->frameType;
  dspMove_16s(excitation + kSilenceFrame, excitation, kPastExcitation);
}

void WriteFrame(ComfortNoiseDecoderState* state, FrameWork* work, int16_t* pcm) {
  const int16_t* const synthesis = state->synthesis + kLpOrder;
  if (state->postFilter == 0) {
    dspAdd_16s(synthesis, synthesis, pcm, kSilenceFrame);
    return;
  }
  for (int s = 0; s < 2; ++s) {
    const int32_t at = s * kSilenceSubframe;
    RunNoisePostFilter(&state->postFilterMemory, &work->postFilter, work->filters[s],
                       synthesis + at, pcm + at);
  }
  dspHighPass_16s_I(pcm, kSilenceFrame, kHighPassScale, state->highPassMemory);
}

}  // namespace

int32_t ComfortNoiseDecoderInit(ComfortNoiseDecoderState* state, int32_t mode) {
  if (mode > 4) return -5;
  uint8_t* const scratch = state->head.scratchBase;
  *state = {};
  state->head = MakeSilenceHead(sizeof *state, kComfortNoiseDecoderKey, 0, mode, scratch);
  ResetSidLsfHistory(state->lsfHistory);
  dspCopy_16s(kLspStart, state->lspOld, kLpOrder);
  static constexpr int16_t kSidStart[kLpOrder] = {31441, 27566,  21458,  13612,  4663,
                                                  -4663, -13612, -21458, -27566, -31441};
  dspCopy_16s(kSidStart, state->lspSid, kLpOrder);
  state->noiseSeed = kNoiseSeedStart;
  state->pitchSharpening = 3277;
  state->previousFrameType = FrameSpeech;
  state->energyExponent = 1;
  state->postFilter = 1;
  ResetNoisePostFilter(&state->postFilterMemory);
  return 0;
}

int32_t ComfortNoiseDecodeFrame(ComfortNoiseDecoderState* state, const uint8_t* bits,
                                int32_t frameType, int16_t* pcm) {
  if (state == nullptr || bits == nullptr || pcm == nullptr) return -1;
  if (state->head.stateSize <= 0 || state->head.key != kComfortNoiseDecoderKey) return -1;
  const bool isSid = frameType == FrameSid || frameType == FrameSidAfterSpeech;
  if (!isSid && frameType != FrameNoData) return -1;
  FrameWork* const work = TakeScratch<FrameWork>(&state->head, 1);
  if (work == nullptr) return -1;

  state->badFrame = 0;
  state->frameType = isSid ? FrameSid : FrameNoData;
  if (isSid) state->sid = ReadSid(bits);
  dspCopy_16s(state->synthesis + kSilenceFrame, state->synthesis, kLpOrder);
  TakeParameters(state);

  const bool smooth = state->previousFrameType <= FrameSid && frameType != FrameSidAfterSpeech;
  const int16_t level =
      smooth ? Add(MultR(state->currentGain, 28672), MultR(state->sidGain, 4096)) : state->sidGain;
  int16_t* const excitation = state->excitation + kPastExcitation;
  if (level == 0) {
    dspZero_16s(excitation, kSilenceFrame);
  } else {
    NoiseSubframe made[2];
    MakeNoiseExcitation(level, &state->noiseSeed, &state->noiseSubframes, excitation, work->noise,
                        made);
  }
  InterpolateFilters(state->lspOld, state->lspSid, work->filters[0], work->filters[1]);
  state->currentGain = level;
  Synthesise(state, work->filters);
  state->pitchSharpening = 3277;
  CloseFrame(state);
  WriteFrame(state, work, pcm);
  state->head.scratchTop = state->head.scratchBase;
  return 0;
}

}  // namespace orbel
