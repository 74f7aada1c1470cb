// AAC's spectral tools; dsp/tool_kernels.h has the contracts.

// Four draws side by side: each lane steps by four of the generator at once, from
// band to band for as long as bands have whole fours.
int32_t dspNoiseBands_32f(int32_t* seed, float* lines, const int32_t* offsets, int32_t bands,
                          float* sums) {
  if (seed == nullptr || lines == nullptr || offsets == nullptr || sums == nullptr)
    return kDspNullPointer;
  if (bands < 1) return kDspBadLength;
  constexpr uint32_t kMultiplier = 1664525;
  constexpr uint32_t kIncrement = 1013904223;
  constexpr uint32_t kMultiplier4 = kMultiplier * kMultiplier * kMultiplier * kMultiplier;
  constexpr uint32_t kIncrement4 =
      kIncrement * (1 + kMultiplier * (1 + kMultiplier * (1 + kMultiplier)));
  auto state = static_cast<uint32_t>(*seed);  // the last draw
  V4u32 next = {};                            // the four after it, once they are needed
  bool known = false;
  for (int32_t band = 0; band < bands; ++band) {
    float sum = 0.0F;
    int32_t i = offsets[band];
    const int32_t end = offsets[band + 1];
    if (!known && i + 4 <= end) {
      uint32_t draws[4];
      for (uint32_t& draw : draws) draw = state = state * kMultiplier + kIncrement;
      next = Load<V4u32>(draws);
      known = true;
    }
    for (; i + 4 <= end; i += 4) {
      const V4xF value = __builtin_convertvector(reinterpret_cast<V4x32>(next), V4xF);
      Store(lines + i, value);
      const V4xF square = value * value;
      sum = (((sum + square[0]) + square[1]) + square[2]) + square[3];
      state = next[3];
      next = next * kMultiplier4 + kIncrement4;
    }
    for (; i < end; ++i) {
      known = false;
      state = state * kMultiplier + kIncrement;
      const auto value = static_cast<float>(static_cast<int32_t>(state));
      lines[i] = value;
      sum += value * value;
    }
    sums[band] = sum;
  }
  *seed = static_cast<int32_t>(state);
  return kDspOk;
}

// `sums` holds, for the next line on, what all outputs but the newest contribute;
// that one's own term is added last, so that a line waits for the line before it
// no longer than a product and a difference take.
template <int kVectors>
[[gnu::always_inline]] static inline void AllPole(const float* lpc, int32_t order, float* line,
                                                  int32_t step, int32_t count) {
  // Coefficients 2, 3 and so on; none behind the order.
  float taps[4 * kVectors];
  for (int32_t k = 0; k < 4 * kVectors; ++k) taps[k] = k + 2 <= order ? lpc[k + 2] : 0.0F;
  V4xF tap[kVectors];
  V4xF sums[kVectors + 1];
  for (int v = 0; v < kVectors; ++v) {
    tap[v] = Load<V4xF>(taps + 4 * v);
    sums[v] = V4xF{};
  }
  sums[kVectors] = V4xF{};
  const float first = lpc[1];
  float newest = 0.0F;
  for (int32_t n = 0; n < count; ++n, line += step) {
    const float before = newest;
    newest = (*line - sums[0][0]) - first * before;
    *line = newest;
    for (int v = 0; v < kVectors; ++v)
      sums[v] = __builtin_shufflevector(sums[v], sums[v + 1], 1, 2, 3, 4) + tap[v] * before;
  }
}

int32_t dspAllPole_32f_I(const float* lpc, int32_t order, float* line, int32_t step,
                         int32_t count) {
  if (lpc == nullptr || line == nullptr) return kDspNullPointer;
  if (count <= 0) return kDspBadLength;
  if (order < 1 || order > 20 || (step != 1 && step != -1)) return kDspBadArgument;
  if (order <= 9)
    AllPole<2>(lpc, order, line, step, count);
  else if (order <= 13)
    AllPole<3>(lpc, order, line, step, count);
  else
    AllPole<5>(lpc, order, line, step, count);
  return kDspOk;
}

int32_t dspMidSide_32f_I(float* left, float* right, int32_t length) {
  if (left == nullptr || right == nullptr) return kDspNullPointer;
  if (length <= 0) return kDspBadLength;
  int32_t i = 0;
  for (; i + 4 <= length; i += 4) {
    const auto m = Load<V4xF>(left + i);
    const auto s = Load<V4xF>(right + i);
    Store(left + i, m + s);
    Store(right + i, m - s);
  }
  for (; i < length; ++i) {
    const float m = left[i];
    left[i] = m + right[i];
    right[i] = m - right[i];
  }
  return kDspOk;
}

int32_t dspMulC_32f(const float* src, float value, float* dst, int32_t length) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length <= 0) return kDspBadLength;
  int32_t i = 0;
  for (; i + 4 <= length; i += 4) Store(dst + i, Load<V4xF>(src + i) * value);
  for (; i < length; ++i) dst[i] = src[i] * value;
  return kDspOk;
}

int32_t dspLimit_32f_I(float* lines, int32_t length) {
  if (lines == nullptr) return kDspNullPointer;
  if (length <= 0) return kDspBadLength;
  HoldWithin(1e30F, lines, length);
  return kDspOk;
}

int32_t dspRoundTo16s_32f(const float* src, float* dst, int32_t length) {
  if (src == nullptr || dst == nullptr) return kDspNullPointer;
  if (length <= 0) return kDspBadLength;
  for (int32_t i = 0; i < length; ++i) {
    const float x = src[i] == src[i] ? src[i] : 0.0F;
    float value = x > 0.0F ? x + 0.5F : x - 0.5F;
    value = value < 32767.0F ? value : 32767.0F;
    value = value > -32768.0F ? value : -32768.0F;
    dst[i] = static_cast<float>(static_cast<int32_t>(value));
  }
  return kDspOk;
}
