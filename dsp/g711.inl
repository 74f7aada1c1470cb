// ITU-T G.711. Compression finds segment and mantissa in one step: a magnitude
// as a 32-bit float carries its leading bit's place in the exponent and the next
// bits in the mantissa, cut off exactly (magnitudes are below 2^13, so the
// conversion is exact). The loops are plain so that every level's compiler makes
// vectors of them.

int32_t dspALawToLin_8u16s(const uint8_t* src, int16_t* dst, int32_t length) noexcept {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  for (int32_t i = 0; i < length; ++i) dst[i] = kALawExpansion[src[i]];
  return kDspOk;
}

int32_t dspMuLawToLin_8u16s(const uint8_t* src, int16_t* dst, int32_t length) noexcept {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  for (int32_t i = 0; i < length; ++i) dst[i] = kMuLawExpansion[src[i]];
  return kDspOk;
}

// The exponent and the four bits behind the leading one of a magnitude of at
// least 16: 16 * (place of the leading bit - base) + those bits.
static inline int32_t LeadingBits(int32_t magnitude, int32_t base) {
  const float value = static_cast<float>(magnitude);
  return (__builtin_bit_cast(int32_t, value) >> 19) - ((127 + base) << 4);
}

int32_t dspLinToALaw_16s8u(const int16_t* src, uint8_t* dst, int32_t length) noexcept {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  for (int32_t i = 0; i < length; ++i) {
    const int32_t value = src[i] >> 3;
    const int32_t negative = value >> 31;
    const int32_t magnitude = value ^ negative;  // ones' complement: 0 to 4095
    // Segment 0 has no leading one: give it that of segment 1, and take it off.
    const int32_t isLow = (magnitude - 32) >> 31;
    const int32_t code = LeadingBits(magnitude + (isLow & 32), 4) - (isLow & 16);
    dst[i] = static_cast<uint8_t>(code ^ (0xD5 ^ (negative & 0x80)));
  }
  return kDspOk;
}

int32_t dspLinToMuLaw_16s8u(const int16_t* src, uint8_t* dst, int32_t length) noexcept {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  for (int32_t i = 0; i < length; ++i) {
    const int32_t negative = src[i] >> 31;
    const int32_t biased = ((src[i] ^ negative) >> 2) + 33;  // 33 to 8224
    const int32_t magnitude = biased > 0x1FFF ? 0x1FFF : biased;
    dst[i] = static_cast<uint8_t>(LeadingBits(magnitude, 5) ^ (0xFF ^ (negative & 0x80)));
  }
  return kDspOk;
}
