// Spectral band replication (ISO/IEC 14496-3, subpart 4): one record for each
// element that can carry it.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"

namespace orbel {

constexpr int32_t kMaxSbrElements = 10;

struct SbrElement {
  int32_t elementId;          // 0 single channel, 1 channel pair; 2 and above: nothing to replicate
  int32_t samplingFrequency;  // of the replicated output, hertz
  int32_t samplingIndex;      // of that frequency
  int32_t fillBitsLeft;       // bits of the fill element that are still unread
  int32_t sbrError;           // 0, or the last failure
};

// Bytes of the work areas of one element slot (b, d and f once, a, c and e for
// each of two channels), and of parametric stereo (g).
struct SbrWorkSizes {
  int32_t a, b, c, d, e, f, g;
};
SbrWorkSizes QuerySbrWorkSizes();

// sbr_extension_data() of `count` bytes, of which the extension type's four bits
// are read already. Returns `count`, or -13 for a bad payload.
//
// Payloads are stepped over: the core is played at its own rate.
int32_t SbrExtensionDataParse(int32_t elementId, int32_t crcFlag, SbrElement* element,
                              BitReader* reader, int32_t count);

}  // namespace orbel
