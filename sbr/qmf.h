// The QMF banks of band replication (ISO/IEC 14496-3, subpart 4), complex and
// real. Rows hold the 64 bands of one time slot, real and imaginary parts apart.
#pragma once

#include <cstdint>

#include "sbr/sbr_element.h"

namespace orbel {

using QmfRow = float[kQmfBands];

// Zero is the state of a start.
struct QmfAnalysis {
  alignas(32) float history[288];  // the core samples before these
};
struct QmfSynthesis {
  alignas(32) float history[2048];  // the last 16 slots' input to the window sum
};

// 1024 core samples to 32 rows of 32 bands; bands 32 to 63 are not written. With
// `imag` null the real bank runs. Samples at the scale of 16-bit PCM come out at an
// eighth of the level that the standard's bank has.
void SbrAnalyse(QmfAnalysis* state, const float* core, QmfRow* real, QmfRow* imag);

// 32 rows, of which bands from `used` on hold nothing, to 2048 samples, or with `downsampled` their
// lower 32 bands to 1024, at the scale of 16-bit PCM. With `imag` null the real bank runs. A state
// is for one value of `downsampled`: it has to be cleared between them, or what is in it sounds for
// ten slots in the wrong place.
void SbrSynthesise(QmfSynthesis* state, const QmfRow* real, const QmfRow* imag, int32_t used,
                   bool downsampled, float* pcm);

}  // namespace orbel
