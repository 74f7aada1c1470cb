// Arithmetic on vectors of 16 bits: plain loops for the compiler to widen.

// (value + half of the scale's unit) >> scale of 32-bit values for any scale from
// 0 up: beyond 40 nothing is left of them.
static inline int32_t ScaleWide(int64_t value, int32_t scale) {
  const int32_t shift = scale > 40 ? 40 : scale;
  return static_cast<int32_t>((value + (int64_t{1} << shift >> 1)) >> shift);
}

int32_t dspMulC_16s_Sfs(const int16_t* src, int16_t value, int16_t* dst, int32_t length,
                        int32_t scale) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  if (scale < 0) return kDspBadScale;
  // Products reach 2^30, so with half a unit they stay inside 32 bits up to here.
  constexpr int32_t kNarrowScale = 30;
  if (scale > kNarrowScale) {
    for (int32_t i = 0; i < length; ++i) {
      dst[i] = static_cast<int16_t>(ScaleWide(int32_t{src[i]} * value, scale));
    }
    return kDspOk;
  }
  const int32_t half = 1 << scale >> 1;
  for (int32_t i = 0; i < length; ++i) {
    dst[i] = Saturate16((src[i] * value + half) >> scale);
  }
  return kDspOk;
}

int32_t dspMulC_16s_ISfs(int16_t value, int16_t* srcDst, int32_t length, int32_t scale) {
  return dspMulC_16s_Sfs(srcDst, value, srcDst, length, scale);
}

int32_t dspAdd_16s(const int16_t* src1, const int16_t* src2, int16_t* dst, int32_t length) {
  if (src1 == nullptr || src2 == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  for (int32_t i = 0; i < length; ++i) dst[i] = Saturate16(src1[i] + src2[i]);
  return kDspOk;
}

int32_t dspAdd_16s_ISfs(const int16_t* src, int16_t* srcDst, int32_t length, int32_t scale) {
  if (src == nullptr || srcDst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  if (scale < 0) return kDspBadScale;
  // Half a unit outweighs any sum of two samples.
  if (scale > 16) return dspZero_16s(srcDst, length);
  const int32_t half = 1 << scale >> 1;
  for (int32_t i = 0; i < length; ++i) {
    srcDst[i] = Saturate16((src[i] + srcDst[i] + half) >> scale);
  }
  return kDspOk;
}

int32_t dspAddC_16s_I(int16_t value, int16_t* srcDst, int32_t length) {
  if (srcDst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  if (value == 0) return kDspOk;
  for (int32_t i = 0; i < length; ++i) srcDst[i] = Saturate16(srcDst[i] + value);
  return kDspOk;
}

int32_t dspRShiftC_16s(const int16_t* src, int32_t count, int16_t* dst, int32_t length) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  if (count < 0) return kDspBadShift;
  if (count == 0) return dspCopy_16s(src, dst, length);
  const int32_t shift = count > 15 ? 15 : count;
  for (int32_t i = 0; i < length; ++i) dst[i] = static_cast<int16_t>(src[i] >> shift);
  return kDspOk;
}

int32_t dspRShiftC_16s_I(int32_t count, int16_t* srcDst, int32_t length) {
  return dspRShiftC_16s(srcDst, count, srcDst, length);
}

int32_t dspMax_16s(const int16_t* src, int32_t length, int16_t* result) {
  if (src == nullptr || result == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  int16_t most = src[0];
  for (int32_t i = 1; i < length; ++i) most = src[i] > most ? src[i] : most;
  *result = most;
  return kDspOk;
}

int32_t dspMin_16s(const int16_t* src, int32_t length, int16_t* result) {
  if (src == nullptr || result == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  int16_t least = src[0];
  for (int32_t i = 1; i < length; ++i) least = src[i] < least ? src[i] : least;
  *result = least;
  return kDspOk;
}
