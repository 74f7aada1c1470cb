// From a channel's spectrum to its time signal: inverse transform, window and
// overlap (ISO/IEC 14496-3, subpart 4, filterbank and block switching), and the
// forward way for long-term prediction. Samples have the scale of 16-bit PCM.
#pragma once

#include <cstdint>

namespace orbel {

struct DspImdctSpec;
struct DspMdctFwdSpec;

// Bits of the transform kinds.
constexpr int32_t kTransformInverse = 1;
constexpr int32_t kTransformForward = 2;

struct FilterbankSpec {
  const DspImdctSpec* inverseLong;    // 2048 samples; 512 for object type 3
  const DspImdctSpec* inverseShort;   // 256 samples; 64 for object type 3
  const DspMdctFwdSpec* forwardLong;  // null without kTransformForward
  const DspMdctFwdSpec* forwardShort;
  uint8_t* work;          // the transforms' work area, 32-byte aligned
  int32_t scratchOffset;  // of the filterbank's own scratch area behind `work`
};

// With null `memory`, *size receives the bytes that the transforms of `kinds`
// for `objectType` need, alignment included. With memory of that size, at any
// 16-byte boundary, clears the record and places the transforms. Returns 0 or -1.
int32_t FilterbankInit(FilterbankSpec* spec, uint8_t* memory, int32_t kinds, int32_t objectType,
                       int32_t* size);

// 1024 lines (eight times 128 in window order for short windows) and the 1024
// samples kept from the frame before give 1024 samples. `overlap` and
// `overlapOut` may be the same.
void Filterbank(const FilterbankSpec& spec, const float* spectrum, const float* overlap,
                int32_t window_sequence, int32_t windowShape, int32_t prevWindowShape,
                float* output, float* overlapOut);

// The mirror image: windows 2048 samples and gives 1024 lines. For eight short
// windows `samples` are the 256 of one window and 128 lines come back, windowed
// with prevWindowShape rising and windowShape falling.
void LtpForwardFilterbank(const FilterbankSpec& spec, const float* samples, int32_t window_sequence,
                          int32_t windowShape, int32_t prevWindowShape, float* lines);

}  // namespace orbel
