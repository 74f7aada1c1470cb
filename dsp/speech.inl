// Speech analysis and synthesis, in the fixed-point arithmetic of ITU-T G.729.

static inline int32_t Saturate32(int64_t value, int32_t* saturated) {
  if (value > 0x7FFFFFFF) {
    *saturated = 1;
    return 0x7FFFFFFF;
  }
  if (value < -0x7FFFFFFF - 1) {
    *saturated = 1;
    return -0x7FFFFFFF - 1;
  }
  return static_cast<int32_t>(value);
}

// L_mac and L_msu: the doubled product saturates first, then the sum.
static inline int32_t MultiplyAdd(int32_t sum, int16_t a, int16_t b, int32_t* saturated) {
  const int32_t product = Saturate32(int64_t{2} * a * b, saturated);
  return Saturate32(int64_t{sum} + product, saturated);
}

static inline int32_t MultiplySubtract(int32_t sum, int16_t a, int16_t b, int32_t* saturated) {
  const int32_t product = Saturate32(int64_t{2} * a * b, saturated);
  return Saturate32(int64_t{sum} - product, saturated);
}

// round of L_shl.
static inline int16_t ShiftAndRound(int32_t value, int32_t shift, int32_t* saturated) {
  const int32_t shifted = Saturate32(int64_t{value} * (1 << shift), saturated);
  return static_cast<int16_t>(Saturate32(int64_t{shifted} + 32768, saturated) >> 16);
}

// Each sample is the sum of twelve draws. Eight samples run side by side: lane k
// starts twelve draws behind lane k-1 and jumps over the other lanes' draws.
int32_t dspGaussian_16s(int16_t* seed, int16_t* dst, int32_t length) noexcept {
  if (seed == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  constexpr uint32_t kFactor = 31821;
  constexpr uint32_t kOffset = 13849;
  constexpr int32_t kLanes = 8;
  constexpr int32_t kDraws = 12;
  uint16_t lane[kLanes];
  uint32_t first = static_cast<uint16_t>(*seed);
  for (int32_t k = 0; k < kLanes; ++k) {
    lane[k] = static_cast<uint16_t>(first);
    for (int32_t d = 0; d < kDraws; ++d) first = (first * kFactor + kOffset) & 0xFFFF;
  }
  uint32_t jumpFactor = 1;
  uint32_t jumpOffset = 0;
  for (int32_t d = 0; d < kDraws * (kLanes - 1); ++d) {
    jumpFactor = jumpFactor * kFactor & 0xFFFF;
    jumpOffset = (jumpOffset * kFactor + kOffset) & 0xFFFF;
  }

  for (int32_t done = 0; done < length; done += kLanes) {
    int32_t sum[kLanes] = {};
    for (int32_t d = 0; d < kDraws; ++d)
      for (int32_t k = 0; k < kLanes; ++k) {
        lane[k] = static_cast<uint16_t>(lane[k] * kFactor + kOffset);
        sum[k] += static_cast<int16_t>(lane[k]);
      }
    const int32_t now = length - done < kLanes ? length - done : kLanes;
    for (int32_t k = 0; k < now; ++k) dst[done + k] = static_cast<int16_t>(sum[k] >> 7);
    *seed = static_cast<int16_t>(lane[now - 1]);
    for (int32_t k = 0; k < kLanes; ++k)
      lane[k] = static_cast<uint16_t>(lane[k] * jumpFactor + jumpOffset);
  }
  return kDspOk;
}

int32_t dspSynthesis_16s(const int16_t* filter, const int16_t* excitation, int16_t* dst,
                         int32_t length, int32_t scale, const int16_t* memory) noexcept {
  if (filter == nullptr || excitation == nullptr || dst == nullptr || memory == nullptr)
    return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  if (scale != 12 && scale != 13) return kDspBadScale;
  constexpr int32_t kOrder = 10;
  int32_t saturated = 0;
  int16_t past[kOrder];  // newest first
  for (int32_t j = 0; j < kOrder; ++j) past[j] = memory[kOrder - 1 - j];
  for (int32_t i = 0; i < length; ++i) {
    int32_t sum = MultiplyAdd(0, excitation[i], filter[0], &saturated);
    for (int32_t j = 0; j < kOrder; ++j)
      sum = MultiplySubtract(sum, filter[j + 1], past[j], &saturated);
    const int16_t out = ShiftAndRound(sum, 15 - scale, &saturated);
    for (int32_t j = kOrder - 1; j > 0; --j) past[j] = past[j - 1];
    past[0] = out;
    dst[i] = out;
  }
  return saturated != 0 ? kDspOverflow : kDspOk;
}

// A 32-bit value split in a high and a low part, times 16 bits (mpy32_16).
static inline int32_t MultiplySplit(const int16_t* split, int16_t factor) {
  int32_t saturated = 0;
  const int32_t product = MultiplyAdd(0, split[0], factor, &saturated);
  const int32_t low = (int32_t{split[1]} * factor) >> 15;
  return MultiplyAdd(product, static_cast<int16_t>(low), 1, &saturated);
}

int32_t dspHighPass_16s_I(int16_t* srcDst, int32_t length, int32_t scale,
                          int16_t* state) noexcept {
  if (srcDst == nullptr || state == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  if (scale != 12 && scale != 13) return kDspBadScale;
  // b140, a140 (input, 140 Hz, halves) and b100, a100 (output, 100 Hz, doubles).
  constexpr int16_t kForward[2][3] = {{1899, -3798, 1899}, {7699, -15398, 7699}};
  constexpr int16_t kBack[2][2] = {{7807, -3733}, {15836, -7667}};
  const int16_t* const forward = kForward[scale - 12];
  const int16_t* const back = kBack[scale - 12];
  int16_t* const x = state;       // x1, x2
  int16_t* const y1 = state + 2;  // high and low part
  int16_t* const y2 = state + 4;
  for (int32_t i = 0; i < length; ++i) {
    int32_t saturated = 0;
    const int16_t in = srcDst[i];
    int32_t sum = Saturate32(
        int64_t{MultiplySplit(y1, back[0])} + MultiplySplit(y2, back[1]), &saturated);
    sum = MultiplyAdd(sum, in, forward[0], &saturated);
    sum = MultiplyAdd(sum, x[0], forward[1], &saturated);
    sum = MultiplyAdd(sum, x[1], forward[2], &saturated);
    sum = Saturate32(int64_t{sum} * (1 << (15 - scale)), &saturated);
    srcDst[i] = ShiftAndRound(sum, scale - 12, &saturated);
    y2[0] = y1[0];
    y2[1] = y1[1];
    y1[0] = static_cast<int16_t>(sum >> 16);
    y1[1] = static_cast<int16_t>((sum >> 1) - y1[0] * 32768);
    x[1] = x[0];
    x[0] = in;
  }
  return kDspOk;
}

int32_t dspInterpolate_16s(const int16_t* src1, const int16_t* src2, int16_t* dst,
                           int32_t length) noexcept {
  if (src1 == nullptr || src2 == nullptr || dst == nullptr) return kDspNullPointer;
  if (length < 1) return kDspBadLength;
  for (int32_t i = 0; i < length; ++i)
    dst[i] = static_cast<int16_t>((src1[i] >> 1) + (src2[i] >> 1));
  return kDspOk;
}
