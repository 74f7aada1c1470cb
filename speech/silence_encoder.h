// The encoder side of silence coding (ITU-T G.729 Annex B, built on Annex A): says of
// each frame whether it is speech, and describes what is not. Speech itself is coded
// elsewhere.
#pragma once

#include <cstdint>

#include "speech/dtx.h"
#include "speech/lp_analysis.h"
#include "speech/noise_excitation.h"
#include "speech/sid_lsf.h"
#include "speech/silence_state.h"
#include "speech/voice_activity.h"

namespace orbel {

inline constexpr uint32_t kComfortNoiseEncoderKey = 0xECD729;

struct ComfortNoiseEncoderState {
  SilenceStateHead head;
  int16_t window[kAnalysisWindow];  // speech behind the high-pass, the newest frame last
  int16_t highPass[6];
  LevinsonMemory lastGood;
  VoiceActivityState voiceActivity;
  DtxState dtx;
};

// Results of SilenceEncodeFrame.
enum : int32_t {
  SILENCE_OK = 0,
  SILENCE_ERR_NULL = -3,
  SILENCE_ERR_NOT_READY = -4,  // not initialised, or without scratch memory
  SILENCE_ERR_BAD_KEY = -5,
};

// Makes the state as after speech, with silence before it. The scratch base that is
// found in the state, or null, is kept. Nothing happens to a null state or for a mode
// above 4.
void SilenceEncoderInit(ComfortNoiseEncoderState* state, int32_t mode, int32_t vad);

// One frame of 80 samples. `frameTypeOut` receives FrameSpeech, FrameSid or FrameNoData;
// `parameters`, of 4 places, is written for FrameSid only: predictor switch, first stage,
// second stage and gain index. Nothing is written on failure.
int32_t SilenceEncodeFrame(ComfortNoiseEncoderState* state, const int16_t* pcm, int16_t* parameters,
                           int32_t* frameTypeOut);

}  // namespace orbel
