// Noise and filters of ITU-T G.729 and its Annex B, in that standard's fixed-point
// arithmetic: every step holds its result at the limits of its type.

// Twelve draws of the generator make a sample. Each lane pair of the vector draws
// for one of four samples, the odd draws in one lane and the even ones in the other.
constexpr int16_t kSeedFactor = 31821;
constexpr int16_t kSeedStep = 13849;
constexpr int32_t kDrawsPerSample = 12;

// `draws` draws of the generator at once are again seed * factor + step.
struct Jump {
  uint16_t factor, step;
};

static constexpr Jump JumpOver(int draws) {
  uint32_t factor = 1;
  uint32_t step = 0;
  for (int i = 0; i < draws; ++i) {
    factor = factor * kSeedFactor & 0xFFFF;
    step = (step * kSeedFactor + kSeedStep) & 0xFFFF;
  }
  return {static_cast<uint16_t>(factor), static_cast<uint16_t>(step)};
}

// The jumps that take the seed to the first draw of each lane.
struct LaneJumps {
  uint16_t factor[8], step[8];
};

static constexpr LaneJumps FirstDraws() {
  LaneJumps jumps = {};
  for (int lane = 0; lane < 8; ++lane) {
    const Jump jump = JumpOver(lane / 2 * kDrawsPerSample + lane % 2 + 1);
    jumps.factor[lane] = jump.factor;
    jumps.step[lane] = jump.step;
  }
  return jumps;
}

