// Discontinuous transmission (ITU-T G.729 Annex B): in a silent stretch, which frames
// send a description of the noise, and what it says.
#pragma once

#include <cstdint>

#include "speech/lp_analysis.h"
#include "speech/noise_excitation.h"
#include "speech/sid_lsf.h"

namespace orbel {

// Rows of autocorrelations, newest first; a value counts 2^-exponent, but for a
// constant factor.
template <int kRows>
struct AutocorrelationRows {
  int16_t row[kRows][kFilterLength];
  int16_t exponent[kRows];
};

// The autocorrelation of a filter's coefficients.
struct FilterCorrelation {
  int16_t value[kFilterLength];
  int16_t exponent;
};

struct DtxState {
  AutocorrelationRows<2> frames;
  AutocorrelationRows<3> sums;  // of two frames each
  int16_t energies[2];          // what the filter leaves, newest first
  int16_t energyExponents[2];
  int16_t filter[kFilterLength];  // of the last two frames
  FilterCorrelation reference;    // of the filter that was sent last
  int16_t frameCount;             // since the last descriptor, up to 3
  int16_t sidFrameCount;          // frames since the last sum, 0 or 1
  int16_t energyCount;
  int16_t changeFlag;  // the noise is not what was described
  int16_t currentGain, sidGain;
  int16_t gainIndex;  // of the last descriptor
  int16_t noiseSeed;
  int16_t noiseSubframes;
  SidLsfHistory lsfHistory;
  int16_t lspOld[kLpOrder];
  int16_t lspSid[kLpOrder];
  int16_t excitation[kPastExcitation + kSilenceFrame];
  int32_t excitationErrors[4];  // Q14, newest first
};

// A silence descriptor.
struct SidDescriptor {
  SidLsfIndices lsf;
  int16_t gainIndex;
};

void ResetDtx(DtxState* state);

// Each frame: enters its autocorrelation, 11 high words without a lag window, with the
// exponent of Autocorrelation. `afterSpeech` tells that the frame before was speech.
void UpdateAutocorrelation(const int16_t* r, int16_t exponent, bool afterSpeech, DtxState* state);

// A frame of speech.
void PassSpeech(DtxState* state);

// A frame of noise. True when a descriptor is to be sent, which `sid` receives. `work` has
// room for a subframe.
bool Dtx(bool afterSpeech, int16_t* work, LevinsonMemory* lastGood, DtxState* state,
         SidDescriptor* sid);

}  // namespace orbel
