// Lossless decoding; dsp/als_kernels.h has the contracts.

namespace als {

typedef uint64_t V2u64 __attribute__((vector_size(16)));

constexpr int32_t kFractionBits = 20;
constexpr uint64_t kHalf = uint64_t{1} << (kFractionBits - 1);

// Products of the signed even lanes.
[[gnu::always_inline]] static inline V2u64 MultiplyEven(V4x32 a, V4x32 b) {
#ifdef __SSE4_1__
  return reinterpret_cast<V2u64>(__builtin_ia32_pmuldq128(a, b));
#else
  // As unsigned numbers they are 2^32 too large where they are negative.
  const V2u64 product = reinterpret_cast<V2u64>(__builtin_ia32_pmuludq128(a, b));
  const V4x32 excess = ((a >> 31) & b) + ((b >> 31) & a);
  return product - (reinterpret_cast<V2u64>(excess) << 32);
#endif
}

[[gnu::always_inline]] static inline V4x32 OddLanes(V4x32 v) {
  return reinterpret_cast<V4x32>(reinterpret_cast<V2u64>(v) >> 32);
}

static inline int32_t Cut(uint64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

static inline uint64_t Multiply(int32_t a, int32_t b) {
  return static_cast<uint64_t>(int64_t{a} * b);
}

static inline int32_t Add(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
static inline int32_t Subtract(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// ---- Rice codes ----------------------------------------------------------------

static inline uint64_t LoadBits(const uint8_t* at) {
  uint64_t word;
  __builtin_memcpy(&word, at, sizeof word);
  return __builtin_bswap64(word);
}

// 57 bits from the position on, at the top; zeros behind the end.
static inline uint64_t Window(const uint8_t* data, uint64_t size, uint64_t position) {
  const uint64_t at = position / 8;
  uint64_t word = 0;
  if (at + 8 <= size) {
    word = LoadBits(data + at);
  } else {
    for (uint64_t i = at; i < size; ++i) word |= uint64_t{data[i]} << (56 - 8 * (i - at));
  }
  return word << (position % 8);
}

static inline int32_t LeadingOnes(uint64_t window) {
  return ~window == 0 ? 64 : __builtin_clzll(~window);
}

// `rest` is the sign bit and what follows it.
static inline int32_t RiceValue(uint64_t ones, uint64_t rest, int32_t parameter) {
  if (parameter == 0) return Cut((ones >> 1) ^ (0 - (ones & 1)));
  const uint64_t sign = rest >> (parameter - 1);
  return Cut(((ones << (parameter - 1)) + (rest & ((uint64_t{1} << (parameter - 1)) - 1))) ^
             (sign - 1));
}

// One code of any length.
static inline int32_t RiceOne(const uint8_t* data, uint64_t size, uint64_t* position,
                              int32_t parameter) {
  uint64_t ones = 0;
  int32_t run = LeadingOnes(Window(data, size, *position));
  while (run >= 56) {
    ones += 56;
    *position += 56;
    run = LeadingOnes(Window(data, size, *position));
  }
  ones += static_cast<uint64_t>(run);
  *position += static_cast<uint64_t>(run) + 1;
  if (parameter == 0) return RiceValue(ones, 0, 0);
  const uint64_t rest = Window(data, size, *position) >> (64 - parameter);
  *position += static_cast<uint64_t>(parameter);
  return RiceValue(ones, rest, parameter);
}

// `kCodes` codes from each filling of a window that holds the bits inverted, so that
// ones are leading zeros. No code in it has more than 56 / kCodes bits: longer ones
// are read one by one. Stops when the end of the data or of the values is near, and
// returns the number of values.
template <int kCodes>
static inline int32_t RiceRun(const uint8_t* data, uint64_t size, uint64_t* position,
                              int32_t parameter, int32_t* dst, int32_t length) {
  constexpr int32_t kMostBits = 56 / kCodes;
  const uint64_t least = uint64_t{1} << (64 - kMostBits + parameter);
  const uint64_t mask = (uint64_t{1} << parameter >> 1) - 1;
  const uint64_t end = size >= 8 ? size - 8 : 0;
  int32_t i = 0;
  while (i + kCodes <= length && *position / 8 < end) {
    uint64_t at = *position / 8;
    uint64_t window = ~LoadBits(data + at) << (*position % 8);
    int32_t have = 56 - static_cast<int32_t>(*position % 8);
    at += 7;
    bool isShort = true;
    while (isShort && i + kCodes <= length && at < end) {
      window |= ~LoadBits(data + at) >> have;
      at += static_cast<uint64_t>((63 - have) >> 3);
      have |= 56;
      int32_t j = 0;
      for (; j < kCodes && window >= least; ++j) {
        const int32_t top = __builtin_clzll(window) ^ 63;
        const int32_t bits = 64 + parameter - top;
        const uint64_t rest = ~window << (bits - parameter) >> 1 >> (63 - parameter);
        const auto ones = static_cast<uint64_t>(63 - top);
        dst[i + j] =
            parameter == 0
                ? RiceValue(ones, 0, 0)
                : Cut(((ones << (parameter - 1)) + (rest & mask)) ^ ((rest > mask) - 1ull));
        window <<= bits;
        have -= bits;
      }
      i += j;
      isShort = j == kCodes;
    }
    *position = at * 8 - static_cast<uint64_t>(have);
    if (!isShort) dst[i++] = RiceOne(data, size, position, parameter);
  }
  return i;
}

// ---- Short-term synthesis ------------------------------------------------------

// Any values. The newest taps are scalar: they would wait for stores.
constexpr int32_t kScalarTaps = 4;

static inline void SynthesisWide(const int32_t* coefficients, int32_t order, int32_t* x,
                                 int32_t length) {
  // In the order of the samples; `odd` has the odd lanes where the even ones are.
  int32_t even[kDspAlsMaxOrder], odd[kDspAlsMaxOrder];
  const int32_t vectorTaps = order - kScalarTaps;
  for (int32_t i = 0; i < vectorTaps; ++i) even[i] = coefficients[order - 1 - i];
  for (int32_t i = 0; i < vectorTaps; i += 4) Store(odd + i, OddLanes(Load<V4x32>(even + i)));
  for (int32_t n = 0; n < length; ++n) {
    const int32_t* past = x + n - order;
    V2u64 sum0 = {kHalf, 0}, sum1 = {};
    for (int32_t i = 0; i < vectorTaps; i += 4) {
      const V4x32 samples = Load<V4x32>(past + i);
      sum0 += MultiplyEven(Load<V4x32>(even + i), samples);
      sum1 += MultiplyEven(Load<V4x32>(odd + i), OddLanes(samples));
    }
    sum0 += sum1;
    uint64_t sum = sum0[0] + sum0[1];
    for (int32_t i = kScalarTaps - 1; i >= 0; --i) sum += Multiply(coefficients[i], x[n - 1 - i]);
    x[n] = Subtract(x[n], Cut(sum >> kFractionBits));
  }
}

// Samples of 16 bits. The oldest of the coefficients are split into two digits, so
// that products of each with eight samples are two sums in 32 bits. The two newest
// samples are scalar: only one product, one sum and one shift lie between a sample
// and the next.
constexpr int32_t kNewest = 2;
constexpr int32_t kGroup = 8;
constexpr int32_t kMostGroups = kDspAlsMaxOrder / kGroup;
constexpr int32_t kRegisterGroups = 4;
constexpr int32_t kMostDigitBits = 12;
constexpr int32_t kMostDigitSum = 1 << 16;  // times 2^15 it is just outside 32 bits

struct Digits {
  int32_t newest[kNewest];
  int32_t groups;
  int32_t lowBits;
  int16_t low[kMostGroups * kGroup];  // in the order of the samples, group by group
  int16_t high[kMostGroups * kGroup];
};

static inline bool SplitDigits(const int32_t* coefficients, int32_t order, Digits* digits) {
  for (int32_t i = 0; i < kNewest; ++i) digits->newest[i] = coefficients[i];
  const int32_t taps = order - kNewest;
  digits->groups = (taps + kGroup - 1) / kGroup;
  digits->lowBits = kMostDigitBits;
  while ((taps << (digits->lowBits - 1)) >= kMostDigitSum) --digits->lowBits;
  const int32_t half = 1 << (digits->lowBits - 1);
  uint64_t sum = 0;
  for (int32_t g = 0; g < digits->groups; ++g) {
    for (int32_t j = 0; j < kGroup; ++j) {
      const int32_t tap = kNewest + g * kGroup + kGroup - 1 - j;
      const int64_t value = tap < order ? coefficients[tap] : 0;
      const int64_t high = (value + half) >> digits->lowBits;
      sum += static_cast<uint64_t>(high < 0 ? -high : high);
      digits->low[g * kGroup + j] =
          static_cast<int16_t>(value - high * (int64_t{1} << digits->lowBits));
      digits->high[g * kGroup + j] = static_cast<int16_t>(high);
    }
  }
  // Each alone fits as well when the sum does, but for the one of exactly 2^15.
  return sum < (1 << 15);
}

[[gnu::always_inline]] static inline V4x32 MultiplyPairs(V8x16 a, V8x16 b) {
  return __builtin_ia32_pmaddwd128(a, b);
}

// The sums over all lanes, put together.
[[gnu::always_inline]] static inline int64_t JoinDigits(V4x32 low, V4x32 high, int64_t unit) {
  const V4x32 evens = __builtin_shufflevector(low, high, 0, 4, 1, 5);
  const V4x32 odds = __builtin_shufflevector(low, high, 2, 6, 3, 7);
  const V4x32 sums = evens + odds;
  const V4x32 both = sums + __builtin_shufflevector(sums, sums, 2, 3, 0, 1);
  return both[0] + both[1] * unit;
}

static inline bool FitsSixteen(const int32_t* x, int32_t count) {
  int32_t wide = 0;
  for (int32_t i = 0; i < count; ++i) wide |= x[i] ^ static_cast<int16_t>(x[i]);
  return wide == 0;
}

// Returns the number of samples done: all, or those up to one that is wider. With
// `kGroups` 0 there are more groups than registers.
template <int kGroups>
static inline int32_t SynthesisNarrow(const Digits& digits, int32_t* x, int32_t length) {
  constexpr int32_t kChunk = 512;
  constexpr int32_t kHeld = kGroups == 0 ? 1 : kGroups;
  constexpr int32_t kShadow = kGroups == 0 ? kDspAlsMaxOrder + 2 * kGroup + kChunk : 1;
  const int64_t unit = int64_t{1} << digits.lowBits;
  const int64_t c0 = digits.newest[0], c1 = digits.newest[1];
  int16_t shadow[kShadow];
  // Group g ends 3 + 8 * g samples back.
  V8x16 held[kHeld];
  for (int32_t g = 0; g < kHeld; ++g)
    for (int32_t j = 0; j < kGroup; ++j) {
      const int32_t back = kNewest + (g + 1) * kGroup - j;
      held[g][j] = static_cast<int16_t>(x[-back]);
    }
  int64_t x1 = x[-1], x2 = x[-2];
  for (int32_t n = 0; n < length; ++n) {
    V4x32 low = {}, high = {};
    for (int32_t g = 0; g < kHeld; ++g) {
      low += MultiplyPairs(held[g], Load<V8x16>(digits.low + g * kGroup));
      high += MultiplyPairs(held[g], Load<V8x16>(digits.high + g * kGroup));
    }
    if (kGroups == 0) {
      const int32_t in = n % kChunk;
      const int32_t older = digits.groups * kGroup + kNewest;
      if (in == 0)
        for (int32_t i = 0; i < older; ++i) shadow[i] = static_cast<int16_t>(x[n - older + i]);
      const int16_t* oldest = shadow + in;
      for (int32_t g = 1; g < digits.groups; ++g) {
        const V8x16 samples = Load<V8x16>(oldest + (digits.groups - 1 - g) * kGroup);
        low += MultiplyPairs(samples, Load<V8x16>(digits.low + g * kGroup));
        high += MultiplyPairs(samples, Load<V8x16>(digits.high + g * kGroup));
      }
    }
    const int64_t known = (int64_t{x[n]} << kFractionBits) + static_cast<int64_t>(kHalf) - 1 -
                          JoinDigits(low, high, unit) - c1 * x2;
    const auto sample = static_cast<int32_t>((known - c0 * x1) >> kFractionBits);
    x[n] = sample;
    if (sample != static_cast<int16_t>(sample)) return n + 1;
    for (int32_t g = kHeld - 1; g > 0; --g)
      held[g] = __builtin_shufflevector(held[g], held[g - 1], 1, 2, 3, 4, 5, 6, 7, 8);
    held[0] = __builtin_shufflevector(held[0], held[0], 1, 2, 3, 4, 5, 6, 7, 0);
    held[0][7] = static_cast<int16_t>(x2);
    if (kGroups == 0)
      shadow[digits.groups * kGroup + kNewest + n % kChunk] = static_cast<int16_t>(sample);
    x2 = x1;
    x1 = sample;
  }
  return length;
}

static inline int32_t SynthesisSixteen(const int32_t* coefficients, int32_t order, int32_t* x,
                                       int32_t length) {
  Digits digits;
  if (!FitsSixteen(x - order, order) || !SplitDigits(coefficients, order, &digits)) return 0;
  switch (digits.groups) {
    case 1:
      return SynthesisNarrow<1>(digits, x, length);
    case 2:
      return SynthesisNarrow<2>(digits, x, length);
    case 3:
      return SynthesisNarrow<3>(digits, x, length);
    case kRegisterGroups:
      return SynthesisNarrow<kRegisterGroups>(digits, x, length);
    default:
      return SynthesisNarrow<0>(digits, x, length);
  }
}

}  // namespace als

int32_t dspAlsRice_1u32s(const uint8_t* data, uint64_t size, uint64_t* position, int32_t parameter,
                         int32_t* dst, int32_t length) {
  if (data == nullptr || position == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  if (parameter < 0 || parameter > 31) return kDspBadArgument;
  int32_t i = 0;
  if (parameter <= 6) {
    i = als::RiceRun<4>(data, size, position, parameter, dst, length);
  } else if (parameter <= 11) {
    i = als::RiceRun<3>(data, size, position, parameter, dst, length);
  } else if (parameter <= 20) {
    i = als::RiceRun<2>(data, size, position, parameter, dst, length);
  }
  for (; i < length; ++i) dst[i] = als::RiceOne(data, size, position, parameter);
  return kDspOk;
}

int32_t dspAlsStepUp_32s(const int32_t* src, int32_t reflection, int32_t* dst, int32_t order) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (order < 0) return kDspBadLength;
  for (int32_t i = 0; i < order; ++i) {
    const uint64_t product = als::Multiply(reflection, src[order - 1 - i]) + als::kHalf;
    dst[i] = als::Add(src[i], als::Cut(product >> als::kFractionBits));
  }
  dst[order] = reflection;
  return kDspOk;
}

int32_t dspAlsSynthesis_32s_I(const int32_t* coefficients, int32_t order, int32_t* srcDst,
                              int32_t length) {
  if (coefficients == nullptr || srcDst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  if (order < kDspAlsOrderStep || order > kDspAlsMaxOrder || order % kDspAlsOrderStep != 0)
    return kDspBadArgument;
  const int32_t done = als::SynthesisSixteen(coefficients, order, srcDst, length);
  if (done < length) als::SynthesisWide(coefficients, order, srcDst + done, length - done);
  return kDspOk;
}

int32_t dspAlsLongTerm_32s_I(const int32_t* gains, int32_t lag, int32_t* srcDst, int32_t length) {
  if (gains == nullptr || srcDst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  if (lag < 4) return kDspBadArgument;
  for (int32_t n = lag - 2; n < length; ++n) {
    const int32_t first = n - lag - 2;
    uint64_t sum = 64;
    for (int32_t j = first < 0 ? -first : 0; j < 5; ++j)
      sum += als::Multiply(gains[j], srcDst[first + j]);
    srcDst[n] = als::Add(srcDst[n], als::Cut(sum >> 7));
  }
  return kDspOk;
}

int32_t dspAlsCorrelate_32s_I(const int16_t* weights, int32_t taps, int32_t delay,
                              const int32_t* master, int32_t* srcDst, int32_t length) {
  if (weights == nullptr || master == nullptr || srcDst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  if (taps != 3 && taps != 6) return kDspBadArgument;
  for (int32_t n = 0; n < length; ++n) {
    uint64_t sum = 64;
    for (int32_t j = 0; j < 3; ++j) sum += als::Multiply(weights[j], master[n - 1 + j]);
    if (taps == 6) {
      for (int32_t j = 0; j < 3; ++j)
        sum += als::Multiply(weights[3 + j], master[n - 1 + j + delay]);
    }
    srcDst[n] = als::Add(srcDst[n], als::Cut(sum >> 7));
  }
  return kDspOk;
}
