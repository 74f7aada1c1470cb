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
  const V4u32 excess =
      reinterpret_cast<V4u32>((a >> 31) & b) + reinterpret_cast<V4u32>((b >> 31) & a);
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

// Four products with 64-bit sums, as the even lanes and the odd ones.
struct WideSums {
  V2u64 even, odd;

  [[gnu::always_inline]] void Add(V4x32 factor, V4x32 samples) {
    even += MultiplyEven(factor, samples);
    odd += MultiplyEven(factor, OddLanes(samples));
  }
  [[gnu::always_inline]] V4x32 Shifted(int32_t bits) const {
    const V2u64 upper = {0xFFFFFFFF00000000u, 0xFFFFFFFF00000000u};
    return reinterpret_cast<V4x32>(((even >> bits) & ~upper) | ((odd >> bits << 32) & upper));
  }
};

[[gnu::always_inline]] static inline WideSums SumsFrom(uint64_t start) {
  return {V2u64{} + start, V2u64{} + start};
}

[[gnu::always_inline]] static inline void AddTo(int32_t* dst, V4x32 values) {
  Store(dst, Load<V4u32>(dst) + reinterpret_cast<V4u32>(values));
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

// What the fast reading leaves of a code: with the bits inverted, its top bit (the zero
// behind the ones) as `cut` has it, followed by `parameter` bits, and where that stood.
// q ones, the sign bit g and the rest r are the value q * 2^(parameter - 1) + r, or
// with g = 0 its complement.
static inline void RiceValues(int32_t parameter, const int32_t* tops, int32_t* cuts,
                              int32_t length) {
  const int32_t unit = static_cast<int32_t>(1u << parameter >> 1);
  int32_t i = 0;
  if (parameter == 0) {
    for (; i < length; ++i) {
      const int32_t ones = 63 - tops[i];
      cuts[i] = (ones >> 1) ^ -(ones & 1);
    }
    return;
  }
  for (; i < length; ++i) {
    const int32_t sign = (cuts[i] & unit) == 0 ? 0 : -1;
    const int32_t rest = ~cuts[i] & (unit - 1);
    cuts[i] = (((63 - tops[i]) << (parameter - 1)) + rest) ^ sign;
  }
}

// `kCodes` codes from each filling of a window that holds the bits inverted, so that
// ones are leading zeros. No code in it has more than 56 / kCodes bits: longer ones
// are read one by one. Stops when the end of the data or of the values is near, and
// returns the number of values.
template <int kCodes>
static inline int32_t RiceRun(const uint8_t* data, uint64_t size, uint64_t* position,
                              int32_t parameter, int32_t* dst, int32_t length) {
  constexpr int32_t kMostBits = 56 / kCodes;
  constexpr int32_t kStretch = 240;
  const uint64_t least = uint64_t{1} << (64 - kMostBits + parameter);
  const uint64_t end = size >= 8 ? size - 8 : 0;
  int32_t tops[kStretch + kCodes];
  int32_t i = 0;
  while (i + kCodes <= length && *position / 8 + 7 < end) {
    uint64_t at = *position / 8;
    uint64_t window = ~LoadBits(data + at) << (*position % 8);
    int32_t have = 56 - static_cast<int32_t>(*position % 8);
    at += 7;
    const int32_t last = (length - i < kStretch ? length - i : kStretch) - kCodes;
    int32_t done = 0;
    bool isShort = true;
    while (isShort && done <= last && at < end) {
      window |= ~LoadBits(data + at) >> have;
      at += static_cast<uint64_t>((63 - have) >> 3);
      have |= 56;
      int32_t j = 0;
#pragma GCC unroll 4
      for (; j < kCodes && window >= least; ++j) {
        const int32_t top = __builtin_clzll(window) ^ 63;
        const int32_t bits = 64 + parameter - top;
        tops[done + j] = top;
        dst[i + done + j] = Cut(window >> (top - parameter));
        window <<= bits;
        have -= bits;
      }
      done += j;
      isShort = j == kCodes;
    }
    RiceValues(parameter, tops, dst + i, done);
    i += done;
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

// Samples of 16 bits, two at a time. The newest samples before them are scalar, so that
// one product, one sum and one shift lie between a sample and the next. The
// coefficients of the others are split into two digits, so that products of each
// with eight samples are two sums in 32 bits.
constexpr int32_t kNewest = 3;  // for the first of the two, one more for the second
constexpr int32_t kGroup = 8;
constexpr int32_t kMostGroups = kDspAlsMaxOrder / kGroup;
constexpr int32_t kMostDigitBits = 12;
constexpr int32_t kMostDigitSum = 1 << 16;  // times 2^15 it is just outside 32 bits

// Coefficients in the order of the samples, from the newest group to the oldest.
struct Digits {
  alignas(16) int16_t low[kMostGroups * kGroup];
  alignas(16) int16_t high[kMostGroups * kGroup];
};

struct Filter {
  int32_t order;
  int32_t groups;
  int32_t lowBits;
  int32_t newest[kNewest + 1];
  Digits digits[2];
};

static inline bool SplitDigits(const Filter& filter, const int32_t* coefficients, int32_t newest,
                               Digits* digits) {
  const int32_t half = 1 << (filter.lowBits - 1);
  uint64_t sum = 0;
  for (int32_t g = 0; g < filter.groups; ++g) {
    for (int32_t j = 0; j < kGroup; ++j) {
      const int32_t tap = newest + g * kGroup + kGroup - 1 - j;
      const int64_t value = tap < filter.order ? coefficients[tap] : 0;
      const int64_t high = (value + half) >> filter.lowBits;
      sum += static_cast<uint64_t>(high < 0 ? -high : high);
      digits->low[g * kGroup + j] =
          static_cast<int16_t>(value - high * (int64_t{1} << filter.lowBits));
      digits->high[g * kGroup + j] = static_cast<int16_t>(high);
    }
  }
  // Below half of what the sums bear, so that each digit has 16 bits as well.
  return sum < kMostDigitSum / 2;
}

static inline bool MakeFilter(const int32_t* coefficients, int32_t order, Filter* filter) {
  while (order > kGroup && coefficients[order - 1] == 0) --order;
  filter->order = order;
  filter->groups = (order - kNewest + kGroup - 1) / kGroup;
  for (int32_t i = 0; i <= kNewest; ++i) filter->newest[i] = coefficients[i];
  filter->lowBits = kMostDigitBits;
  while ((order << (filter->lowBits - 1)) > kMostDigitSum) --filter->lowBits;
  return SplitDigits(*filter, coefficients, kNewest, &filter->digits[0]) &&
         SplitDigits(*filter, coefficients, kNewest + 1, &filter->digits[1]);
}

[[gnu::always_inline]] static inline void AddProducts(const Digits& digits, int32_t group,
                                                      V8x16 samples, V4x32& low, V4x32& high) {
  low += __builtin_ia32_pmaddwd128(samples, Load<V8x16>(digits.low + group * kGroup));
  high += __builtin_ia32_pmaddwd128(samples, Load<V8x16>(digits.high + group * kGroup));
}

// Lanes 0 and 2 are the sum of `low`, 1 and 3 that of `high`, each in two parts.
[[gnu::always_inline]] static inline V2u64 FoldDigits(V4x32 low, V4x32 high) {
  return reinterpret_cast<V2u64>(__builtin_shufflevector(low, high, 0, 4, 1, 5) +
                                 __builtin_shufflevector(low, high, 2, 6, 3, 7));
}

[[gnu::always_inline]] static inline int64_t JoinDigits(uint64_t sums, int32_t lowBits) {
  const auto both = static_cast<int64_t>(sums);
  const auto high = static_cast<uint64_t>(both >> 32) << lowBits;
  return static_cast<int32_t>(both) + static_cast<int64_t>(high);
}

static inline bool FitsSixteen(const int32_t* x, int32_t count) {
  int32_t wide = 0;
  for (int32_t i = 0; i < count; ++i) wide |= x[i] ^ static_cast<int16_t>(x[i]);
  return wide == 0;
}

[[gnu::always_inline]] static inline bool IsWide(int64_t x) { return x != static_cast<int16_t>(x); }

// Returns the number of samples done: all but an odd one, or those up to one that has
// more bits. With `kGroups` 0 there are more groups than registers.
template <int kGroups>
static inline int32_t SynthesisNarrow(const Filter& filter, int32_t* x, int32_t length) {
  constexpr int32_t kChunk = 512;
  constexpr int32_t kHeld = kGroups == 0 ? 1 : kGroups;
  constexpr int32_t kShadow = kGroups == 0 ? kDspAlsMaxOrder + 2 * kGroup + kChunk : 1;
  constexpr int64_t kOffset = static_cast<int64_t>(kHalf) - 1;
  const int32_t older = filter.groups * kGroup + kNewest;
  const int64_t c0 = filter.newest[0], c1 = filter.newest[1];
  const int64_t c2 = filter.newest[2], c3 = filter.newest[3];
  int16_t shadow[kShadow];
  // Group g ends 4 + 8 * g samples before the first of the two.
  V8x16 held[kHeld];
  for (int32_t g = 0; g < kHeld; ++g)
    for (int32_t j = 0; j < kGroup; ++j) {
      const int32_t back = kNewest + (g + 1) * kGroup - j;
      held[g][j] = static_cast<int16_t>(back > filter.order ? 0 : x[-back]);
    }
  int64_t x1 = x[-1], x2 = x[-2], x3 = x[-3];
  int32_t n = 0;
  for (; n + 2 <= length; n += 2) {
    V4x32 low0 = {}, high0 = {}, low1 = {}, high1 = {};
    const int32_t in = n % kChunk;
    if (kGroups == 0) {
      if (in == 0)
        for (int32_t i = 0; i < older; ++i)
          shadow[i] = static_cast<int16_t>(older - i > filter.order + n ? 0 : x[n - older + i]);
      for (int32_t g = filter.groups - 1; g > 0; --g) {
        const V8x16 samples = Load<V8x16>(shadow + in + (filter.groups - 1 - g) * kGroup);
        AddProducts(filter.digits[0], g, samples, low0, high0);
        AddProducts(filter.digits[1], g, samples, low1, high1);
      }
    }
    // The group that was the last to be known comes last.
#pragma GCC unroll 4
    for (int32_t g = kHeld - 1; g >= 0; --g) {
      AddProducts(filter.digits[0], g, held[g], low0, high0);
      AddProducts(filter.digits[1], g, held[g], low1, high1);
    }
    const V2u64 fold0 = FoldDigits(low0, high0), fold1 = FoldDigits(low1, high1);
    const V2u64 sums = reinterpret_cast<V2u64>(
        reinterpret_cast<V4x32>(__builtin_shufflevector(fold0, fold1, 0, 2)) +
        reinterpret_cast<V4x32>(__builtin_shufflevector(fold0, fold1, 1, 3)));
    // What is known last is taken off last.
    const int64_t early0 = int64_t{x[n]} * (1 << kFractionBits) + kOffset - c2 * x3 - c1 * x2;
    const int64_t early1 = int64_t{x[n + 1]} * (1 << kFractionBits) + kOffset - c3 * x3 - c2 * x2;
    const int64_t known0 = early0 - JoinDigits(sums[0], filter.lowBits);
    const int64_t known1 = early1 - JoinDigits(sums[1], filter.lowBits) - c1 * x1;
    const int64_t sample0 = (known0 - c0 * x1) >> kFractionBits;
    x[n] = static_cast<int32_t>(sample0);
    if (IsWide(sample0)) return n + 1;
    const int64_t sample1 = (known1 - c0 * sample0) >> kFractionBits;
    x[n + 1] = static_cast<int32_t>(sample1);
    if (IsWide(sample1)) return n + 2;
#pragma GCC unroll 4
    for (int32_t g = kHeld - 1; g > 0; --g)
      held[g] = __builtin_shufflevector(held[g], held[g - 1], 2, 3, 4, 5, 6, 7, 8, 9);
    held[0] = __builtin_shufflevector(held[0], held[0], 2, 3, 4, 5, 6, 7, 0, 1);
    held[0] = __builtin_ia32_vec_set_v8hi(held[0], static_cast<int16_t>(x3), 6);
    held[0] = __builtin_ia32_vec_set_v8hi(held[0], static_cast<int16_t>(x2), 7);
    if (kGroups == 0) {
      shadow[older + in] = static_cast<int16_t>(sample0);
      shadow[older + in + 1] = static_cast<int16_t>(sample1);
    }
    x3 = x1;
    x2 = sample0;
    x1 = sample1;
  }
  return n;
}

static inline int32_t SynthesisSixteen(const int32_t* coefficients, int32_t order, int32_t* x,
                                       int32_t length) {
  Filter filter;
  if (!FitsSixteen(x - order, order) || !MakeFilter(coefficients, order, &filter)) return 0;
  switch (filter.groups) {
    case 1:
      return SynthesisNarrow<1>(filter, x, length);
    case 2:
      return SynthesisNarrow<2>(filter, x, length);
    case 3:
      return SynthesisNarrow<3>(filter, x, length);
    case 4:
      return SynthesisNarrow<4>(filter, x, length);
    default:
      return SynthesisNarrow<0>(filter, x, length);
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
  int32_t i = 0;
  const V4x32 factor = V4x32{} + reflection;
  for (; i + 4 <= order; i += 4) {
    const V4x32 reversed = Load<V4x32>(src + order - 4 - i);
    als::WideSums sums = als::SumsFrom(als::kHalf);
    sums.Add(factor, __builtin_shufflevector(reversed, reversed, 3, 2, 1, 0));
    Store(dst + i,
          Load<V4u32>(src + i) + reinterpret_cast<V4u32>(sums.Shifted(als::kFractionBits)));
  }
  for (; i < order; ++i) {
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
  int32_t n = lag - 2;
  // Four at a time once all five are there, and as long as they do not reach the four.
  constexpr int32_t kLeastLag = 6;
  const int32_t vectorFrom = lag + 2;
  for (; n < length; ++n) {
    if (lag >= kLeastLag && n >= vectorFrom && n + 4 <= length) {
      als::WideSums sums = als::SumsFrom(64);
      for (int32_t j = 0; j < 5; ++j)
        sums.Add(V4x32{} + gains[j], Load<V4x32>(srcDst + n - lag - 2 + j));
      als::AddTo(srcDst + n, sums.Shifted(7));
      n += 3;
      continue;
    }
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
  int32_t n = 0;
  for (; n + 4 <= length; n += 4) {
    als::WideSums sums = als::SumsFrom(64);
    for (int32_t j = 0; j < taps; ++j) {
      const int32_t at = j < 3 ? n - 1 + j : n - 4 + j + delay;
      sums.Add(V4x32{} + weights[j], Load<V4x32>(master + at));
    }
    als::AddTo(srcDst + n, sums.Shifted(7));
  }
  for (; n < length; ++n) {
    uint64_t sum = 64;
    for (int32_t j = 0; j < taps; ++j)
      sum += als::Multiply(weights[j], master[j < 3 ? n - 1 + j : n - 4 + j + delay]);
    srcDst[n] = als::Add(srcDst[n], als::Cut(sum >> 7));
  }
  return kDspOk;
}
