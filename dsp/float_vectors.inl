// Vectors of floats; dsp/transform_kernels.h has the contracts.

// Values beyond +-bound become that bound, NaN 0. Most often there are none.
static inline void HoldWithin(float bound, float* srcDst, int32_t length) {
  const V4xF most = V4xF{} + bound;
  const V4x32 magnitude = V4x32{} + 0x7FFFFFFF;
  int32_t i = 0;
  for (; i + 16 <= length; i += 16) {
    const auto within = [&](int32_t at) __attribute__((always_inline)) {
      return reinterpret_cast<V4xF>(Load<V4x32>(srcDst + at) & magnitude) <= most;
    };
    const V4x32 all = (within(i) & within(i + 4)) & (within(i + 8) & within(i + 12));
    if (__builtin_ia32_movmskps(reinterpret_cast<V4xF>(all)) == 15) continue;
    for (int32_t j = i; j < i + 16; j += 4) {
      const V4xF x = Load<V4xF>(srcDst + j);
      const V4xF number =
          reinterpret_cast<V4xF>(reinterpret_cast<V4x32>(x) & reinterpret_cast<V4x32>(x == x));
      const V4xF below = __builtin_ia32_minps(number, most);
      Store(srcDst + j, __builtin_ia32_maxps(below, -most));
    }
  }
  for (; i < length; ++i) {
    const float value = srcDst[i] > bound ? bound : srcDst[i];
    srcDst[i] = value >= -bound ? value : value < -bound ? -bound : 0.0F;
  }
}

int32_t dspCopy_32f(const float* src, float* dst, int32_t length) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  __builtin_memmove(dst, src, static_cast<unsigned long>(length) * sizeof *dst);
  return kDspOk;
}

int32_t dspZero_32f(float* dst, int32_t length) {
  if (dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  __builtin_memset(dst, 0, static_cast<unsigned long>(length) * sizeof *dst);
  return kDspOk;
}

int32_t dspIsZero_32f(const float* src, int32_t length, int32_t* result) {
  if (src == nullptr || result == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  *result = 0;
  int32_t i = 0;
  for (; i + 16 <= length; i += 16) {
    const V4x32 any = (Load<V4x32>(src + i) | Load<V4x32>(src + i + 4)) |
                      (Load<V4x32>(src + i + 8) | Load<V4x32>(src + i + 12));
    const V4x32 halves = any | __builtin_shufflevector(any, any, 2, 3, 0, 1);
    if (((halves[0] | halves[1]) & 0x7FFFFFFF) != 0) return kDspOk;
  }
  for (; i < length; ++i) {
    if (src[i] != 0) return kDspOk;
  }
  *result = 1;
  return kDspOk;
}

int32_t dspAdd_32f(const float* src1, const float* src2, float* dst, int32_t length) {
  if (src1 == nullptr || src2 == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  for (int32_t i = 0; i < length; ++i) dst[i] = src1[i] + src2[i];
  return kDspOk;
}

int32_t dspMul_32f(const float* src1, const float* src2, float* dst, int32_t length) {
  if (src1 == nullptr || src2 == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  for (int32_t i = 0; i < length; ++i) dst[i] = src1[i] * src2[i];
  return kDspOk;
}
