// G.711: expansion by table, compression by arithmetic.

// Segment and mantissa of a G.711 code are the exponent of a float and the four bits
// below its top one. Both laws bring their samples into a form of which those eight
// bits are the code but for a constant.
constexpr int kCodeMantissa = 4;
constexpr int16_t kExponentBias = 127 << kCodeMantissa;

// Eight codes without sign, and before the inversion of bits.
[[gnu::always_inline]] static inline V8x16 ALawMagnitudes(V8x16 x) {
  const V8x16 v = (x >> 3) ^ (x >> 15);
  // Segments 0 and 1 have the same step, so that the code is v / 2 there, and less
  // than v / 2 above. Segment 0, which no exponent has, is kept out of the float.
  const V8x16 segments = FloatCodes<kCodeMantissa>(Greatest(v, V8x16{} + 32)) -
                         static_cast<int16_t>(kExponentBias + (4 << kCodeMantissa));
  return Least(v >> 1, segments);
}

[[gnu::always_inline]] static inline V8x16 MuLawMagnitudes(V8x16 x) {
  const V8x16 v = Least(((x ^ (x >> 15)) >> 2) + 33, V8x16{} + 0x1FFF);
  return FloatCodes<kCodeMantissa>(v) - static_cast<int16_t>(kExponentBias + (5 << kCodeMantissa));
}

typedef char V16x8 __attribute__((vector_size(16)));

// Sixteen codes. `inversion` is what the law turns in the codes of positive samples.
template <V8x16 (*kMagnitudes)(V8x16), int kInversion>
[[gnu::always_inline]] static inline V16x8 Codes(V8x16 first, V8x16 second) {
  const V16x8 magnitudes = __builtin_ia32_packuswb128(kMagnitudes(first), kMagnitudes(second));
  const V16x8 signs = __builtin_ia32_packsswb128(first, second);
  return magnitudes ^ static_cast<char>(kInversion) ^ (signs & static_cast<char>(0x80));
}

template <V8x16 (*kMagnitudes)(V8x16), int kInversion>
static inline int32_t Compress(const int16_t* src, uint8_t* dst, int32_t length) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  int32_t i = 0;
  for (; i + 16 <= length; i += 16) {
    Store(dst + i, Codes<kMagnitudes, kInversion>(Load<V8x16>(src + i), Load<V8x16>(src + i + 8)));
  }
  if (i < length) {
    const unsigned long rest = static_cast<unsigned long>(length - i);
    V8x16 samples[2] = {};
    __builtin_memcpy(samples, src + i, rest * sizeof *src);
    const V16x8 codes = Codes<kMagnitudes, kInversion>(samples[0], samples[1]);
    __builtin_memcpy(dst + i, &codes, rest);
  }
  return kDspOk;
}

int32_t dspLinToALaw_16s8u(const int16_t* src, uint8_t* dst, int32_t length) {
  return Compress<ALawMagnitudes, 0xD5>(src, dst, length);
}

int32_t dspLinToMuLaw_16s8u(const int16_t* src, uint8_t* dst, int32_t length) {
  return Compress<MuLawMagnitudes, 0xFF>(src, dst, length);
}

static inline uint64_t FourSamples(const int16_t* table, uint32_t codes) {
  const auto sample = [table, codes](int at) {
    return uint64_t{static_cast<uint16_t>(table[codes >> (8 * at) & 255])} << (16 * at);
  };
  return sample(0) | sample(1) | sample(2) | sample(3);
}

static inline int32_t Expand(const int16_t* table, const uint8_t* src, int16_t* dst,
                             int32_t length) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  int32_t i = 0;
  for (; i + 8 <= length; i += 8) {
    const uint64_t codes = Load<uint64_t>(src + i);
    Store(dst + i, FourSamples(table, static_cast<uint32_t>(codes)));
    Store(dst + i + 4, FourSamples(table, static_cast<uint32_t>(codes >> 32)));
  }
  for (; i < length; ++i) dst[i] = table[src[i]];
  return kDspOk;
}

int32_t dspALawToLin_8u16s(const uint8_t* src, int16_t* dst, int32_t length) {
  return Expand(kALawExpansion, src, dst, length);
}

int32_t dspMuLawToLin_8u16s(const uint8_t* src, int16_t* dst, int32_t length) {
  return Expand(kMuLawExpansion, src, dst, length);
}
