// Primitives of parametric stereo (ISO/IEC 14496-3, subpart 8). General contracts
// stand in dsp/kernels.h.
#pragma once

#include <cstdint>

namespace orbel {

// Time slots of complex bands. Row i begins i * stride floats behind row 0. A
// primitive that reads through it writes nothing there.
struct DspPsRows {
  float* real;
  float* imag;
  int32_t stride;
};

constexpr int32_t kDspPsSlots = 32;       // the most that a primitive takes at once
constexpr int32_t kDspPsSplitLanes = 32;  // room for what the lowest QMF bands are split into
constexpr int32_t kDspPsQmfBands = 64;
constexpr int32_t kDspPsRuns = 18;

// How bands belong to parameter bands. The bands that come of splitting have lanes of
// their own; the QMF bands from border[0] up are not split, and those from border[i] up
// to border[i + 1] belong to parameter band firstBand + i.
struct DspPsLayout {
  int32_t bands;       // parameter bands, 20 or 34
  int32_t splitLanes;  // a multiple of 4; lanes of no band are always zero
  int32_t firstBand;
  int32_t runs;
  uint8_t splitBand[kDspPsSplitLanes];
  uint8_t border[kDspPsRuns + 1];
};

// The detector's memory, for each parameter band.
constexpr int32_t kDspPsBandRoom = 36;
struct DspPsTransients {
  float peak[kDspPsBandRoom];
  float difference[kDspPsBandRoom];
  float smooth[kDspPsBandRoom];
};

// A row of gains: those of the split lanes, then of the QMF bands, then room.
constexpr int32_t kDspPsGainStride = kDspPsSplitLanes + kDspPsQmfBands + 4;

constexpr int32_t kDspPsFilterFloats = 56;   // of a vector of the splitting filters
constexpr int32_t kDspPsAllPassFloats = 44;  // of a vector of the all-pass filters
constexpr int32_t kDspPsAllPassState = 96;   // likewise
constexpr int32_t kDspPsLanes = kDspPsSplitLanes + kDspPsQmfBands;

}  // namespace orbel

// clang-format off
// `slots` is 1 to kDspPsSlots, else -6.
//
// Limit    64 bands of src to dst. Magnitudes below 1e-15, above 1e15 and what is not a
//          number become 0. *bands receives one more than the highest band that holds
//          anything but 0, rounded up to a multiple of 4.
// Split20  the lowest three QMF bands in ten. Row 0 of `qmf` is the slot in the filters'
//          middle; six rows before it and, counted from the last slot, six behind are read.
//          A split row receives 12 lanes.
//          filters  one vector for band 0 (see below), then for bands 1 and 2 the
//                   prototype's middle and its taps 1, 3 and 5 off the middle
// Split34  the lowest five QMF bands in 32. Vectors for band 0 (two, with lanes of 0 at the
//          end), 1, 2 and 3 (half each) and 4 (half).
//          A vector of filters is seven times four cosines, tap 0 to 6 off the middle, then
//          as many sines, each times the prototype; a lane stands for a filter and, with
//          its sines negated, for the one of the opposite frequency.
// Transients  power of each parameter band, and what to attenuate it by: row by row for
//          each lane and for each QMF band from border[0] up, 0 <= gain <= 1. QMF bands from
//          `qmfBands` on (a multiple of 4) are taken as zero.
// AllPass  three links behind a rotation. A vector of filters is the rotation's real and
//          imaginary parts, then for each link the real and imaginary parts of its rotation
//          and its coefficient, each for four lanes. State of a vector: for the links'
//          delays of 3, 4 and 5 slots real and imaginary parts by turns, oldest first.
// Mix      left = H11 * mono + H21 * gain * decorrelated, right = H12 * ... + H22 * ...
//          for `vectors` * 4 lanes. In `values` component c (H11, H12, H21, H22, then for
//          MixComplex their imaginary parts) of lane l is at c * kDspPsLanes + l; `steps`,
//          laid out alike, are added before every slot, and the sums are left in `values`.
#define DSP_PS_KERNELS(X)                                                                     \
  X(dspPsLimit_32f,                                                                           \
    (const orbel::DspPsRows* src, const orbel::DspPsRows* dst, int32_t slots,                 \
     int32_t* bands),                                                                         \
    (src, dst, slots, bands))                                                                 \
  X(dspPsSplit20_32f,                                                                         \
    (const orbel::DspPsRows* qmf, const orbel::DspPsRows* split, const float* filters,        \
     int32_t slots),                                                                          \
    (qmf, split, filters, slots))                                                             \
  X(dspPsSplit34_32f,                                                                         \
    (const orbel::DspPsRows* qmf, const orbel::DspPsRows* split, const float* filters,        \
     int32_t slots),                                                                          \
    (qmf, split, filters, slots))                                                             \
  X(dspPsTransients_32f,                                                                      \
    (const orbel::DspPsLayout* layout, const orbel::DspPsRows* split,                         \
     const orbel::DspPsRows* qmf, int32_t qmfBands, orbel::DspPsTransients* state,            \
     float* gains, int32_t slots),                                                            \
    (layout, split, qmf, qmfBands, state, gains, slots))                                      \
  X(dspPsAllPass_32f,                                                                         \
    (const orbel::DspPsRows* src, const orbel::DspPsRows* dst, const float* filters,          \
     float* state, int32_t vectors, int32_t slots),                                           \
    (src, dst, filters, state, vectors, slots))                                               \
  X(dspPsMix_32f,                                                                             \
    (const orbel::DspPsRows* mono, const orbel::DspPsRows* decorrelated, const float* gains,  \
     const orbel::DspPsRows* left, const orbel::DspPsRows* right, float* values,              \
     const float* steps, int32_t vectors, int32_t slots),                                     \
    (mono, decorrelated, gains, left, right, values, steps, vectors, slots))                  \
  X(dspPsMixComplex_32f,                                                                      \
    (const orbel::DspPsRows* mono, const orbel::DspPsRows* decorrelated, const float* gains,  \
     const orbel::DspPsRows* left, const orbel::DspPsRows* right, float* values,              \
     const float* steps, int32_t vectors, int32_t slots),                                     \
    (mono, decorrelated, gains, left, right, values, steps, vectors, slots))
// clang-format on