int32_t dspGaussian_16s(int16_t* seed, int16_t* dst, int32_t length) {
  if (seed == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  constexpr LaneJumps kFirst = FirstDraws();
  constexpr Jump kNextDraws = JumpOver(2);
  constexpr Jump kFourSamples = JumpOver(4 * kDrawsPerSample);
  const V8u16 firstFactor = Load<V8u16>(kFirst.factor);
  const V8u16 firstStep = Load<V8u16>(kFirst.step);
  uint16_t last = static_cast<uint16_t>(*seed);
  int32_t i = 0;
  for (; i + 4 <= length; i += 4) {
    V8u16 draws = (V8u16{} + last) * firstFactor + firstStep;
    V4x32 sum = {};
    for (int pair = 0; pair < kDrawsPerSample / 2; ++pair) {
      const V4x32 both = reinterpret_cast<V4x32>(draws);
      sum += (both >> 16) + (both << 16 >> 16);
      draws = draws * kNextDraws.factor + kNextDraws.step;
    }
    sum >>= 7;
    for (int lane = 0; lane < 4; ++lane) dst[i + lane] = static_cast<int16_t>(sum[lane]);
    last = static_cast<uint16_t>(last * uint32_t{kFourSamples.factor} + kFourSamples.step);
  }
  for (; i < length; ++i) {
    int32_t sum = 0;
    for (int draw = 0; draw < kDrawsPerSample; ++draw) {
      last = static_cast<uint16_t>(last * uint32_t{kSeedFactor} + kSeedStep);
      sum += static_cast<int16_t>(last);
    }
    dst[i] = static_cast<int16_t>(sum >> 7);
  }
  *seed = static_cast<int16_t>(last);
  return kDspOk;
}

// Holds a value at the limits of 32 bits and notes that it did.
static inline int32_t Saturate32(int64_t v, bool* saturated) {
  const bool high = v > INT32_MAX;
  const bool low = v < INT32_MIN;
  *saturated |= high || low;
  return high ? INT32_MAX : low ? INT32_MIN : static_cast<int32_t>(v);
}

// The standard's L_mult and L_shl.
static inline int32_t DoubleProduct(int16_t a, int16_t b, bool* saturated) {
  return Saturate32(int64_t{2} * a * b, saturated);
}

static inline int32_t ShiftLeft(int32_t v, int32_t count, bool* saturated) {
  return Saturate32(int64_t{v} * (1 << count), saturated);
}

// The standard's round: the upper half, rounded.
static inline int16_t UpperRounded(int32_t v, bool* saturated) {
  return static_cast<int16_t>(Saturate32(int64_t{v} + 0x8000, saturated) >> 16);
}

// 12 for coefficients with 12 fraction bits, 13 with 13.
static inline bool IsFilterScale(int32_t scale) { return scale == 12 || scale == 13; }

// Sums of products with these coefficients stay within 32 bits at every step.
static inline bool HasShortSums(const int16_t* filter, int order) {
  int32_t magnitude = 0;
  for (int j = 0; j <= order; ++j) magnitude += filter[j] < 0 ? -filter[j] : filter[j];
  return magnitude <= INT16_MAX;
}

int32_t dspSynthesis_16s(const int16_t* filter, const int16_t* excitation, int16_t* dst,
                         int32_t length, int32_t scale, const int16_t* memory) {
  if (filter == nullptr || excitation == nullptr || dst == nullptr || memory == nullptr) {
    return kDspNullPointer;
  }
  if (length < 1) return kDspBadLength;
  if (!IsFilterScale(scale)) return kDspBadScale;
  constexpr int kOrder = 10;
  // Newest first, so that coefficient j meets past[j - 1].
  int16_t past[kOrder];
  for (int j = 0; j < kOrder; ++j) past[j] = memory[kOrder - 1 - j];
  bool saturated = false;
  const bool hasShortSums = HasShortSums(filter, kOrder);
  for (int32_t i = 0; i < length; ++i) {
    int32_t sum = 0;
    if (hasShortSums) {
      // The newest past output, which is late, comes last.
      for (int j = kOrder; j >= 1; --j) sum -= filter[j] * past[j - 1];
      sum = 2 * (sum + excitation[i] * filter[0]);
    } else {
      sum = DoubleProduct(excitation[i], filter[0], &saturated);
      for (int j = 1; j <= kOrder; ++j) {
        const int32_t product = DoubleProduct(filter[j], past[j - 1], &saturated);
        sum = Saturate32(int64_t{sum} - product, &saturated);
      }
    }
    const int16_t out = UpperRounded(ShiftLeft(sum, 15 - scale, &saturated), &saturated);
    for (int j = kOrder - 1; j > 0; --j) past[j] = past[j - 1];
    past[0] = out;
    dst[i] = out;
  }
  return saturated ? kDspSaturated : kDspOk;
}

// A 32-bit value as (h, l): h * 65536 + 2 * l. The lowest bit is lost.
struct TwoWords {
  int16_t high, low;
};

static inline TwoWords Split(int32_t v) {
  return {static_cast<int16_t>(v >> 16), static_cast<int16_t>((v >> 1) & 0x7FFF)};
}

// mpy32_16 of the standard's two-word arithmetic.
static inline int32_t TwoWordProduct(TwoWords v, int16_t n, bool* saturated) {
  const int32_t low = (v.low * n) >> 15;
  return Saturate32(int64_t{DoubleProduct(v.high, n, saturated)} + 2 * low, saturated);
}

struct HighPassFilter {
  int16_t b[3];
  int16_t a[3];  // a[1] and a[2] are added
};

// b140 and a140: 140 Hz, halves the signal; 12 fraction bits.
constexpr HighPassFilter kHighPass140 = {{1899, -3798, 1899}, {4096, 7807, -3733}};
// b100 and a100: 100 Hz; 13 fraction bits. The output step doubles the signal.
constexpr HighPassFilter kHighPass100 = {{7699, -15398, 7699}, {8192, 15836, -7667}};

int32_t dspHighPass_16s_I(int16_t* srcDst, int32_t length, int32_t scale, int16_t* state) {
  if (srcDst == nullptr || state == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  if (!IsFilterScale(scale)) return kDspBadScale;
  const HighPassFilter& filter = scale == 12 ? kHighPass140 : kHighPass100;
  int16_t x1 = state[0];
  int16_t x2 = state[1];
  TwoWords y1 = {state[2], state[3]};
  TwoWords y2 = {state[4], state[5]};
  bool saturated = false;  // not reported: nobody runs a high-pass again
  for (int32_t i = 0; i < length; ++i) {
    const int16_t x = srcDst[i];
    int32_t sum = Saturate32(int64_t{TwoWordProduct(y1, filter.a[1], &saturated)} +
                                 TwoWordProduct(y2, filter.a[2], &saturated),
                             &saturated);
    sum = Saturate32(int64_t{sum} + DoubleProduct(x, filter.b[0], &saturated), &saturated);
    sum = Saturate32(int64_t{sum} + DoubleProduct(x1, filter.b[1], &saturated), &saturated);
    sum = Saturate32(int64_t{sum} + DoubleProduct(x2, filter.b[2], &saturated), &saturated);
    sum = ShiftLeft(sum, 15 - scale, &saturated);
    srcDst[i] = scale == 12 ? UpperRounded(sum, &saturated)
                            : UpperRounded(ShiftLeft(sum, 1, &saturated), &saturated);
    y2 = y1;
    y1 = Split(sum);
    x2 = x1;
    x1 = x;
  }
  state[0] = x1;
  state[1] = x2;
  state[2] = y1.high;
  state[3] = y1.low;
  state[4] = y2.high;
  state[5] = y2.low;
  return kDspOk;
}

int32_t dspInterpolate_16s(const int16_t* src1, const int16_t* src2, int16_t* dst, int32_t length) {
  if (src1 == nullptr || src2 == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  for (int32_t i = 0; i < length; ++i) {
    dst[i] = static_cast<int16_t>((src1[i] >> 1) + (src2[i] >> 1));
  }
  return kDspOk;
}
