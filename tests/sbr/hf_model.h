// The complex path of HF generation and envelope adjustment as the formulas of
// ISO/IEC 14496-3, subpart 4 read: slot by slot, in double precision.
#pragma once

#include <complex>

#include "sbr/sbr_channel.h"

namespace orbel {

using ModelRows = std::complex<double>[kSbrSlots][kQmfBands];

struct HfModel {
  double bw[kSbrNoiseBands] = {};
  int noiseIndex = 0, sineIndex = 0, prevLA = -1;
  bool filled = false;
  bool before[kQmfBands] = {};
  double gains[5][kQmfBands] = {}, noises[5][kQmfBands] = {};

  // One frame of a channel: `element` as it was before the decoder ran, `low` with the
  // frame's low rows. Slots of the frame's envelopes are written, by QMF band.
  void Run(const SbrElement& element, int channel, const SbrChannel& low, ModelRows& out);

 private:
  void Generate(const SbrElement& element, int channel, const SbrChannel& low, ModelRows& high);
};

}  // namespace orbel
