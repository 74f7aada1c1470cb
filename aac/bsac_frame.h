// The frames of ER BSAC, object type 22, up to the spectra (ISO/IEC 14496-3, subpart 4).
#pragma once

#include <cstdint>

#include "aac/bsac_layers.h"
#include "dsp/bsac_state.h"

namespace orbel {

struct AACDecoderState;

constexpr int32_t kBsacMaxChannels = 2;

// What the configuration says, and the frame on its way. It lies at the start of the tool
// memory.
struct BsacState {
  int32_t channels;   // as configured; more than two are refused frame by frame
  int32_t subFrames;  // frames in an access unit, 1 to 31
  BsacHeader header;
  BsacLayers layers;
  DspBsacCoder coder;
  DspBsacSpectrum spectrum;               // lines in coded order
  int32_t noiseEnergy[kBsacMaxChannels];  // max_noise_energy, or -1 before there was one
};

// `numOfSubFrame` as coded.
void BsacStateInit(int32_t channels, int32_t numOfSubFrame, BsacState* bsac);

// Decodes the frame at the start of `size` bytes, and runs the spectral tools on it.
// state->layer is the number of enhancement layers, all of them when it is negative.
// Returns kFrameGood, and then sets numChannels and *frameBytes; kFrameBad; or
// kFrameUnsupported for what is not decoded at all.
int32_t BsacFrameDecode(const uint8_t* data, int32_t size, AACDecoderState* state,
                        int32_t* frameBytes);

}  // namespace orbel
