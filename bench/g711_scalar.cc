#include "g711_scalar.h"

#include <bit>

namespace orbel {
namespace {

constexpr int kSegmentEnds[8] = {0x1F, 0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF};

}  // namespace

void ScalarLinToALaw(const int16_t* src, uint8_t* dst, int32_t length) {
  for (int32_t i = 0; i < length; ++i) {
    int magnitude = src[i] >> 3;
    int mask = 0xD5;
    if (magnitude < 0) {
      magnitude = ~magnitude;
      mask = 0x55;
    }
    int segment = 0;
    while (magnitude > kSegmentEnds[segment]) ++segment;
    const int mantissa = (magnitude >> (segment < 2 ? 1 : segment)) & 15;
    dst[i] = static_cast<uint8_t>((segment * 16 + mantissa) ^ mask);
  }
}

void ScalarLinToMuLaw(const int16_t* src, uint8_t* dst, int32_t length) {
  for (int32_t i = 0; i < length; ++i) {
    const int sample = src[i];
    int value = ((sample < 0 ? ~sample : sample) >> 2) + 33;
    if (value > 0x1FFF) value = 0x1FFF;
    const int segment = 1 + std::bit_width(static_cast<unsigned>(value >> 6));
    const int code = (8 - segment) * 16 + 15 - ((value >> segment) & 15);
    dst[i] = static_cast<uint8_t>(sample < 0 ? code : code | 0x80);
  }
}

}  // namespace orbel
