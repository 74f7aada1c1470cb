#include "sbr/qmf.h"

#include "dsp/primitives.h"

namespace orbel {

void SbrAnalyse(QmfAnalysis* state, const float* core, QmfRow* real, QmfRow* imag) {
  dspQmfAnalysis_32f(core, state->history, real[0], imag != nullptr ? imag[0] : nullptr);
}

void SbrSynthesise(QmfSynthesis* state, const QmfRow* real, const QmfRow* imag, int32_t used,
                   bool downsampled, float* pcm) {
  dspQmfSynthesis_32f(real[0], imag != nullptr ? imag[0] : nullptr, used,
                      downsampled ? kQmfCoreBands : kQmfBands, state->history, pcm);
}

}  // namespace orbel
