// Copying and clearing. The C library's routines choose their own best variant
// for the processor at hand.

int32_t dspCopy_16s(const int16_t* src, int16_t* dst, int32_t length) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  // Source and destination may be the same.
  __builtin_memmove(dst, src, static_cast<unsigned long>(length) * sizeof *dst);
  return kDspOk;
}

int32_t dspMove_16s(const int16_t* src, int16_t* dst, int32_t length) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  __builtin_memmove(dst, src, static_cast<unsigned long>(length) * sizeof *dst);
  return kDspOk;
}

int32_t dspZero_16s(int16_t* dst, int32_t length) {
  if (dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  __builtin_memset(dst, 0, static_cast<unsigned long>(length) * sizeof *dst);
  return kDspOk;
}

int32_t dspZero_8u(uint8_t* dst, int32_t length) {
  if (dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  __builtin_memset(dst, 0, static_cast<unsigned long>(length));
  return kDspOk;
}
