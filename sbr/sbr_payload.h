// sbr_extension_data() of ISO/IEC 14496-3, subpart 4: the parsers of the payload
// and the delta decoding of its values.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"
#include "sbr/sbr_element.h"

namespace orbel {

// `count` bytes, of which the extension type's four bits are read already. Returns
// `count`, or -13, which sbrError keeps, for bad tables or a bad grid: the rest is not
// skipped then, and no frame is read until there is a header again.
int32_t SbrExtensionDataParse(int32_t elementId, int32_t crcFlag, SbrElement* element,
                              BitReader* reader, int32_t count);

// The parts, each returning the bits that it read, -13 or, the element parsers,
// -7 for bad parametric stereo data.
int32_t SbrHeaderParse(BitReader* reader, SbrElement* element);
int32_t SbrSingleChannelElementParse(BitReader* reader, SbrElement* element);
int32_t SbrChannelPairElementParse(BitReader* reader, SbrElement* element);

// 0 or -13.
int32_t SbrDeltaDecode(SbrElement* element, int32_t channel);

}  // namespace orbel
