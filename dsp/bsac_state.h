// What the primitives of ER BSAC work on (ISO/IEC 14496-3, subpart 4).
//
// Plain memory that a caller places where it likes.
#pragma once

#include <cstdint>

namespace orbel {

constexpr int32_t kDspBsacLines = 1024;
constexpr int32_t kDspBsacBandLines = 32;
constexpr int32_t kDspBsacBands = kDspBsacLines / kDspBsacBandLines;
constexpr int32_t kDspBsacTopPlane = 15;
constexpr int32_t kDspBsacModels = 11;

// The arithmetic decoder. Bits behind the end of its bytes are zeros.
struct DspBsacCoder {
  const uint8_t* next;  // the first byte that is not in `value`
  const uint8_t* end;
  uint64_t value;   // the value in the upper 32 bits, the bits behind it in the lower ones
  int32_t ahead;    // how many of those are there; 16 to 32 between symbols
  uint32_t range;   // 2^29 up to 2^30 between symbols
  int32_t budget;   // bits; every symbol takes its length off
  uint32_t broken;  // not 0: no coder has made these bits
};

// The lines of a frame on the way from their top bit plane to the lowest one, a coding
// band being 32 lines from a multiple of 32 on.
struct DspBsacSpectrum {
  uint16_t magnitude[2][kDspBsacLines];  // the planes that are known; below 2^top
  int8_t sign[2][kDspBsacLines];         // 1, -1, or 0: not known, if there is one
  uint8_t plane[2][kDspBsacLines];       // the next plane, counted from 1; 0: nothing to come
  // Bit b of waiting[channel][p] is set if any line of band b has plane p, and may be set
  // if none has.
  uint32_t waiting[2][kDspBsacTopPlane + 1];
  uint32_t planes;                  // likewise, bit p for waiting[0][p] and waiting[1][p]
  uint8_t top[2][kDspBsacBands];    // 0 to kDspBsacTopPlane
  uint8_t model[2][kDspBsacBands];  // below kDspBsacModels; 0 with a top of 0 only
};

}  // namespace orbel
