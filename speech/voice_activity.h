// The voice activity detector of ITU-T G.729 Annex B: a frame is speech when its energy,
// low-band energy, zero crossings and spectrum lie far enough from the running means of
// the background.
#pragma once

#include <cstdint>

#include "speech/lp_analysis.h"

namespace orbel {

inline constexpr int32_t kMinimumSlots = 16;

// Energies are decimal logarithms of the mean square, Q11; crossings are Q15 of the
// samples of a frame, LSF as LspToLsfQ15 makes them.
struct VoiceActivityState {
  int16_t meanLsf[kLpOrder];
  int16_t minimumBuffer[kMinimumSlots];  // of 8 frames each, oldest first
  int16_t vadFlag;                       // the decision on the frame before; moved on by the caller
  int16_t previousVadFlag;               // and on the one before that
  int16_t previousMinimum, nextMinimum, minimum;
  int16_t meanEnergy;
  int16_t smoothEnergy, smoothLowEnergy, smoothCrossings;  // of the background
  int16_t previousEnergy;
  int16_t silenceCount, updateCount, extensionCount, lessCount;
  int16_t flag;       // 1 while a hangover may start
  int16_t boostFlag;  // speech only because the frames before were
  int16_t frameCounter;
};

void ResetVoiceActivity(VoiceActivityState* state);

// True for speech. Takes the lag-windowed autocorrelation, the LSF and the second
// reflection coefficient of the analysis, and the 81 samples at `speech`.
bool VoiceActivity(const Autocorrelation& r, const int16_t* lsf, int16_t secondReflection,
                   const int16_t* speech, VoiceActivityState* state);

}  // namespace orbel
