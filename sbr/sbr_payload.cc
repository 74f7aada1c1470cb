#include "sbr/sbr_element.h"

namespace orbel {

SbrWorkSizes QuerySbrWorkSizes() { return {}; }

int32_t SbrExtensionDataParse(int32_t /*elementId*/, int32_t /*crcFlag*/, SbrElement* element,
                              BitReader* reader, int32_t count) {
  const int32_t bits = count * 8 - 4;
  element->fillBitsLeft -= bits;
  SetBitPosition(reader, GetBitPosition(*reader) + static_cast<uint32_t>(bits));
  return count;
}

}  // namespace orbel
