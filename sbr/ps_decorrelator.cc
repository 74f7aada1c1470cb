#include "sbr/ps_decorrelator.h"

#include <cstring>

#include "dsp/primitives.h"
#include "sbr/ps_hybrid.h"

namespace orbel {
namespace {

constexpr int32_t kFirstLongBand = 23;
constexpr int32_t kFirstShortBand = 35;

void CopyBands(const DspPsRows& from, const DspPsRows& to, int32_t first, int32_t end,
               int32_t slots) {
  const size_t bytes = static_cast<size_t>(end - first) * sizeof(float);
  for (int32_t n = 0; n < slots; ++n) {
    const DspPsRows source = PsRowsAt(from, n, first);
    const DspPsRows target = PsRowsAt(to, n, first);
    std::memcpy(target.real, source.real, bytes);
    std::memcpy(target.imag, source.imag, bytes);
  }
}

}  // namespace

DspPsRows PsShortRows(PsState* ps, int32_t slot) { return PsMonoRows(ps, slot - kPsShortDelay); }

void PsDecorrelate(PsState* ps, int32_t slot, int32_t slots, int32_t qmfBands) {
  const int32_t way = ps->configuration;
  const DspPsLayout& layout = kPsConfigurations[way].layout;
  const DspPsRows mono = PsMonoRows(ps, slot);
  const DspPsRows split = {ps->splitReal[kPsLeadDelay], ps->splitImag[kPsLeadDelay],
                           kDspPsSplitLanes};
  dspPsTransients_32f(&layout, &split, &mono, qmfBands, &ps->transients, ps->gains[0], slots);

  const DspPsRows splitLead = {ps->splitReal[0], ps->splitImag[0], kDspPsSplitLanes};
  const DspPsRows splitLate = {ps->splitLateReal[0], ps->splitLateImag[0], kDspPsSplitLanes};
  dspPsAllPass_32f(&splitLead, &splitLate, kPsTables.allPassSplit[way], ps->splitAllPass,
                   layout.splitLanes / 4, slots);
  const DspPsRows lead = PsMonoRows(ps, slot - kPsLeadDelay);
  const DspPsRows late = {ps->lateReal[0], ps->lateImag[0], kQmfBands};
  dspPsAllPass_32f(&lead, &late, kPsTables.allPassQmf[way], ps->qmfAllPass, kPsAllPassVectors,
                   slots);
  CopyBands(PsMonoRows(ps, slot - kPsLongDelay), late, kFirstLongBand, kFirstShortBand, slots);
  CopyBands(PsShortRows(ps, slot), late, kFirstShortBand, kPsLateBands, slots);
}

void PsDecorrelatorRestart(PsState* ps) {
  ps->transients = {};
  std::memset(ps->splitAllPass, 0, sizeof ps->splitAllPass);
}

}  // namespace orbel
