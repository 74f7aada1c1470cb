#include "sbr/ps_hybrid.h"

#include <cstring>

#include "dsp/primitives.h"

namespace orbel {
namespace {

void Split(PsState* ps, int32_t slot, int32_t row, int32_t slots) {
  const DspPsRows qmf = PsMonoRows(ps, slot);
  const DspPsRows split = {ps->splitReal[row], ps->splitImag[row], kDspPsSplitLanes};
  if (ps->configuration == 0)
    dspPsSplit20_32f(&qmf, &split, kPsTables.split20, slots);
  else
    dspPsSplit34_32f(&qmf, &split, kPsTables.split34, slots);
}

}  // namespace

DspPsRows PsMonoRows(PsState* ps, int32_t slot) {
  const int32_t row = kPsHistoryRows + slot;
  return {ps->monoReal[row], ps->monoImag[row], kQmfBands};
}

void PsHybridAnalyse(PsState* ps, int32_t slot, int32_t slots) {
  constexpr size_t kBytes = kPsLeadDelay * sizeof ps->splitReal[0];
  std::memcpy(ps->splitReal[0], ps->splitReal[kPsChunk], kBytes);
  std::memcpy(ps->splitImag[0], ps->splitImag[kPsChunk], kBytes);
  Split(ps, slot, kPsLeadDelay, slots);
}

void PsHybridRestart(PsState* ps) { Split(ps, -kPsLeadDelay, kPsChunk, kPsLeadDelay); }

void PsHybridSynthesise(const PsState& ps, int32_t side, const DspPsRows& out, int32_t slots) {
  const PsConfiguration& configuration = kPsConfigurations[ps.configuration];
  for (int32_t n = 0; n < slots; ++n) {
    const float* real = ps.splitOutReal[side][n];
    const float* imag = ps.splitOutImag[side][n];
    const ptrdiff_t row = static_cast<ptrdiff_t>(n) * out.stride;
    for (int32_t q = 0; q < configuration.splitQmfBands; ++q) {
      const int32_t size = configuration.splitSizes[q];
      float sumReal = real[0];
      float sumImag = imag[0];
      for (int32_t i = 1; i < size; ++i) {
        sumReal += real[i];
        sumImag += imag[i];
      }
      out.real[row + q] = sumReal;
      out.imag[row + q] = sumImag;
      real += size;
      imag += size;
    }
  }
}

}  // namespace orbel
