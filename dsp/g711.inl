// G.711: expansion by table, compression by arithmetic.

// The code of a float has segment and mantissa of a G.711 code side by side: the
// exponent, then the four bits below the top one. Both laws bring their samples
// into a form of which those eight bits are the code but for a constant.
[[gnu::always_inline]] static inline V8x16 ExponentAndMantissa(V8x16 v) {
  // v is never negative, so a zero above it makes it 32 bits wide.
  const V8x16 zero = {};
  const V8x16 low = __builtin_shufflevector(v, zero, 0, 8, 1, 9, 2, 10, 3, 11);
  const V8x16 high = __builtin_shufflevector(v, zero, 4, 12, 5, 13, 6, 14, 7, 15);
  const V4xF lowFloat = __builtin_convertvector(reinterpret_cast<V4x32>(low), V4xF);
  const V4xF highFloat = __builtin_convertvector(reinterpret_cast<V4x32>(high), V4xF);
  const V4x32 lowBits = reinterpret_cast<V4x32>(lowFloat) >> 19;
  const V4x32 highBits = reinterpret_cast<V4x32>(highFloat) >> 19;
  // Even halves: the low 16 bits of each lane.
  return __builtin_shufflevector(reinterpret_cast<V8x16>(lowBits),
                                 reinterpret_cast<V8x16>(highBits), 0, 2, 4, 6, 8, 10, 12, 14);
}

// What the float 2^0 gives there.
constexpr int16_t kExponentBias = 127 << 4;

[[gnu::always_inline]] static inline V8x16 ALawCodes(V8x16 x) {
  const V8x16 sign = x >> 15;
  const V8x16 magnitude = (x >> 3) ^ sign;
  // Segments 0 and 1 have the same step: segment 0 is moved up by one segment, and
  // its code down again.
  const V8x16 first = magnitude < 32;
  const V8x16 segmentAndMantissa = ExponentAndMantissa(magnitude + (first & 32)) -
                                   static_cast<int16_t>(kExponentBias + (4 << 4)) - (first & 16);
  return segmentAndMantissa ^ 0x55 ^ (~sign & 0x80);
}

[[gnu::always_inline]] static inline V8x16 MuLawCodes(V8x16 x) {
  const V8x16 sign = x >> 15;
  const V8x16 biased = ((x ^ sign) >> 2) + 33;
  const V8x16 limited = biased < 0x1FFF ? biased : V8x16{} + 0x1FFF;
  // 8 - segment and 15 - mantissa: the difference to the last code.
  return static_cast<int16_t>(kExponentBias + (12 << 4) + 15) - ExponentAndMantissa(limited) +
         (~sign & 0x80);
}

// Eight codes as bytes, first code lowest.
[[gnu::always_inline]] static inline uint64_t PackCodes(V8x16 codes) {
  typedef uint8_t V8x8 __attribute__((vector_size(8)));
  const V8x8 bytes = __builtin_convertvector(codes, V8x8);
  uint64_t word;
  __builtin_memcpy(&word, &bytes, sizeof word);
  return word;
}

template <V8x16 (*kCodes)(V8x16)>
static inline int32_t Compress(const int16_t* src, uint8_t* dst, int32_t length) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  int32_t i = 0;
  for (; i + 8 <= length; i += 8) Store(dst + i, PackCodes(kCodes(Load<V8x16>(src + i))));
  if (i < length) {
    const unsigned long rest = static_cast<unsigned long>(length - i);
    V8x16 samples = {};
    __builtin_memcpy(&samples, src + i, rest * sizeof *src);
    const uint64_t codes = PackCodes(kCodes(samples));
    __builtin_memcpy(dst + i, &codes, rest);
  }
  return kDspOk;
}

int32_t dspLinToALaw_16s8u(const int16_t* src, uint8_t* dst, int32_t length) {
  return Compress<ALawCodes>(src, dst, length);
}

int32_t dspLinToMuLaw_16s8u(const int16_t* src, uint8_t* dst, int32_t length) {
  return Compress<MuLawCodes>(src, dst, length);
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
