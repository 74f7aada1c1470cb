#include "speech/silence_encoder.h"

#include <algorithm>

#include "dsp/primitives.h"
#include "speech/lsp_analysis.h"
#include "speech/speech_codec.h"

namespace orbel {
namespace {

constexpr int32_t kNewest = kAnalysisWindow - kSilenceFrame;  // where a frame enters the window
// Zero crossings are counted where the samples lie that are coded with the frame:
// speech leaves half a frame late.
constexpr int32_t kCrossingsStart = kNewest - kSilenceFrame / 2;
constexpr int32_t kHighestMode = 4;

}  // namespace

void SilenceEncoderInit(ComfortNoiseEncoderState* state, int32_t mode, int32_t vad) {
  if (state == nullptr || mode > kHighestMode) return;
  uint8_t* const scratch = state->head.scratchBase;
  *state = {};
  state->head = MakeSilenceHead(sizeof(ComfortNoiseEncoderState), kComfortNoiseEncoderKey, vad,
                                mode, scratch);
  ResetLevinson(&state->lastGood);
  ResetVoiceActivity(&state->voiceActivity);
  ResetDtx(&state->dtx);
}

int32_t SilenceEncodeFrame(ComfortNoiseEncoderState* state, const int16_t* pcm, int16_t* parameters,
                           int32_t* frameTypeOut) {
  if (state == nullptr || pcm == nullptr || parameters == nullptr || frameTypeOut == nullptr)
    return SILENCE_ERR_NULL;
  if (state->head.stateSize < 1) return SILENCE_ERR_NOT_READY;
  if (state->head.key != kComfortNoiseEncoderKey) return SILENCE_ERR_BAD_KEY;
  auto* const windowed = TakeScratch<int16_t>(&state->head, kWindowedSamples);
  auto* const work = TakeScratch<int16_t>(&state->head, kSilenceSubframe);
  state->head.scratchTop = state->head.scratchBase;
  if (windowed == nullptr || work == nullptr) return SILENCE_ERR_NOT_READY;

  VoiceActivityState& activity = state->voiceActivity;
  DtxState& dtx = state->dtx;
  dspCopy_16s(pcm, state->window + kNewest, kSilenceFrame);
  dspHighPass_16s_I(state->window + kNewest, kSilenceFrame, 12, state->highPass);

  Autocorrelation r;
  Autocorrelate(state->window, windowed, &r);
  int16_t unwindowed[kFilterLength];
  for (int i = 0; i < kFilterLength; ++i) unwindowed[i] = r.value[i].h;
  ApplyLagWindow(&r);
  Levinson(r.value, &state->lastGood);
  int16_t lsp[kLpOrder];
  int16_t lsf[kLpOrder];
  FilterToLsp(state->lastGood.filter, dtx.lspOld, lsp);
  LspToLsfQ15(lsp, lsf);
  const bool speech = VoiceActivity(r, lsf, state->lastGood.reflection[1],
                                    state->window + kCrossingsStart, &activity);

  UpdateAutocorrelation(unwindowed, r.exponent, activity.vadFlag != 0, &dtx);
  *frameTypeOut = FrameSpeech;
  if (speech) {
    PassSpeech(&dtx);
  } else {
    const bool afterSpeech = activity.vadFlag != 0;
    SidDescriptor sid;
    *frameTypeOut = Dtx(afterSpeech, work, &state->lastGood, &dtx, &sid) ? FrameSid : FrameNoData;
    if (*frameTypeOut == FrameSid) {
      parameters[0] = sid.lsf.mode;
      parameters[1] = sid.lsf.first;
      parameters[2] = sid.lsf.second;
      parameters[3] = sid.gainIndex;
    }
  }
  activity.previousVadFlag = activity.vadFlag;
  activity.vadFlag = speech ? 1 : 0;
  std::copy(state->window + kSilenceFrame, state->window + kAnalysisWindow, state->window);
  return SILENCE_OK;
}

}  // namespace orbel
