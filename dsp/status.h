// What the primitives and the level selection return. 0 is success; warnings
// are positive, failures negative, but for the two of the selection.
#pragma once

#include <cstdint>

namespace orbel {

constexpr int32_t kDspOk = 0;
constexpr int32_t kDspNullPointer = -8;  // a pointer is empty
constexpr int32_t kDspBadLength = -6;    // a length is below 1
constexpr int32_t kDspBadArgument = -7;  // unknown mode or law code
constexpr int32_t kDspBadScale = -13;    // scale factor out of range
constexpr int32_t kDspBadState = -17;    // a state that no Init has made
constexpr int32_t kDspBadShift = -32;    // negative shift count
constexpr int32_t kDspSaturated = 12;    // dspSynthesis_16s: done, but a value saturated

constexpr int32_t kDspOtherVendor = 20;         // dspInit: level chosen; not the vendor tuned for
constexpr int32_t kDspUnknownLevel = 21;        // dspInitForced: nothing was changed
constexpr int32_t kDspFeaturesUnreadable = 36;  // the processor does not identify itself

}  // namespace orbel
